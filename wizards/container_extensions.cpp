#include "wizards/container_extensions.h"

#include "applet/crypt_reads.h"
#include "applet/provider_params.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace ATL2 {

bool CContainerExtensionEnum::OnRawRecord(const BYTE*, DWORD) {
    return true;
}

bool CContainerExtensionEnum::OnExtension(const BYTE*, const char*, DWORD, LONG) {
    return true;
}

}  // namespace ATL2

namespace applet {

namespace {

// 0 at the end of the list, else the error.
DWORD ListingError() {
    const DWORD error = ::GetLastError();
    return IsSystemError(error, ERROR_NO_MORE_ITEMS) ? 0 : error;
}

constexpr int kMaxExtensionRecords = 1024;

// Whether [begin, begin + size) lies in `buffer`.
bool Inside(const std::vector<BYTE>& buffer, const void* begin, size_t size) {
    auto first = static_cast<const BYTE*>(begin);
    return first >= buffer.data() && first <= buffer.data() + buffer.size() &&
           size <= static_cast<size_t>(buffer.data() + buffer.size() - first);
}

}  // namespace

std::optional<std::vector<std::vector<BYTE>>> DecodeCertificateSet(const char* oid,
                                                                   const BYTE* value,
                                                                   DWORD length) {
    constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
    DWORD size = 0;
    if (length == 0 || !::CryptDecodeObject(kEncoding, oid, value, length, 0, nullptr, &size) ||
        size < sizeof(CRYPT_BLOB_ARRAY))
        return std::nullopt;
    std::vector<BYTE> decoded(size);
    if (!::CryptDecodeObject(kEncoding, oid, value, length, 0, decoded.data(), &size))
        return std::nullopt;
    const auto* set = reinterpret_cast<const CRYPT_BLOB_ARRAY*>(decoded.data());
    std::vector<std::vector<BYTE>> certificates;
    // The decoder's pointers are trusted only inside what it was given.
    if (set->cBlob && !Inside(decoded, set->rgBlob, set->cBlob * sizeof(CRYPT_DATA_BLOB)))
        return certificates;
    for (DWORD i = 0; i < set->cBlob; ++i) {
        const CRYPT_DATA_BLOB& blob = set->rgBlob[i];
        if (Inside(decoded, blob.pbData, blob.cbData))
            certificates.emplace_back(blob.pbData, blob.pbData + blob.cbData);
    }
    return certificates;
}

std::optional<ExtensionItem> ParseExtensionRecord(const BYTE* record, size_t size) {
    constexpr size_t kHead = 2 * sizeof(DWORD);
    if (!record || size < kHead) return std::nullopt;
    ExtensionItem item;
    std::memcpy(&item.critical, record, sizeof(DWORD));
    std::memcpy(&item.length, record + sizeof(DWORD), sizeof(DWORD));
    if (item.length > size - kHead) return std::nullopt;
    item.value = record + kHead;
    const char* oid = reinterpret_cast<const char*>(item.value + item.length);
    const size_t room = size - kHead - item.length;
    const size_t oidLength = ::strnlen(oid, room);
    if (oidLength == room) return std::nullopt;
    item.oid.assign(oid, oidLength);
    return item;
}

ExtensionListing EnumContainerExtensions(HCRYPTPROV container, ATL2::CContainerExtensionEnum& sink,
                                         ExtensionFetch fetch) {
    ExtensionListing listing;
    DWORD length = 0;
    if (!::CryptGetProvParam(container, kParamExtensions, nullptr, &length, CRYPT_FIRST)) {
        listing.error = ListingError();
        return listing;
    }
    listing.sized = true;
    std::vector<BYTE> record(length);
    const DWORD room = length;
    // Flag 0 after the first fetch, not CRYPT_NEXT: the provider goes on from the last fetch.
    // A provider that never says the list has ended must not hold the wizard forever: an empty
    // record ends the list, and so does the count no container comes near.
    DWORD flags = CRYPT_FIRST;
    for (int fetched = 0; room != 0 && fetched < kMaxExtensionRecords; ++fetched, flags = 0) {
        if (fetch == ExtensionFetch::kWholeBuffer) length = room;
        if (!::CryptGetProvParam(container, kParamExtensions, record.data(), &length, flags)) {
            listing.error = ListingError();
            return listing;
        }
        length = std::min(length, room);
        if (length == 0) break;
        bool more = sink.OnRawRecord(record.data(), length);
        if (more) {
            if (std::optional<ExtensionItem> item = ParseExtensionRecord(record.data(), length))
                more =
                    sink.OnExtension(item->value, item->oid.c_str(), item->length, item->critical);
        }
        if (!more) {
            listing.stopped = true;
            return listing;
        }
    }
    return listing;
}

}  // namespace applet
