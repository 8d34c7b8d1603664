// The testbed's knobs: registry values under HKLM\Software\Kelvane\Testbed through which tests set
// how the stand-in product behaves, and the counters through which they observe what the applet
// did to it. These names are the contract between the testbed and the tests; the applet never
// includes this header.
//
// The window titles are plain macros because the libraries' resource scripts use them too.
#pragma once

#define KV_TESTBED_TITLE_READERS "Vestra CSP readers"
#define KV_TESTBED_TITLE_CARRIERS "Vestra CSP key carrier types"
#define KV_TESTBED_TITLE_RNG "Vestra CSP random number generators"

#ifndef RC_INVOKED

namespace testbed::knobs {

// Everything below lives under HKEY_LOCAL_MACHINE (64-bit view).
inline constexpr wchar_t kRoot[] = L"Software\\Kelvane\\Testbed";

// Rights granted per store path: value name = store path ("\config\Parameters"), REG_DWORD =
// the rights granted there (kRead | kWrite | kRemove). A path without a value of its own takes
// the nearest ancestor's; with none at all everything is granted.
inline constexpr wchar_t kAccess[] = L"Software\\Kelvane\\Testbed\\Access";
inline constexpr unsigned long kRead = 1;
inline constexpr unsigned long kWrite = 2;
inline constexpr unsigned long kRemove = 8;

// Readers present: one subkey per reader, named by its nickname, with REG_SZ values kConnect
// (missing = empty connect name) and kDisplayName (missing = the display name can't be read).
// Listed in the registry's order of the subkeys.
inline constexpr wchar_t kReaders[] = L"Software\\Kelvane\\Testbed\\Readers";
inline constexpr wchar_t kConnect[] = L"Connect";
inline constexpr wchar_t kDisplayName[] = L"Name";

// Results of kvcng.dll's registration entries (REG_DWORD HRESULT, in kRoot; missing = S_OK).
inline constexpr wchar_t kCngRegisterResult[] = L"CngRegisterResult";
inline constexpr wchar_t kCngUnregisterResult[] = L"CngUnregisterResult";

// The last argument given to kvcrypt.dll's SetThreadDefaultCryptProv (REG_QWORD, in kRoot).
inline constexpr wchar_t kThreadDefaultProv[] = L"ThreadDefaultCryptProv";

// Calls counted (REG_DWORD per name, in kCalls; missing = 0). Tests compare before and after.
inline constexpr wchar_t kCalls[] = L"Software\\Kelvane\\Testbed\\Calls";
inline constexpr wchar_t kCallReaders[] = L"rdr_wnd_configure";
inline constexpr wchar_t kCallCarriers[] = L"rdr_media_wnd_configure";
inline constexpr wchar_t kCallRng[] = L"rndm_wnd_configure";
inline constexpr wchar_t kCallCngRegister[] = L"DllRegisterServer";
inline constexpr wchar_t kCallCngUnregister[] = L"DllUnregisterServer";
inline constexpr wchar_t kCallThreadDefaultProv[] = L"SetThreadDefaultCryptProv";
inline constexpr wchar_t kCallConsole[] = L"kvpki.exe";

// The modal windows of kvrdr.dll and kvrndm.dll: dialogs (class "#32770") owned by the window
// the caller names, closed by IDOK or IDCANCEL.
inline constexpr wchar_t kTitleReaders[] = L"" KV_TESTBED_TITLE_READERS;
inline constexpr wchar_t kTitleCarriers[] = L"" KV_TESTBED_TITLE_CARRIERS;
inline constexpr wchar_t kTitleRng[] = L"" KV_TESTBED_TITLE_RNG;

}  // namespace testbed::knobs

#endif  // RC_INVOKED
