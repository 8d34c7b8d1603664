#include "provider_test.h"

#include "driver/driver.h"

#include <cstdio>

namespace provider_test {

LiveHandles Live() {
    wchar_t name[64];
    std::swprintf(name, 64, testbed::knobs::kLiveCountersFormat, ::GetCurrentProcessId());
    LiveHandles live;
    ui::UniqueHandleW mapping(::OpenFileMappingW(FILE_MAP_READ, FALSE, name));
    if (!mapping) return live;
    auto* counters =
        static_cast<const LONG*>(::MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, 0));
    if (!counters) return live;
    live = {counters[0], counters[1], counters[2]};
    ::UnmapViewOfFile(counters);
    return live;
}

void ProviderTest::SetUp() {
    before_ = Live();
}

LiveHandles ProviderTest::Counted() const {
    LiveHandles now = Live();
    return {now.contexts - before_.contexts, now.keys - before_.keys, now.hashes - before_.hashes};
}

void ProviderTest::TearDown() {
    LiveHandles live = Live();
    EXPECT_EQ(before_.contexts, live.contexts) << "provider contexts left alive";
    EXPECT_EQ(before_.keys, live.keys) << "keys left alive";
    EXPECT_EQ(before_.hashes, live.hashes) << "hashes left alive";

    const std::pair<const wchar_t*, DWORD> providers[] = {
        {kvcsp::kProviderMain, kvcsp::kType2001},
        {kvcsp::kProviderCloud, kvcsp::kType2001},
        {kvcsp::kProvider94, kvcsp::kType94},
        {kvcsp::kProviderExtra, kvcsp::kType2001},
    };
    for (const std::wstring& name : names_)
        for (const auto& [provider, type] : providers)
            for (bool machine : {false, true})
                fixtures::DeleteContainer(provider, type, machine, name);

    for (const std::wstring& key : fail_keys_) ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key.c_str());
    // What the test's sets recorded per provider.
    for (const auto& [provider, type] : providers)
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE,
                         (std::wstring(testbed::knobs::kProvider) + L"\\" + provider).c_str());
    for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) {
        if (it->type == REG_NONE)
            ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, testbed::knobs::kProvider, it->name.c_str());
        else
            ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, testbed::knobs::kProvider, it->name.c_str(),
                              it->type, it->data.data(), static_cast<DWORD>(it->data.size()));
    }
}

std::wstring ProviderTest::Name(const std::wstring& what) {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string test_name = test ? test->name() : "test";
    std::wstring name = L"t" + std::to_wstring(::GetCurrentProcessId()) + L"-" +
                        std::wstring(test_name.begin(), test_name.end()) + L"-" + what;
    names_.push_back(name);
    return name;
}

void ProviderTest::Save(const wchar_t* name) {
    Saved previous;
    previous.name = name;
    previous.type = REG_NONE;
    DWORD size = 0;
    DWORD type = 0;
    const DWORD any = RRF_RT_ANY | RRF_NOEXPAND;
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, testbed::knobs::kProvider, name, any, &type, nullptr,
                       &size) == ERROR_SUCCESS) {
        previous.type = type;
        previous.data.resize(size);
        ::RegGetValueW(HKEY_LOCAL_MACHINE, testbed::knobs::kProvider, name, any, nullptr,
                       previous.data.data(), &size);
    }
    saved_.push_back(previous);
}

void ProviderTest::SetKnob(const wchar_t* name, DWORD value) {
    Save(name);
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, testbed::knobs::kProvider, name,
                                               REG_DWORD, &value, sizeof(value)));
}

void ProviderTest::SetKnob(const wchar_t* name, const std::wstring& text) {
    Save(name);
    ASSERT_EQ(ERROR_SUCCESS,
              ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, testbed::knobs::kProvider, name, REG_SZ,
                                text.c_str(), static_cast<DWORD>((text.size() + 1) * 2)));
}

void ProviderTest::FailCall(const std::wstring& entry, DWORD nth, DWORD error) {
    std::wstring key = std::wstring(testbed::knobs::kFail) + L"\\" + entry;
    fail_keys_.push_back(key);
    ASSERT_EQ(ERROR_SUCCESS,
              ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), testbed::knobs::kFailCall,
                                REG_DWORD, &nth, sizeof(nth)));
    ASSERT_EQ(ERROR_SUCCESS,
              ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), testbed::knobs::kFailError,
                                REG_DWORD, &error, sizeof(error)));
}

fixtures::Made ProviderTest::Make(fixtures::ContainerSpec spec) {
    spec.name = Name(spec.name);
    fixtures::Made made;
    EXPECT_EQ(0u, fixtures::MakeContainer(spec, &made)) << driver::Narrow(spec.name);
    return made;
}

