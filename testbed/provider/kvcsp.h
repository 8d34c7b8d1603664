// What the stand-in CryptoAPI provider (kvcsp.dll) shares with the programs that use it: the
// provider names the installer registers, the algorithm identifiers, the numbers of the
// provider-specific parameters and the layouts of their data. README.md describes each one.
#pragma once

#include <windows.h>
#include <wincrypt.h>

namespace kvcsp {

// Registered providers. All of them load kvcsp.dll; each name keeps its own containers.
inline constexpr wchar_t kProviderMain[] = L"Kelvane Vestra CSP";          // type 75, default
inline constexpr wchar_t kProviderCloud[] = L"Kelvane Cloud CSP";          // type 75
inline constexpr wchar_t kProvider94[] = L"Kelvane Vestra CSP (GOST 94)";  // type 71, default
inline constexpr wchar_t kProviderExtra[] = L"Vestra CSP Extra";           // type 75, DLL elsewhere
inline constexpr DWORD kType2001 = 75;
inline constexpr DWORD kType94 = 71;

// Algorithm identifiers.
inline constexpr ALG_ID kAlgHash = 0x801E;         // the hash (SHA-256 underneath)
inline constexpr ALG_ID kAlgSession = 0x661E;      // session key (AES-256 underneath)
inline constexpr ALG_ID kAlgKeyWrap = 0x661F;      // key-wrapping algorithm of agreement keys
inline constexpr ALG_ID kAlgEphemeral = 0xAA25;    // ephemeral agreement key
inline constexpr ALG_ID kAlgEphemeral94 = 0xAA1F;  // the same, as a type-71 caller names it
inline constexpr ALG_ID kAlgSignature = 0x2E23;    // signature key pair, type 75
inline constexpr ALG_ID kAlgExchange = 0xAA24;     // exchange key pair, type 75
inline constexpr ALG_ID kAlgSignature94 = 0x2E1E;  // signature key pair, type 71
inline constexpr ALG_ID kAlgExchange94 = 0xAA1E;   // exchange key pair, type 71

// Object identifiers of the public keys (in certificates and CryptExportPublicKeyInfo), of the
// certificate signature algorithm, and of the container extensions that carry a chain.
inline constexpr char kOidPublicKey[] = "1.2.643.2.2.19";
inline constexpr char kOidPublicKey94[] = "1.2.643.2.2.20";
inline constexpr char kOidSignature[] = "1.2.643.2.2.3";
inline constexpr char kOidSignature94[] = "1.2.643.2.2.4";
inline constexpr char kOidChainCa[] = "1.2.643.2.2.37.3.1";     // certificates for the "ca" store
inline constexpr char kOidChainRoot[] = "1.2.643.2.2.37.3.2";   // certificates for "root"
inline constexpr char kOidChainRoot2[] = "1.2.643.2.2.37.3.3";  // certificates for "root"
inline constexpr char kOidUsagePeriod[] = "2.5.29.16";
// The structure type under which the provider decodes a private key usage period.
inline constexpr char kUsagePeriodType[] = "{3F1C8A52-7D04-4E96-B2A8-5C6E19D0B7F3}";

// Acquire flag bits of the provider's own (accepted, no effect in the testbed).
inline constexpr DWORD kAcquireNoCarrier = 0x00004000;
inline constexpr DWORD kAcquireCopyTarget = 0x00040000;

// Provider parameters (CryptGetProvParam / CryptSetProvParam).
enum ProvParam : DWORD {
    kParamHashSet = 92,  // get/set: NUL-terminated OID text
    kParamCipherSet = 93,
    kParamSignatureSet = 94,
    kParamDhSet = 95,
    kParamHashSets = 103,  // get, CRYPT_FIRST then 0: ParamSetEntry records
    kParamCipherSets = 104,
    kParamSignatureSets = 105,
    kParamDhSets = 106,
    kParamChangePassword = 108,   // set: PasswordRequest
    kParamKeysLoading = 109,      // get: DWORD, the number of key pairs loaded
    kParamPickContainer = 110,    // get: NUL-terminated ANSI container name
    kParamFqcn = 111,             // get: NUL-terminated ANSI "\\.\DISK\<name>"
    kParamCache = 115,            // get: CacheState; set: DWORD size (0 = off)
    kParamProtectionClass = 129,  // get: DWORD 1..6
    kParamAddExtension = 132,     // set: ExtensionRequest
    kParamExtensions = 133,       // get, CRYPT_FIRST then 0: extension records
    kParamBuild = 138,            // get: BuildRecord
    kParamDhControl = 143,        // get: DhControlState; set: DWORD 2 on, 1 off
    kParamIntegrity = 146,        // get: DWORD, 0 = intact
};

// A cipher set (parameter 93) whose text is longer than 64 bytes.
inline constexpr char kLongCipherSet[] =
    "1.2.643.2.2.31.1000000001.1000000002.1000000003.1000000004.1000000005";

// Key parameters (CryptGetKeyParam / CryptSetKeyParam), NUL-terminated OID texts.
inline constexpr DWORD kKeyParamHashSet = 103;
inline constexpr DWORD kKeyParamDhSet = 106;

// One entry of the parameter set lists 103 to 106:
//     ParamSetEntry, then (nameId == 0) the display name as NUL-terminated UTF-16,
//     then the value: valueLength bytes, the NUL-terminated ANSI OID that 92..95 take and give.
struct ParamSetEntry {
    DWORD nameId;       // 1..0xFFFF: the name is this string id of the caller's string table
    DWORD valueLength;  // bytes of the value, its NUL included
};
// The string id that names the test parameter set of every list.
inline constexpr DWORD kTestParamSetNameId = 1200;

// Parameter 108: change the container's password through the provider's own dialogs.
struct PasswordRequest {
    BYTE kind;       // 4
    void* password;  // null: the provider asks
};
inline constexpr BYTE kPasswordKindDialog = 4;

// Parameter 115 (get).
struct CacheState {
    DWORD size;       // keys cached now; 0 = caching off
    DWORD maximum;    // 0 = the provider offers no caching
    DWORD available;  // caching can be switched on
};

// Parameter 132 (set): one container extension.
struct ExtensionRequest {
    const char* oid;
    DWORD critical;
    DWORD valueLength;
    const BYTE* value;
};

// Parameter 133 (get) hands out records: DWORD critical, DWORD n, n bytes of DER value, then
// the OID as NUL-terminated ANSI text. A size query with CRYPT_FIRST gives the largest record.

// Parameter 138 (get).
struct BuildRecord {
    DWORD version;  // as PP_VERSION
    DWORD build;
    DWORD debug;  // 1 for a debug build
    DWORD reserved[2];
};

// Parameter 143 (get).
struct DhControlState {
    DWORD state;       // 1 = off, 2 = on
    DWORD changeable;  // 1 when a set is accepted
};
inline constexpr DWORD kDhOff = 1;
inline constexpr DWORD kDhOn = 2;

// CryptDecodeObject(kUsagePeriodType): either pointer is null when the period leaves it open.
struct UsagePeriod {
    FILETIME* notBefore;
    FILETIME* notAfter;
};
// CryptDecodeObject(kOidChainCa, kOidChainRoot, kOidChainRoot2) gives a CRYPT_BLOB_ARRAY whose
// blobs are the encoded certificates, in the order of the extension value.

}  // namespace kvcsp
