// The provider's PUBLICKEYBLOB and what it becomes in a certificate's SubjectPublicKeyInfo.
// Shared by the key module, the crypt32 encoder and the fixture maker, so that a certificate
// made from an exported public key matches what CryptExportPublicKeyInfo gives for it.
#pragma once

#include "der.h"

#include <windows.h>
#include <wincrypt.h>

#include <string>

namespace kvcsp {

// PUBLICKEYBLOB: BLOBHEADER (aiKeyAlg = the public key algorithm, kAlgSignature or
// kAlgSignature94 whatever the key is used for), then this.
struct PublicKeyBody {
    DWORD magic;       // kPublicKeyMagic
    DWORD bitLength;   // 512
    char hashSet[32];  // key parameter 103, NUL-padded
    char dhSet[32];    // key parameter 106, NUL-padded
    BYTE point[64];    // X then Y, big-endian (P-256)
};
inline constexpr DWORD kPublicKeyMagic = 0x3150564B;  // "KVP1"
inline constexpr DWORD kPublicKeyBlobSize = sizeof(BLOBHEADER) + sizeof(PublicKeyBody);

// The parts of a SubjectPublicKeyInfo for a PUBLICKEYBLOB of this provider: the algorithm's
// OID, its parameters (SEQUENCE { OID dhSet, OID hashSet }) and the key (OCTET STRING of the
// point, so the bit string never starts with 0x30). False for a blob of another layout.
struct PublicKeyInfoParts {
    std::string oid;
    der::Bytes parameters;
    der::Bytes key;
};
bool PublicKeyInfoFromBlob(const BYTE* blob, DWORD size, PublicKeyInfoParts& parts);

}  // namespace kvcsp
