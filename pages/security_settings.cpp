#include "pages/security_settings.h"

#include "applet/provider_params.h"
#include "applet/support.h"
#include "ui/handles.h"

#include <algorithm>
#include <cwchar>

namespace applet {

namespace {

constexpr wchar_t kProviderKey[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
// The 32-bit view is written by its explicit path: 32-bit applications load the provider
// through it.
constexpr wchar_t kProviderKey32[] =
    L"SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr wchar_t kModuleValue[] = L"KV Module Name";
constexpr wchar_t kServiceModule[] = L"kvcspr.dll";
constexpr wchar_t kMemoryModule[] = L"kvcspi.dll";

// Values of the provider's parameters.
constexpr DWORD kDhOff = 1;
constexpr DWORD kDhOn = 2;
constexpr DWORD kClassKC1 = 1;


// Without the keys storage service, a KC1 provider can't keep its keys there.
constexpr wchar_t kKeyService[] = L"kvcsp1";
constexpr DWORD kManagerAccess = 0x20015;  // connect, enumerate, query lock status, read control

std::wstring TypeKey(DWORD type) {
    wchar_t key[96];
    std::swprintf(key, 96,
                  L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type %03u",
                  static_cast<unsigned>(type));
    return key;
}

LONG SetString(HKEY key, const wchar_t* name, const std::wstring& value) {
    return ::RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                            static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

// A REG_SZ value; false when it is missing, of another type or not terminated.
bool GetString(HKEY key, const wchar_t* name, std::wstring& value) {
    wchar_t buffer[260] = {};
    DWORD type = 0, size = sizeof(buffer) - sizeof(wchar_t);
    if (::RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) !=
            ERROR_SUCCESS ||
        type != REG_SZ)
        return false;
    value = buffer;
    return true;
}

LONG WriteModule(const std::wstring& key, const wchar_t* module) {
    ui::UniqueHKey hkey;
    LONG error = ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_WRITE, hkey.put());
    return error ? error : SetString(hkey.get(), kModuleValue, module);
}

LONG WriteTypeDefault(const std::wstring& key, REGSAM view, const std::wstring& name) {
    ui::UniqueHKey hkey;
    LONG error = ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_SET_VALUE | view, hkey.put());
    return error ? error : SetString(hkey.get(), L"Name", name);
}

std::wstring MachineDefaultProvider(DWORD type) {
    DWORD size = 0;
    if (!::CryptGetDefaultProviderW(type, nullptr, CRYPT_MACHINE_DEFAULT, nullptr, &size))
        return {};
    std::vector<wchar_t> name(size / sizeof(wchar_t) + 1);
    if (!::CryptGetDefaultProviderW(type, nullptr, CRYPT_MACHINE_DEFAULT, name.data(), &size))
        return {};
    return name.data();
}

// 0 or the provider's error; no provider is ERROR_INVALID_HANDLE.
template <class T>
DWORD GetParam(HCRYPTPROV prov, DWORD param, T& value) {
    DWORD size = sizeof(value);
    if (!prov) return ERROR_INVALID_HANDLE;
    return ::CryptGetProvParam(prov, param, reinterpret_cast<BYTE*>(&value), &size, 0)
               ? 0
               : ::GetLastError();
}

DWORD SetParam(HCRYPTPROV prov, DWORD param, DWORD value) {
    return ::CryptSetProvParam(prov, param, reinterpret_cast<const BYTE*>(&value), 0)
               ? 0
               : ::GetLastError();
}

}  // namespace

int ReadProviderMode(const std::wstring& name) {
    ui::UniqueHKey key;
    std::wstring module;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, (kProviderKey + name).c_str(), 0, KEY_READ,
                        key.put()) != ERROR_SUCCESS ||
        !GetString(key.get(), kModuleValue, module))
        return kModeUnknown;
    if (module == kMemoryModule) return kModeMemory;
    if (module == kServiceModule) return kModeService;
    return kModeUnknown;
}

