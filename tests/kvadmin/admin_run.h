// Runs the installed kvadmin.exe as a process and sees what it left: its exit code, stdout and
// stderr, the provider calls it made and the provider handles it left alive.
#pragma once

#include "admin/console.h"
#include "fixtures.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <windows.h>

#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace admintest {

using admin::Utf8;
constexpr wchar_t kProvider[] = L"Kelvane Vestra CSP (GOST 94)";
constexpr DWORD kType = 71;

struct Outcome {
    DWORD exitCode = 0;
    std::string out, err;
    std::map<std::string, long> calls;  // by the names the failure knobs take
    LONG live[3] = {};                  // contexts, keys, hashes

    nlohmann::json Json() const { return nlohmann::json::parse(out); }
    // stdout or stderr names the error as the applet shows it ("0x8010...").
    bool Names(DWORD error) const {
        char code[16];
        std::snprintf(code, sizeof(code), "0x%08lX", static_cast<unsigned long>(error));
        return (out + err).find(code) != std::string::npos;
    }
};

Outcome RunAdmin(const std::vector<std::wstring>& arguments,
                 const std::vector<std::wstring>& more = {});

// Containers of kProvider with the fixture maker's defaults, deleted when the scope ends.
struct Containers {
    const bool machine;
    std::vector<std::wstring> names{};
    ~Containers() {
        for (const auto& name : names) fixtures::DeleteContainer(kProvider, kType, machine, name);
    }
    fixtures::Made Make(const std::wstring& name, bool expired = false, bool chain = false) {
        fixtures::ContainerSpec spec;
        spec.name = name;
        spec.provider = kProvider;
        spec.type = kType;
        spec.machine = machine;
        spec.certificateExpired = expired;
        spec.chain = chain;
        fixtures::Made made;
        names.push_back(name);
        EXPECT_EQ(0u, fixtures::MakeContainer(spec, &made)) << Utf8(name);
        return made;
    }
};

// Links `encoded` in the computer's personal store to `container`, adding it.
void PutLinked(const std::vector<BYTE>& encoded, const std::wstring& container, DWORD spec);
// The container `encoded` is linked to there; "" when none or not there.
std::wstring LinkedContainer(const std::vector<BYTE>& encoded);
// Takes every certificate linked to kProvider out of the store.
void ForgetAllLinked();

// A file of the temporary directory, removed when the scope ends.
struct TempFile {
    explicit TempFile(const wchar_t* name);
    ~TempFile();
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    std::string Read() const;
    void Write(const std::string& bytes) const;
    std::wstring path;
};

// The computer's settings as `kvadmin settings export` writes them ("" when it fails).
std::string ExportSettings();
// A number of the testbed's store as the registry holds it; nullopt when absent.
std::optional<DWORD> StoreNumber(const wchar_t* scope, const wchar_t* section, const wchar_t* name);

}  // namespace admintest
