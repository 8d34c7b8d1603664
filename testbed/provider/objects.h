// The provider's objects behind the handles advapi32 keeps: contexts, keys and hashes, each in
// a table of live handles that the live counters follow.
#pragma once

#include "guard.h"
#include "store.h"

#include <windows.h>
#include <bcrypt.h>
#include <wincrypt.h>

#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kvcsp {

struct Context {
    std::string provider;  // the registered name advapi32 loaded us under
    DWORD type = 0;
    DWORD flags = 0;  // as acquired
    bool machine = false;
    bool verify = false;
    std::string container;  // the container's name; empty in a verification context

    Store GetStore() const { return Store(provider, machine); }

    // Enumerations in progress: a snapshot taken by CRYPT_FIRST and a position in it.
    struct Listing {
        std::vector<std::vector<BYTE>> items;
        size_t next = 0;
        bool started = false;
    };
    std::map<DWORD, Listing> listings;  // by parameter number
    DWORD extensionRoom = 0;  // the largest extension record announced to the reader
};

enum class KeyKind {
    kPair,       // a container's key pair
    kPublic,     // an imported public key
    kSession,    // a session key
    kEphemeral,  // an ephemeral agreement key pair
    kAgreement,  // the key an agreement gave
};

// Where a container's key pair lives, for what is written back (KP_CERTIFICATE).
struct KeyHome {
    std::string provider;
    bool machine = false;
    std::string container;
    DWORD spec = 0;
};

struct Key {
    KeyKind kind = KeyKind::kSession;
    ALG_ID alg = 0;
    ALG_ID publicAlg = 0;  // the algorithm of its PUBLICKEYBLOB (EC keys)
    bool exportable = false;
    DWORD permissions = 0;
    std::vector<BYTE> ecc;     // X, Y (and d) of an EC key
    std::vector<BYTE> secret;  // 32 bytes of a session or agreement key
    std::string hashSet;       // key parameter 103
    std::string dhSet;         // key parameter 106
    bool pending = false;      // generated with CRYPT_PREGEN, not yet completed by KP_X
    std::optional<KeyHome> home;
    std::vector<BYTE> iv;  // running CBC state of a session key

    bool Symmetric() const { return kind == KeyKind::kSession || kind == KeyKind::kAgreement; }
    bool HasPrivate() const {
        return (kind == KeyKind::kPair || kind == KeyKind::kEphemeral) && !pending;
    }
};

struct Hash {
    ALG_ID alg = 0;
    BCRYPT_HASH_HANDLE handle = nullptr;
    std::vector<BYTE> value;  // set once finished
    ~Hash();
};

template <class T>
class Table {
public:
    explicit Table(Live live) : live_(live) {}
    ULONG_PTR Add(std::shared_ptr<T> item);
    std::shared_ptr<T> Find(ULONG_PTR handle) const {
        auto it = items_.find(handle);
        return it == items_.end() ? nullptr : it->second;
    }
    bool Remove(ULONG_PTR handle) {
        if (!items_.erase(handle)) return false;
        CountLive(live_, -1);
        return true;
    }

private:
    std::map<ULONG_PTR, std::shared_ptr<T>> items_;
    Live live_;
};

// One lock for everything: every entry point holds it for its whole call.
std::recursive_mutex& ProviderLock();
Table<Context>& Contexts();
Table<Key>& Keys();
Table<Hash>& Hashes();
ULONG_PTR NextHandle();

// Wine 8's CryptExportPublicKeyInfo gets the user key, exports its PUBLICKEYBLOB, hands that to
// the provider's encoder and returns without destroying the key. The encoder calls this with the
// blob it was given: when it is the PUBLICKEYBLOB this thread last exported from a container's
// key pair, that key is released, so the live counters show what the caller leaked and not
// what Wine did.
void NotePublicKeyExport(ULONG_PTR key, const BYTE* blob, DWORD size);
void ReleaseKeyOfEncodedBlob(const BYTE* blob, DWORD size);

// Hands `size` bytes out the CryptoAPI way: no buffer asks for the size, a short buffer gets
// ERROR_MORE_DATA and the size.
inline DWORD CopyOut(const void* source, size_t size, BYTE* data, DWORD* length) {
    if (!length) return ERROR_INVALID_PARAMETER;
    DWORD available = *length;
    *length = static_cast<DWORD>(size);
    if (!data) return 0;
    if (available < size) return ERROR_MORE_DATA;
    if (size) std::memcpy(data, source, size);
    return 0;
}
inline DWORD CopyOut(const std::string& text, BYTE* data, DWORD* length) {
    return CopyOut(text.c_str(), text.size() + 1, data, length);
}
inline DWORD CopyOut(const std::vector<BYTE>& bytes, BYTE* data, DWORD* length) {
    return CopyOut(bytes.data(), bytes.size(), data, length);
}

// A NUL-terminated parameter text of at most `limit` characters; false when it is longer.
inline bool ReadText(const BYTE* data, size_t limit, std::string& text) {
    if (!data) return false;
    size_t size = strnlen(reinterpret_cast<const char*>(data), limit + 1);
    if (size > limit) return false;
    text.assign(reinterpret_cast<const char*>(data), size);
    return true;
}

template <class T>
ULONG_PTR Table<T>::Add(std::shared_ptr<T> item) {
    ULONG_PTR handle = NextHandle();
    items_[handle] = std::move(item);
    CountLive(live_, 1);
    return handle;
}

}  // namespace kvcsp
