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

}  // namespace

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
    for (DWORD flags = CRYPT_FIRST;; flags = 0) {
        if (fetch == ExtensionFetch::kWholeBuffer) length = room;
        if (!::CryptGetProvParam(container, kParamExtensions, record.data(), &length, flags)) {
            listing.error = ListingError();
            return listing;
        }
        length = std::min(length, room);
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
}

}  // namespace applet
