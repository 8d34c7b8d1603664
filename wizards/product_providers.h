// The installed CryptoAPI providers that belong to the product, as every front end lists them.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace applet {

// The product's own provider type; the machine default of this type is preselected.
constexpr DWORD kProductProviderType = 75;

// Provider `index` of CryptEnumProvidersW: its name and type; false past the last one or on a
// failure.
bool EnumProvider(DWORD index, std::wstring& name, DWORD& type);

// Iterates the installed providers that belong to the product: type 75, or "Kelvane" in the
// name; with `restrict`, only those whose DLL lies in the applet's own directory.
struct ProductProviderEnum {
    DWORD index = 0;
    bool restrict = false;
};
bool EnumProductProviders(ProductProviderEnum& state, std::wstring& name, DWORD& type);

// Every installed provider, in CryptEnumProvidersW order: what a page that needs several lists
// of providers enumerates once.
struct InstalledProvider {
    std::wstring name;
    DWORD type = 0;
};
std::vector<InstalledProvider> ListInstalledProviders();
// EnumProductProviders over providers listed already.
bool EnumProductProviders(ProductProviderEnum& state,
                          const std::vector<InstalledProvider>& installed, std::wstring& name,
                          DWORD& type);

// The name of the computer's default provider of the product's type; "" when there is none.
std::wstring MachineDefaultProvider();

}  // namespace applet