LONG WriteProviderMode(const std::wstring& name, int mode) {
    if ((mode != kModeService && mode != kModeMemory) || name.empty()) return E_UNEXPECTED;
    const wchar_t* module = mode == kModeMemory ? kMemoryModule : kServiceModule;
    if (LONG error = WriteModule(kProviderKey + name, module)) return error;
    return WriteModule(kProviderKey32 + name, module);
}

LONG WriteDefaultProvider(DWORD type, const std::wstring& name) {
    const std::wstring key = TypeKey(type);
    if (LONG error = WriteTypeDefault(key, 0, name)) return error;
    return WriteTypeDefault(key, KEY_WOW64_32KEY, name);
}

bool MayWriteDefaultProvider(DWORD type) {
    ui::UniqueHKey key;
    return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, TypeKey(type).c_str(), 0, KEY_SET_VALUE,
                           key.put()) == ERROR_SUCCESS;
}

std::wstring ProviderTypeName(DWORD type) {
    ui::UniqueHKey key;
    std::wstring name;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, TypeKey(type).c_str(), 0, KEY_READ, key.put()) !=
            ERROR_SUCCESS ||
        !GetString(key.get(), L"TypeName", name))
        return {};
    return name;
}

ProvidersOfType ListProvidersOfType(DWORD type, const std::vector<InstalledProvider>& installed) {
    ProvidersOfType list;
    const std::wstring defaultName = MachineDefaultProvider(type);
    for (const InstalledProvider& provider : installed) {
        if (provider.type != type) continue;
        if (!defaultName.empty() && defaultName == provider.name)
            list.defaultIndex = static_cast<int>(list.names.size());
        list.names.push_back(provider.name);
    }
    return list;
}

ProvidersOfType ListProvidersOfType(DWORD type) {
    return ListProvidersOfType(type, ListInstalledProviders());
}

bool ProviderModeOffered(int mode, DWORD protectionClass, bool keyServiceInstalled) {
    if (protectionClass == kClassKC1)
        return mode == kModeMemory || (mode == kModeService && keyServiceInstalled);
    return mode == kModeService;
}

bool KeyServiceInstalled() {
    ui::UniqueScHandle manager(::OpenSCManagerW(nullptr, nullptr, kManagerAccess));
    if (!manager) return false;
    ui::UniqueScHandle service(::OpenServiceW(manager.get(), kKeyService, SERVICE_QUERY_STATUS));
    return static_cast<bool>(service);
}


DWORD ReadProtectionClass(HCRYPTPROV provider) {
    DWORD protectionClass = 0;
    return GetParam(provider, kParamProtectionClass, protectionClass) == 0 ? protectionClass : 0;
}

DWORD ReadProviderCache(HCRYPTPROV provider, ProviderCache& cache) {
    DWORD answer[3] = {};  // current size (0 = off), maximum (0 = none), available
    cache = {};
    if (DWORD error = GetParam(provider, kParamCache, answer)) return error;
    cache.size = answer[0];
    cache.maximum = std::min(answer[1], kCacheLimit);
    cache.available = answer[2] != 0;
    return 0;
}

DWORD WriteProviderCache(HCRYPTPROV provider, DWORD size) {
    return SetParam(provider, kParamCache, size);
}

DWORD ReadDhControl(HCRYPTPROV provider, DhControl& control) {
    DWORD answer[2] = {};  // state (1 = off), changeable
    control = {};
    if (DWORD error = GetParam(provider, kParamDhControl, answer)) return error;
    control.on = answer[0] != kDhOff;
    control.changeable = answer[1] != 0;
    return 0;
}

DWORD WriteDhControl(HCRYPTPROV provider, bool on) {
    return SetParam(provider, kParamDhControl, on ? kDhOn : kDhOff);
}

DWORD ReadSaveMediaInfo(bool& save) {
    BOOL disabled = FALSE;
    const DWORD error = support::support_registry_get_bool(store::kDisableShortcuts, &disabled);
    save = !disabled;
    return error == ERROR_FILE_NOT_FOUND ? 0 : error;
}

DWORD WriteSaveMediaInfo(bool save) {
    return support::support_registry_put_bool(store::kDisableShortcuts, !save);
}

}  // namespace applet
