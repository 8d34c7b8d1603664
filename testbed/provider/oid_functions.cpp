// The crypt32 functions the provider registers for its object identifiers: the encoding of its
// public keys (CryptExportPublicKeyInfo) and the decoders of the private key usage period and
// of the container extensions that carry a chain (CryptDecodeObject).
#include "der.h"
#include "kvcsp.h"
#include "objects.h"
#include "public_key.h"

#include <windows.h>
#include <wincrypt.h>

#include <cstring>

namespace {

using kvcsp::UsagePeriod;

BYTE* LocalCopy(const der::Bytes& bytes) {
    BYTE* copy = static_cast<BYTE*>(::LocalAlloc(LMEM_FIXED, bytes.empty() ? 1 : bytes.size()));
    if (copy && !bytes.empty()) std::memcpy(copy, bytes.data(), bytes.size());
    return copy;
}

// The size protocol of CryptDecodeObject: no buffer asks for the size.
bool Room(void* info, DWORD* size, size_t needed) {
    DWORD available = *size;
    *size = static_cast<DWORD>(needed);
    if (!info) return false;
    if (available < needed) {
        ::SetLastError(ERROR_MORE_DATA);
        return false;
    }
    return true;
}

BOOL Corrupt() {
    ::SetLastError(static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));
    return FALSE;
}

// The arguments every decoder checks and the SEQUENCE every structure here is; false with the
// last error set otherwise.
bool OuterSequence(const BYTE* encoded, DWORD encoded_size, const DWORD* info_size,
                   der::Element& sequence) {
    if (!encoded || !info_size) {
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    const BYTE* at = encoded;
    if (!der::Read(at, encoded + encoded_size, sequence) || sequence.tag != der::kSequence)
        return Corrupt();
    return true;
}

}  // namespace

extern "C" {

BOOL WINAPI KvEncodePublicKeyAndParameters(DWORD, LPSTR, BYTE* blob, DWORD size, DWORD, void*,
                                           BYTE** key, DWORD* key_size, BYTE** parameters,
                                           DWORD* parameters_size) {
    kvcsp::PublicKeyInfoParts parts;
    if (!key || !key_size || !parameters || !parameters_size ||
        !kvcsp::PublicKeyInfoFromBlob(blob, size, parts)) {
        ::SetLastError(static_cast<DWORD>(NTE_BAD_PUBLIC_KEY));
        return FALSE;
    }
    *key = LocalCopy(parts.key);
    *parameters = LocalCopy(parts.parameters);
    if (!*key || !*parameters) {
        ::LocalFree(*key);
        ::LocalFree(*parameters);
        ::SetLastError(ERROR_OUTOFMEMORY);
        return FALSE;
    }
    *key_size = static_cast<DWORD>(parts.key.size());
    *parameters_size = static_cast<DWORD>(parts.parameters.size());
    kvcsp::ReleaseKeyOfEncodedBlob(blob, size);
    return TRUE;
}

// PrivateKeyUsagePeriod ::= SEQUENCE { notBefore [0] GeneralizedTime OPTIONAL,
//                                      notAfter  [1] GeneralizedTime OPTIONAL }
BOOL WINAPI KvDecodeUsagePeriod(DWORD, LPCSTR, const BYTE* encoded, DWORD encoded_size, DWORD,
                                void* info, DWORD* info_size) {
    der::Element sequence;
    if (!OuterSequence(encoded, encoded_size, info_size, sequence)) return FALSE;
    FILETIME times[2] = {};
    bool present[2] = {};
    const BYTE* inner = sequence.content;
    while (inner < sequence.end) {
        der::Element element;
        if (!der::Read(inner, sequence.end, element)) return Corrupt();
        int index = element.tag == der::kContext0 ? 0 : element.tag == der::kContext1 ? 1 : -1;
        der::Element time = element;
        time.tag = der::kGeneralizedTime;
        if (index < 0 || present[index] || !der::ParseTime(time, times[index])) return Corrupt();
        present[index] = true;
    }
    size_t needed = sizeof(UsagePeriod) + sizeof(times);
    if (!Room(info, info_size, needed)) return info ? FALSE : TRUE;
    auto* period = static_cast<UsagePeriod*>(info);
    auto* storage = reinterpret_cast<FILETIME*>(period + 1);
    std::memcpy(storage, times, sizeof(times));
    period->notBefore = present[0] ? &storage[0] : nullptr;
    period->notAfter = present[1] ? &storage[1] : nullptr;
    return TRUE;
}

// The chain extensions: SEQUENCE OF Certificate, given out as a CRYPT_BLOB_ARRAY of the
// encoded certificates.
BOOL WINAPI KvDecodeCertificateSet(DWORD, LPCSTR, const BYTE* encoded, DWORD encoded_size, DWORD,
                                   void* info, DWORD* info_size) {
    der::Element sequence;
    if (!OuterSequence(encoded, encoded_size, info_size, sequence)) return FALSE;
    std::vector<der::Element> certificates;
    size_t data_size = 0;
    for (const BYTE* inner = sequence.content; inner < sequence.end;) {
        der::Element element;
        if (!der::Read(inner, sequence.end, element) || element.tag != der::kSequence)
            return Corrupt();
        certificates.push_back(element);
        data_size += element.end - element.begin;
    }
    size_t needed =
        sizeof(CRYPT_BLOB_ARRAY) + certificates.size() * sizeof(CRYPT_DATA_BLOB) + data_size;
    if (!Room(info, info_size, needed)) return info ? FALSE : TRUE;
    auto* array = static_cast<CRYPT_BLOB_ARRAY*>(info);
    auto* blobs = reinterpret_cast<CRYPT_DATA_BLOB*>(array + 1);
    BYTE* data = reinterpret_cast<BYTE*>(blobs + certificates.size());
    array->cBlob = static_cast<DWORD>(certificates.size());
    array->rgBlob = certificates.empty() ? nullptr : blobs;
    for (size_t i = 0; i < certificates.size(); ++i) {
        size_t size = certificates[i].end - certificates[i].begin;
        std::memcpy(data, certificates[i].begin, size);
        blobs[i].cbData = static_cast<DWORD>(size);
        blobs[i].pbData = data;
        data += size;
    }
    return TRUE;
}

}  // extern "C"
