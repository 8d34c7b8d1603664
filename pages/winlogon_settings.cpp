#include "pages/winlogon_settings.h"

#include "applet/support.h"
#include "ui/handles.h"

namespace applet {

namespace {

constexpr wchar_t kEnableDefaultReader[] = L"EnableDefaultReader";
constexpr wchar_t kProviderKey[] = L"Software\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr wchar_t kKdcKey[] = L"SYSTEM\\CurrentControlSet\\Services\\kdc\\Parameters";
constexpr wchar_t kKdcValue[] = L"NotChangeDefaultVerifyProvider";

bool HasImplementationType(const std::wstring& provider) {
    ui::UniqueHKey key;
    return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, (kProviderKey + provider).c_str(), 0, KEY_READ,
                           key.put()) == ERROR_SUCCESS &&
           ::RegQueryValueExW(key.get(), L"ImpType", nullptr, nullptr, nullptr, nullptr) ==
               ERROR_SUCCESS;
}

}  // namespace

std::wstring DefaultReaderPath(const std::wstring& provider) {
    return L"\\cryptography\\Defaults\\provider\\" + provider + L"\\ReaderDefault";
}

DWORD ReadDefaultReader(const std::wstring& provider, std::wstring& stored) {
    wchar_t name[kMaxReaderName + 1] = {};
    DWORD length = kMaxReaderName;
    const DWORD error =
        support::support_registry_get_string(DefaultReaderPath(provider).c_str(), &length, name);
    stored = error == 0 ? name : L"";
    return error;
}

DWORD WriteDefaultReader(const std::wstring& provider, const std::wstring& stored) {
    const std::wstring path = DefaultReaderPath(provider);
    // Nothing stored is the same as "Not set", whether or not there was a value.
    if (stored.empty()) {
        support::support_registry_delete_param(path.c_str());
        return 0;
    }
    return support::support_registry_put_string(path.c_str(), stored.c_str());
}

bool DefaultReadersEnabled() {
    DWORD enabled = 0;
    support::support_registry_get_long(
        (std::wstring(store::kParameters) + L"\\" + kEnableDefaultReader).c_str(), &enabled);
    return enabled != 0;
}

bool OffersDefaultReader(const std::wstring& provider, bool domainController) {
    return domainController || HasImplementationType(provider);
}

DWORD ReadWinlogonDisabled(bool& disabled) {
    DWORD stored = 0;
    const DWORD error = support::support_registry_get_long(store::kDisableWinlogon, &stored);
    disabled = error == 0 && static_cast<LONG>(stored) > 0;
    return error == ERROR_FILE_NOT_FOUND ? 0 : error;
}

DWORD WriteWinlogonDisabled(bool disabled) {
    return support::support_registry_put_long(store::kDisableWinlogon, disabled ? 1 : 0);
}

bool IsDomainController() {
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    return ::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)) &&
           version.wProductType == VER_NT_DOMAIN_CONTROLLER;
}

KdcState ReadKdcState(bool domainController) {
    if (!domainController) return kKdcUnknown;
    ui::UniqueHKey key;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKdcKey, 0, KEY_QUERY_VALUE, key.put()) !=
        ERROR_SUCCESS)
        return kKdcUnknown;
    DWORD value = 0, size = sizeof(value), type = 0;
    const LSTATUS status = ::RegQueryValueExW(key.get(), kKdcValue, nullptr, &type,
                                              reinterpret_cast<BYTE*>(&value), &size);
    if (status == ERROR_FILE_NOT_FOUND) return kKdcValueMissing;
    if (status != ERROR_SUCCESS || type != REG_DWORD) return kKdcUnknown;
    return static_cast<LONG>(value) > 0 ? kKdcKeepsProvider : kKdcUsesProduct;
}

LONG WriteKdcUsesProduct(bool use) {
    ui::UniqueHKey key;
    if (LONG error = ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKdcKey, 0, KEY_SET_VALUE, key.put()))
        return error;
    const DWORD value = use ? 0 : 1;
    return ::RegSetValueExW(key.get(), kKdcValue, 0, REG_DWORD,
                            reinterpret_cast<const BYTE*>(&value), sizeof(value));
}

}  // namespace applet
