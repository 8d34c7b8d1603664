#include "public_key.h"

#include "kvcsp.h"

#include <cstring>

namespace kvcsp {

bool PublicKeyInfoFromBlob(const BYTE* blob, DWORD size, PublicKeyInfoParts& parts) {
    if (!blob || size < kPublicKeyBlobSize) return false;
    BLOBHEADER header;
    PublicKeyBody body;
    std::memcpy(&header, blob, sizeof(header));
    std::memcpy(&body, blob + sizeof(header), sizeof(body));
    if (header.bType != PUBLICKEYBLOB || body.magic != kPublicKeyMagic) return false;
    if (header.aiKeyAlg == kAlgSignature)
        parts.oid = kOidPublicKey;
    else if (header.aiKeyAlg == kAlgSignature94)
        parts.oid = kOidPublicKey94;
    else
        return false;
    std::string hash(body.hashSet, strnlen(body.hashSet, sizeof(body.hashSet)));
    std::string dh(body.dhSet, strnlen(body.dhSet, sizeof(body.dhSet)));
    parts.parameters = der::Encode(der::kSequence, der::Concat({der::Oid(dh), der::Oid(hash)}));
    parts.key = der::Encode(der::kOctetString, der::Bytes(body.point, body.point + 64));
    return true;
}

}  // namespace kvcsp
