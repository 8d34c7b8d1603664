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
// REG_DWORD in a reader's subkey: the error its supsys_nickname answers (missing or 0 = none).
inline constexpr wchar_t kNicknameError[] = L"NicknameError";

// Not knobs but the prefix's own state, which tests switch: Wine's GetVersionExW reports a
// domain controller when kProductType is kDomainController (read once per process, so a test
// runs the code that asks in a program started afterwards), and a domain controller's KDC keeps
// its settings in kKdcParameters.
inline constexpr wchar_t kProductOptions[] = L"System\\CurrentControlSet\\Control\\ProductOptions";
inline constexpr wchar_t kProductType[] = L"ProductType";
inline constexpr wchar_t kDomainController[] = L"LanmanNT";
inline constexpr wchar_t kKdcParameters[] = L"SYSTEM\\CurrentControlSet\\Services\\kdc\\Parameters";

// REG_DWORD in kRoot: 1 makes kvsuprt.dll report a stored language the applet has no texts for
// (1058, say) as it is, as a later release of the product that speaks more languages would;
// missing or 0 = such a value counts as none.
inline constexpr wchar_t kLanguageAsStored[] = L"LanguageAsStored";

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

// The stand-in CryptoAPI providers (kvcsp.dll, testbed/provider/README.md). Where a parameter
// the applet sets has to last, the provider writes the same knob back.
inline constexpr wchar_t kProvider[] = L"Software\\Kelvane\\Testbed\\Provider";
// REG_DWORD values in kProvider (default when missing):
inline constexpr wchar_t kProtectionClass[] = L"ProtectionClass";  // param 129 (1); 0 = unanswered
inline constexpr wchar_t kCacheMaximum[] = L"CacheMaximum";        // param 115 (64); 0 = none
inline constexpr wchar_t kCacheAvailable[] = L"CacheAvailable";    // param 115 (1)
inline constexpr wchar_t kCacheSize[] = L"CacheSize";              // param 115 (0); set writes it
inline constexpr wchar_t kDhControl[] = L"DhControl";              // param 143 (2); 0 = absent
inline constexpr wchar_t kDhControlFixed[] = L"DhControlFixed";    // param 143 (0); 1 = refuse set
inline constexpr wchar_t kIntegrity[] = L"Integrity";              // param 146 (0)
inline constexpr wchar_t kDebugBuild[] = L"DebugBuild";            // param 138 (0)
inline constexpr wchar_t kPasswordResult[] = L"PasswordResult";    // param 108 (0 = changed)
inline constexpr wchar_t kReportedType[] = L"ReportedType";  // PP_PROVTYPE (0 = the real type)
// One provider's own answers: a subkey of kProvider named after the provider ("Kelvane Cloud
// CSP") whose values of kProtectionClass, kCacheMaximum, kCacheAvailable, kCacheSize, kDhControl
// and kDhControlFixed take precedence over the shared ones above. Sets of 115 and 143 write the
// value they were given there, so a test reads what each provider was told.
// Extension records of param 133 made malformed, every one of them (REG_DWORD in kProvider;
// missing or 0 = as stored): a value length past the record's end, the object identifier
// without its terminating zero, a record of 4 bytes, or an honest record whose reported size
// is 4096 bytes larger than what was written.
inline constexpr wchar_t kExtensionFault[] = L"ExtensionFault";
inline constexpr unsigned long kExtensionValuePastEnd = 1;
inline constexpr unsigned long kExtensionOidUnterminated = 2;
inline constexpr unsigned long kExtensionShortRecord = 3;
inline constexpr unsigned long kExtensionSizeOverstated = 4;
// Or a list that never ends: every query and fetch answers success with length 0, or every
// fetch answers the first record again.
inline constexpr unsigned long kExtensionEmpty = 5;
inline constexpr unsigned long kExtensionEndless = 6;
// REG_SZ in kProvider: the container the picker (param 110) answers; missing = cancelled.
inline constexpr wchar_t kPickedContainer[] = L"PickedContainer";

// Failure injection: a subkey of kFail named after an entry point ("CPExportKey") or an entry
// point and a parameter number ("CPGetProvParam.133"), with REG_DWORD values kFailCall (the Nth
// call from now fails) and kFailError (its error). The subkey is removed when it has fired.
inline constexpr wchar_t kFail[] = L"Software\\Kelvane\\Testbed\\Provider\\Fail";
inline constexpr wchar_t kFailCall[] = L"Call";
inline constexpr wchar_t kFailError[] = L"Error";

// The provider's dialogs, counted under kCalls.
inline constexpr wchar_t kCallContainerPicker[] = L"kvcsp container picker";
inline constexpr wchar_t kCallPasswordChange[] = L"kvcsp password change";
// Fetches of param 133 that offered more room than the largest record announced: the reader
// passed on a size it had not allocated.
inline constexpr wchar_t kCallExtensionRoomOverstated[] = L"kvcsp extension room overstated";

// Live handles of one process: a file mapping named by this format and the process id, holding
// three LONGs (contexts, keys, hashes). The provider keeps itself loaded once it has been used,
// so handles leaked past the last CryptReleaseContext still count.
inline constexpr wchar_t kLiveCountersFormat[] = L"Local\\KelvaneTestbedProviderLive.%lu";

// Calls of the provider's entry points in one process: a file mapping named by this format and
// the process id, holding a CallCounters. Each call counts under its entry point's name and, for
// the parameter entry points, also under "entry.param": the names the failure knobs take. The
// records fill in the order of the first call; an empty name ends them.
inline constexpr wchar_t kCallCountersFormat[] = L"Local\\KelvaneTestbedProviderCalls.%lu";
struct CallCounter {
    char name[40];
    long count;
};
struct CallCounters {
    long lock;  // the provider's, while it adds or counts; readers read between calls
    CallCounter entries[256];
};

// The stand-in directory (tbdirectory.dll, the "LDAP:" namespace). Its content is the description
// file that kDirectoryFile names: an INI file, one section per object named by its distinguished
// name ("rootDSE" for the root), one key per attribute, each value typed by its prefix: "s:" a
// string, "i:" a 32-bit integer, "g:" a GUID in its text form, handed out as its 16 bytes. An
// object's class is its "objectClass"; its children are the sections one name component below.
// SetInfo writes the changed attributes back into the file.
inline constexpr wchar_t kDirectory[] = L"Software\\Kelvane\\Testbed\\Directory";
inline constexpr wchar_t kDirectoryFile[] = L"File";  // REG_SZ: the file's path
// REG_DWORD HRESULTs in kDirectory (missing or 0 = none): every bind fails with kBindError, a Get
// of the attribute named by kGetErrorName (REG_SZ) with kGetError, every SetInfo with
// kSetInfoError.
inline constexpr wchar_t kBindError[] = L"BindError";
inline constexpr wchar_t kGetError[] = L"GetError";
inline constexpr wchar_t kGetErrorName[] = L"GetErrorName";
inline constexpr wchar_t kSetInfoError[] = L"SetInfoError";

}  // namespace testbed::knobs

#endif  // RC_INVOKED
