#include "wizards/product_providers.h"

#include "applet/module_state.h"
#include "ui/handles.h"

#include <cwchar>
#include <vector>

namespace applet {

namespace {

std::wstring ApplicationDirectory() {
    std::wstring path = ModulePath();
    size_t slash = path.find_last_of(L'\\');
    return slash == std::wstring::npos ? std::wstring() : path.substr(0, slash + 1);
}

// The provider's registered DLL path, or "" when the registration is missing or malformed.
std::wstring ProviderImagePath(const std::wstring& name) {
    std::wstring key = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\" + name;
    ui::UniqueHKey hkey;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_QUERY_VALUE, hkey.put()) !=
        ERROR_SUCCESS)
        return {};
    wchar_t value[260] = {};
    DWORD type = 0, size = sizeof(value);
    if (::RegQueryValueExW(hkey.get(), L"Image Path", nullptr, &type,
                           reinterpret_cast<BYTE*>(value), &size) != ERROR_SUCCESS)
        return {};
    if ((type != REG_SZ && type != REG_EXPAND_SZ) || size % sizeof(wchar_t) != 0) return {};
    size_t chars = size / sizeof(wchar_t);
    if (chars > 0 && value[chars - 1] != L'\0') return {};
    return std::wstring(value, chars ? chars - 1 : 0);
}

bool StartsWithIgnoringCase(const std::wstring& text, const std::wstring& prefix) {
    return text.size() >= prefix.size() &&
           ::CompareStringW(LOCALE_SYSTEM_DEFAULT, NORM_IGNORECASE, text.c_str(),
                            static_cast<int>(prefix.size()), prefix.c_str(),
                            static_cast<int>(prefix.size())) == CSTR_EQUAL;
}

}  // namespace

bool EnumProvider(DWORD index, std::wstring& name, DWORD& type) {
    // Names fit the buffer: one call each. A longer one is asked its length, then fetched.
    wchar_t buffer[256];
    DWORD size = sizeof(buffer);
    if (::CryptEnumProvidersW(index, nullptr, 0, &type, buffer, &size)) {
        name.assign(buffer, ::wcsnlen(buffer, 256));
        return true;
    }
    if (::GetLastError() != ERROR_MORE_DATA) return false;
    size = 0;
    if (!::CryptEnumProvidersW(index, nullptr, 0, &type, nullptr, &size)) return false;
    std::vector<wchar_t> longer(size / sizeof(wchar_t) + 1);
    if (!::CryptEnumProvidersW(index, nullptr, 0, &type, longer.data(), &size)) return false;
    name = longer.data();
    return true;
}

std::vector<InstalledProvider> ListInstalledProviders() {
    std::vector<InstalledProvider> installed;
    InstalledProvider provider;
    for (DWORD index = 0; EnumProvider(index, provider.name, provider.type); ++index)
        installed.push_back(provider);
    return installed;
}

namespace {

// The iteration of EnumProductProviders over providers that `fetch` gives by index.
template <class Fetch>
bool NextProductProvider(ProductProviderEnum& state, std::wstring& name, DWORD& type,
                         Fetch fetch) {
    while (fetch(state.index++, name, type)) {
        // The product's own test first: it costs no registry reads, and a provider that fails
        // either test is skipped alike.
        if (type != kProductProviderType && name.find(L"Kelvane") == std::wstring::npos) continue;
        if (!state.restrict) return true;
        std::wstring image = ProviderImagePath(name);
        if (image.empty()) continue;
        std::wstring directory = ApplicationDirectory();
        if (directory.empty()) return false;
        if (StartsWithIgnoringCase(image, directory)) return true;
    }
    return false;
}

}  // namespace

bool EnumProductProviders(ProductProviderEnum& state, std::wstring& name, DWORD& type) {
    return NextProductProvider(state, name, type, EnumProvider);
}

bool EnumProductProviders(ProductProviderEnum& state,
                          const std::vector<InstalledProvider>& installed, std::wstring& name,
                          DWORD& type) {
    return NextProductProvider(state, name, type,
                               [&](DWORD index, std::wstring& found, DWORD& foundType) {
                                   if (index >= installed.size()) return false;
                                   found = installed[index].name;
                                   foundType = installed[index].type;
                                   return true;
                               });
}

std::wstring MachineDefaultProvider() {
    DWORD size = 0;
    if (!::CryptGetDefaultProviderW(kProductProviderType, nullptr, CRYPT_MACHINE_DEFAULT, nullptr,
                                    &size))
        return {};
    std::vector<wchar_t> name(size / sizeof(wchar_t) + 1);
    if (!::CryptGetDefaultProviderW(kProductProviderType, nullptr, CRYPT_MACHINE_DEFAULT,
                                    name.data(), &size))
        return {};
    return name.data();
}

}  // namespace applet