ui::UniqueCryptProv Acquire(const std::wstring& container, DWORD flags,
                            const std::wstring& provider, DWORD type, DWORD* error) {
    ui::UniqueCryptProv prov;
    BOOL ok = ::CryptAcquireContextW(prov.put(), container.empty() ? nullptr : container.c_str(),
                                     provider.c_str(), type, flags);
    DWORD result = ok ? 0 : ::GetLastError();
    if (error)
        *error = result;
    else
        EXPECT_EQ(0u, result) << std::hex << "acquiring '" << driver::Narrow(container) << "' of "
                              << driver::Narrow(provider);
    return prov;
}

ui::UniqueCryptProv Verify(const std::wstring& provider, DWORD type) {
    return Acquire(L"", CRYPT_VERIFYCONTEXT, provider, type);
}

DWORD GetParam(HCRYPTPROV prov, DWORD param, Bytes& data, DWORD flags) {
    DWORD size = 0;
    if (!::CryptGetProvParam(prov, param, nullptr, &size, flags)) return ::GetLastError();
    data.resize(size);
    if (!::CryptGetProvParam(prov, param, data.data(), &size, flags)) return ::GetLastError();
    data.resize(size);
    return 0;
}

std::string GetText(HCRYPTPROV prov, DWORD param) {
    Bytes data;
    EXPECT_EQ(0u, GetParam(prov, param, data)) << "provider parameter " << param;
    return data.empty() ? std::string() : std::string(reinterpret_cast<char*>(data.data()));
}

DWORD GetDword(HCRYPTPROV prov, DWORD param) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    EXPECT_TRUE(::CryptGetProvParam(prov, param, reinterpret_cast<BYTE*>(&value), &size, 0))
        << "provider parameter " << param << ": " << std::hex << ::GetLastError();
    EXPECT_EQ(sizeof(value), size);
    return value;
}

DWORD GetKeyParam(HCRYPTKEY key, DWORD param, Bytes& data) {
    DWORD size = 0;
    if (!::CryptGetKeyParam(key, param, nullptr, &size, 0)) return ::GetLastError();
    data.resize(size);
    if (!::CryptGetKeyParam(key, param, data.data(), &size, 0)) return ::GetLastError();
    data.resize(size);
    return 0;
}

DWORD SetKeyText(HCRYPTKEY key, DWORD param, const std::string& text) {
    return ::CryptSetKeyParam(key, param, reinterpret_cast<const BYTE*>(text.c_str()), 0)
               ? 0
               : ::GetLastError();
}

DWORD Export(HCRYPTKEY key, HCRYPTKEY wrap, DWORD type, Bytes& blob) {
    DWORD size = 0;
    if (!::CryptExportKey(key, wrap, type, 0, nullptr, &size)) return ::GetLastError();
    blob.resize(size);
    if (!::CryptExportKey(key, wrap, type, 0, blob.data(), &size)) return ::GetLastError();
    blob.resize(size);
    return 0;
}

std::wstring ImagePath(const std::wstring& provider) {
    std::wstring key = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\" + provider;
    wchar_t path[MAX_PATH] = {};
    DWORD size = sizeof(path);
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"Image Path", RRF_RT_REG_SZ, nullptr, path,
                       &size) != ERROR_SUCCESS)
        return {};
    return path;
}

Bytes TestData() {
    const wchar_t text[] = L"Hello World";
    const BYTE* bytes = reinterpret_cast<const BYTE*>(text);
    return Bytes(bytes, bytes + (sizeof(text) - sizeof(wchar_t)));
}

DWORD Sign(HCRYPTPROV prov, DWORD spec, const Bytes& data, Bytes& signature) {
    ui::UniqueCryptHash hash;
    if (!::CryptCreateHash(prov, kvcsp::kAlgHash, 0, 0, hash.put()) ||
        !::CryptHashData(hash.get(), data.data(), static_cast<DWORD>(data.size()), 0))
        return ::GetLastError();
    DWORD size = 0;
    if (!::CryptSignHashW(hash.get(), spec, nullptr, 0, nullptr, &size)) return ::GetLastError();
    signature.resize(size);
    if (!::CryptSignHashW(hash.get(), spec, nullptr, 0, signature.data(), &size))
        return ::GetLastError();
    signature.resize(size);
    return 0;
}

DWORD VerifySignature(HCRYPTPROV prov, const Bytes& data, const Bytes& signature, HCRYPTKEY key) {
    ui::UniqueCryptHash hash;
    if (!::CryptCreateHash(prov, kvcsp::kAlgHash, 0, 0, hash.put()) ||
        !::CryptHashData(hash.get(), data.data(), static_cast<DWORD>(data.size()), 0))
        return ::GetLastError();
    return ::CryptVerifySignatureW(hash.get(), signature.data(),
                                   static_cast<DWORD>(signature.size()), key, nullptr, 0)
               ? 0
               : ::GetLastError();
}

}  // namespace provider_test
