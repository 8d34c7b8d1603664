// What the Security page stores, without a window: the default providers of types 75 and 71
// and each provider's key storage mode (the Windows registry, both views), the provider's key
// cache and Diffie-Hellman control (its own parameters), and whether removable media
// information is saved (the configuration store).
#pragma once

#include "wizards/product_providers.h"

#include <windows.h>
#include <wincrypt.h>

#include <string>
#include <vector>

namespace applet {

// The provider's key storage mode, as its "KV Module Name" says.
constexpr int kModeUnknown = -1;
constexpr int kModeService = 0;  // keys live in the keys storage service
constexpr int kModeMemory = 1;   // keys live in each application's memory

// Mode of provider `name`: exactly "kvcspr.dll" or "kvcspi.dll", anything else is unknown.
int ReadProviderMode(const std::wstring& name);
// Writes the mode's module name in the native view, then under Wow6432Node. E_UNEXPECTED for a
// mode that is neither or no provider; otherwise the first registry error (the native view may
// then be written already).
LONG WriteProviderMode(const std::wstring& name, int mode);
// Whether the page offers `mode` to a provider of protection class `protectionClass` (0 when
// the provider does not tell): a KC1 provider keeps its keys in memory, or in the keys storage
// service when that is installed; any other class only in the service.
bool ProviderModeOffered(int mode, DWORD protectionClass, bool keyServiceInstalled);
bool KeyServiceInstalled();
DWORD ReadProtectionClass(HCRYPTPROV provider);

// The machine default of provider type `type` in both registry views; "" removes the choice.
// 0 only when both were written, else the first registry error.
LONG WriteDefaultProvider(DWORD type, const std::wstring& name);
// Whether this user may change the default of `type`.
bool MayWriteDefaultProvider(DWORD type);
// "TypeName" of provider type `type`; "" when it can't be read.
std::wstring ProviderTypeName(DWORD type);

// The installed providers of one type in enumeration order, and which is the machine default.
struct ProvidersOfType {
    std::vector<std::wstring> names;
    int defaultIndex = -1;  // in `names`; -1 when the default is none of them
};
ProvidersOfType ListProvidersOfType(DWORD type);
// The same from providers listed already (ListInstalledProviders).
ProvidersOfType ListProvidersOfType(DWORD type, const std::vector<InstalledProvider>& installed);

// The provider's key cache. More keys than kCacheLimit the keys storage service can't hold,
// whatever the provider offers.
constexpr DWORD kCacheLimit = 2457;
struct ProviderCache {
    DWORD size = 0;     // keys; 0 is off
    DWORD maximum = 0;  // as the provider offers it, at most kCacheLimit; 0: no cache at all
    bool available = false;
};
// 0 or the provider's error.
DWORD ReadProviderCache(HCRYPTPROV provider, ProviderCache& cache);
DWORD WriteProviderCache(HCRYPTPROV provider, DWORD size);

// The provider's Diffie-Hellman operation control. NTE_BAD_TYPE: the provider has none and
// works as if it were on.
struct DhControl {
    bool on = true;
    bool changeable = false;
};
DWORD ReadDhControl(HCRYPTPROV provider, DhControl& control);
DWORD WriteDhControl(HCRYPTPROV provider, bool on);

// Whether removable media information is saved ("DisableShortcuts" not set): 0 or the store's
// error; a missing value is saving.
DWORD ReadSaveMediaInfo(bool& save);
DWORD WriteSaveMediaInfo(bool save);

}  // namespace applet
