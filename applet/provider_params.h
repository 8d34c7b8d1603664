// The provider's own parameters, as CryptGetProvParam/CryptSetProvParam (and, where noted,
// CryptGetKeyParam/CryptSetKeyParam) take them, and the acquire flags the settings pages use.
#pragma once

#include <windows.h>
#include <wincrypt.h>

namespace applet {

// Algorithm parameter sets of new keys, each an OID as NUL-terminated ANSI text.
constexpr DWORD kParamHashSet = 92;
constexpr DWORD kParamCipherSet = 93;
constexpr DWORD kParamSignatureSet = 94;
constexpr DWORD kParamDhSet = 95;
// The sets each of those may take, enumerated CRYPT_FIRST then 0.
constexpr DWORD kParamHashSets = 103;
constexpr DWORD kParamCipherSets = 104;
constexpr DWORD kParamSignatureSets = 105;
constexpr DWORD kParamDhSets = 106;
// As key parameters, the same numbers read or set the hash and Diffie-Hellman sets of one key.
constexpr DWORD kKeyParamHashSet = kParamHashSets;
constexpr DWORD kKeyParamDhSet = kParamDhSets;

constexpr DWORD kParamChangePassword = 108;   // set: the container's new password
constexpr DWORD kParamKeysLoading = 109;      // get: 32-bit count of the key pairs loaded
constexpr DWORD kParamPickContainer = 110;    // get: the provider's container picker, ANSI name
constexpr DWORD kParamFqcn = 111;             // get: the container's full name, ANSI
constexpr DWORD kParamCache = 115;            // get: size, maximum, available; set: size (0 off)
constexpr DWORD kParamProtectionClass = 129;  // get: 1 "KC1" ... 6 "KA1"
constexpr DWORD kParamAddExtension = 132;     // set: one extension to add to the container
constexpr DWORD kParamExtensions = 133;       // get, CRYPT_FIRST then 0: the container's extensions
constexpr DWORD kParamBuild = 138;            // get: version, build number, debug flag, two more
constexpr DWORD kParamDhControl = 143;        // get: state, changeable; set: state
constexpr DWORD kParamIntegrity = 146;        // get: 32-bit state, 0 intact

// The settings pages only query the provider: a verification context with the provider's own
// bit that keeps it from asking for a carrier.
constexpr DWORD kProviderQueryOnly = 0x4000;
constexpr DWORD kQueryContextFlags = CRYPT_VERIFYCONTEXT | kProviderQueryOnly;

}  // namespace applet
