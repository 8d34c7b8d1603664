#include "objects.h"

#include <algorithm>

namespace kvcsp {

Hash::~Hash() {
    if (handle) ::BCryptDestroyHash(handle);
}

std::recursive_mutex& ProviderLock() {
    static std::recursive_mutex lock;
    return lock;
}

Table<Context>& Contexts() {
    static Table<Context> table(Live::kContexts);
    return table;
}

Table<Key>& Keys() {
    static Table<Key> table(Live::kKeys);
    return table;
}

Table<Hash>& Hashes() {
    static Table<Hash> table(Live::kHashes);
    return table;
}

namespace {

struct PublicKeyExport {
    ULONG_PTR key = 0;
    std::vector<BYTE> blob;
};
thread_local PublicKeyExport last_export;

}  // namespace

void NotePublicKeyExport(ULONG_PTR key, const BYTE* blob, DWORD size) {
    last_export.key = key;
    last_export.blob.assign(blob, blob + size);
}

void ReleaseKeyOfEncodedBlob(const BYTE* blob, DWORD size) {
    std::lock_guard<std::recursive_mutex> lock(ProviderLock());
    PublicKeyExport noted = std::move(last_export);
    last_export = PublicKeyExport{};
    std::shared_ptr<Key> key = Keys().Find(noted.key);
    if (key && key->kind == KeyKind::kPair && noted.blob.size() == size &&
        std::equal(noted.blob.begin(), noted.blob.end(), blob))
        Keys().Remove(noted.key);
}

ULONG_PTR NextHandle() {
    // One sequence for all three tables, so that a key handle is never taken for a hash.
    static ULONG_PTR next = 0x100;
    return next += 4;
}

}  // namespace kvcsp
