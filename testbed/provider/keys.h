// Keys and hashes over Windows CNG: P-256 key pairs (ECDSA for signatures, the same key as
// ECDH for agreement), AES-256 session keys, SHA-256 for the hash. The algorithm identifiers
// of kvcsp.h stand in front of them; README.md gives the blob layouts.
#pragma once

#include "objects.h"

#include <memory>

namespace kvcsp::keys {

DWORD Generate(Context& context, ALG_ID alg, DWORD flags, std::shared_ptr<Key>& key);
DWORD UserKey(const Context& context, DWORD spec, std::shared_ptr<Key>& key);
DWORD Duplicate(const Key& key, std::shared_ptr<Key>& copy);

DWORD Export(const Key& key, const Key* wrap, DWORD type, DWORD flags, BYTE* data, DWORD* length);
DWORD Import(Context& context, const BYTE* data, DWORD size, Key* with, DWORD flags,
             std::shared_ptr<Key>& key);

DWORD GetParam(Key& key, DWORD param, BYTE* data, DWORD* length, DWORD flags);
DWORD SetParam(Key& key, DWORD param, const BYTE* data, DWORD flags);

DWORD Encrypt(Key& key, bool final, BYTE* data, DWORD* length, DWORD capacity);
DWORD Decrypt(Key& key, bool final, BYTE* data, DWORD* length);
DWORD Random(BYTE* data, DWORD size);

DWORD CreateHash(ALG_ID alg, std::shared_ptr<Hash>& hash);
DWORD HashData(Hash& hash, const BYTE* data, DWORD size);
DWORD HashKey(Hash& hash, const Key& key);
DWORD GetHashParam(Hash& hash, DWORD param, BYTE* data, DWORD* length);
DWORD SetHashParam(Hash& hash, DWORD param, const BYTE* data);
DWORD DuplicateHash(Hash& hash, std::shared_ptr<Hash>& copy);
DWORD DeriveKey(Hash& hash, ALG_ID alg, DWORD flags, std::shared_ptr<Key>& key);

DWORD Sign(const Context& context, Hash& hash, DWORD spec, BYTE* signature, DWORD* length);
DWORD Verify(Hash& hash, const BYTE* signature, DWORD size, const Key& key);

}  // namespace kvcsp::keys
