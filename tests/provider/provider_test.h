// What the provider tests share: the live handle counters, knobs set for one test, containers
// made for one test and removed after it, and the plain CryptoAPI calls they repeat.
#pragma once

#include "fixtures.h"
#include "kvcsp.h"
#include "testbed/knobs.h"
#include "ui/handles.h"

#include <gtest/gtest.h>
#include <windows.h>
#include <wincrypt.h>

#include <optional>
#include <string>
#include <vector>

namespace provider_test {

using Bytes = std::vector<BYTE>;

struct LiveHandles {
    LONG contexts = 0;
    LONG keys = 0;
    LONG hashes = 0;
};
// The provider's handles alive in this process now.
LiveHandles Live();

// Every test ends with as many provider handles alive as it began with (none, unless an earlier
// test leaked); the knobs it sets come back and the containers it names are deleted afterwards.
class ProviderTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // A container name of this test's own, deleted (user and machine, every provider) at the end.
    std::wstring Name(const std::wstring& what);

    // Live handles made since the test began.
    LiveHandles Counted() const;

    void SetKnob(const wchar_t* name, DWORD value);
    void SetKnob(const wchar_t* name, const std::wstring& text);
    // The Nth call of `entry` ("CPExportKey", "CPGetProvParam.133") from now fails with `error`.
    void FailCall(const std::wstring& entry, DWORD nth, DWORD error);

    // Makes a container with the fixture maker, named Name(its name).
    fixtures::Made Make(fixtures::ContainerSpec spec);

private:
    void Save(const wchar_t* name);
    struct Saved {
        std::wstring name;
        DWORD type = 0;
        Bytes data;
    };
    std::vector<Saved> saved_;
    LiveHandles before_;
    std::vector<std::wstring> names_;
    std::vector<std::wstring> fail_keys_;
};

// Acquires a context; the error (0 on success) goes to `error` when given, else must be 0.
ui::UniqueCryptProv Acquire(const std::wstring& container, DWORD flags = 0,
                            const std::wstring& provider = kvcsp::kProviderMain,
                            DWORD type = kvcsp::kType2001, DWORD* error = nullptr);
ui::UniqueCryptProv Verify(const std::wstring& provider = kvcsp::kProviderMain,
                           DWORD type = kvcsp::kType2001);

// A provider parameter read the two-call way; the error when it fails.
DWORD GetParam(HCRYPTPROV prov, DWORD param, Bytes& data, DWORD flags = 0);
std::string GetText(HCRYPTPROV prov, DWORD param);
DWORD GetDword(HCRYPTPROV prov, DWORD param);
DWORD GetKeyParam(HCRYPTKEY key, DWORD param, Bytes& data);
DWORD SetKeyText(HCRYPTKEY key, DWORD param, const std::string& text);
DWORD Export(HCRYPTKEY key, HCRYPTKEY wrap, DWORD type, Bytes& blob);

// The registered "Image Path" of a provider; empty when it can't be read.
std::wstring ImagePath(const std::wstring& provider);

// "Hello World" in UTF-16 without its NUL, as the container check signs it.
Bytes TestData();
DWORD Sign(HCRYPTPROV prov, DWORD spec, const Bytes& data, Bytes& signature);
DWORD VerifySignature(HCRYPTPROV prov, const Bytes& data, const Bytes& signature, HCRYPTKEY key);

inline std::wstring Wide(const std::string& text) {
    return std::wstring(text.begin(), text.end());
}

// The error of the last failed call, as the assertions print it.
inline DWORD Error() {
    return ::GetLastError();
}
inline DWORD Hr(HRESULT value) {
    return static_cast<DWORD>(value);
}

}  // namespace provider_test
