// Runs the installed kvadmin.exe as a process and sees what it left: its exit code, stdout and
// stderr, the provider calls it made and the provider handles it left alive.
#pragma once

#include "admin/console.h"

#include <nlohmann/json.hpp>

#include <windows.h>

#include <map>
#include <string>
#include <vector>

namespace admintest {

constexpr wchar_t kProductDir[] = L"C:\\Program Files\\Kelvane\\Vestra CSP\\";
// The provider these tests own the containers and links of.
constexpr wchar_t kProvider[] = L"Kelvane Vestra CSP (GOST 94)";
constexpr DWORD kType = 71;

struct Outcome {
    DWORD exitCode = 0;
    std::string out, err;
    std::map<std::string, long> calls;  // by the names the failure knobs take
    LONG contexts = 0, keys = 0, hashes = 0;

    nlohmann::json Json() const { return nlohmann::json::parse(out); }
    // Some JSON value or stderr names the error as the applet shows it ("Error 0x8010...").
    bool Names(DWORD error) const;
};

Outcome RunAdmin(const std::vector<std::wstring>& arguments);

using admin::Utf8;
std::vector<std::string> Lines(const std::string& text);

// A provider call made to fail (the Nth from now); gone when the scope ends.
class Failure {
public:
    Failure(const std::string& entry, DWORD call, DWORD error);
    ~Failure();
    Failure(const Failure&) = delete;
    Failure& operator=(const Failure&) = delete;
    bool Fired() const;

private:
    std::wstring key_;
};

// The link of `encoded` in the computer's personal store: added when missing, the link set as
// given (no container: no link at all). Removed by Forget.
void PutLinked(const std::vector<BYTE>& encoded, const std::wstring& container, DWORD spec);
// The link's container there; "" when the certificate has none or is not there.
std::wstring LinkedContainer(const std::vector<BYTE>& encoded);
void Forget(const std::vector<BYTE>& encoded);
// Takes out of the computer's personal store every certificate linked to kProvider.
void ForgetAllLinked();

}  // namespace admintest
