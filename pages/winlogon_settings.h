// What the Winlogon page stores, without a window: per provider the reader Windows logon uses by
// default and the switch that turns the provider's Winlogon support off (the configuration
// store), and on a domain controller whether the KDC keeps its default verification provider
// (the Windows registry).
#pragma once

#include <windows.h>

#include <string>

namespace applet {

// Reader names as the reader subsystem reports them.
constexpr DWORD kMaxReaderName = 64;

// Where the store keeps `provider`'s default reader.
std::wstring DefaultReaderPath(const std::wstring& provider);
// The stored name of `provider`'s default reader: 0, or the store's error (ERROR_FILE_NOT_FOUND
// when none is set).
DWORD ReadDefaultReader(const std::wstring& provider, std::wstring& stored);
// Stores the reader's name; "" removes it, which is the same as "Not set" (a failed removal is
// no error).
DWORD WriteDefaultReader(const std::wstring& provider, const std::wstring& stored);
// The store lets default readers be chosen at all ("EnableDefaultReader" set).
bool DefaultReadersEnabled();
// Away from a domain controller only the providers that the logon components can use are
// offered; their registration carries an implementation type.
bool OffersDefaultReader(const std::wstring& provider, bool domainController);

// The provider's Winlogon support switched off ("DisableWL" above 0): 0 or the store's error; a
// missing value is on.
DWORD ReadWinlogonDisabled(bool& disabled);
DWORD WriteWinlogonDisabled(bool disabled);

// By the product type that GetVersionExW reports.
bool IsDomainController();

// What the KDC's "NotChangeDefaultVerifyProvider" value says.
enum KdcState {
    kKdcUnknown = 0,  // not a domain controller, or the key can't be read
    kKdcKeepsProvider = 1,
    kKdcUsesProduct = 2,
    kKdcValueMissing = 3,
};
KdcState ReadKdcState(bool domainController);
// Whether the state lets the KDC use the product's algorithms, as the page's box shows it.
inline bool KdcUsesProduct(KdcState state) {
    return state == kKdcUsesProduct || state == kKdcValueMissing;
}
// Writes the value: 0 lets the KDC use the product's algorithms, 1 keeps its own provider. 0 or
// the registry's error.
LONG WriteKdcUsesProduct(bool use);

}  // namespace applet
