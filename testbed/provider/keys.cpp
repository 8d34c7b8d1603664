#include "keys.h"

#include "der.h"
#include "kvcsp.h"
#include "params.h"
#include "public_key.h"

#include <wincrypt.h>

#include <cstring>

namespace kvcsp::keys {
namespace {

using Bytes = std::vector<BYTE>;

constexpr DWORD kPrivateMagic = 0x3153564B;  // "KVS1"
constexpr size_t kSecretSize = 32;
constexpr size_t kBlockSize = 16;
constexpr size_t kCheckSize = 8;
constexpr size_t kSetField = 32;
constexpr DWORD kBasePermissions =
    CRYPT_ENCRYPT | CRYPT_DECRYPT | CRYPT_READ | CRYPT_WRITE | CRYPT_MAC;

DWORD Fail() {
    return static_cast<DWORD>(NTE_FAIL);
}

struct Algorithms {
    BCRYPT_ALG_HANDLE ecdsa = nullptr;
    BCRYPT_ALG_HANDLE ecdh = nullptr;
    BCRYPT_ALG_HANDLE aes = nullptr;
    BCRYPT_ALG_HANDLE sha = nullptr;
};

// CNG's algorithm providers, opened once for the life of the process.
const Algorithms& Cng() {
    static const Algorithms algorithms = [] {
        Algorithms a;
        ::BCryptOpenAlgorithmProvider(&a.ecdsa, BCRYPT_ECDSA_P256_ALGORITHM, nullptr, 0);
        ::BCryptOpenAlgorithmProvider(&a.ecdh, BCRYPT_ECDH_P256_ALGORITHM, nullptr, 0);
        ::BCryptOpenAlgorithmProvider(&a.aes, BCRYPT_AES_ALGORITHM, nullptr, 0);
        ::BCryptOpenAlgorithmProvider(&a.sha, BCRYPT_SHA256_ALGORITHM, nullptr, 0);
        if (a.aes)
            ::BCryptSetProperty(
                a.aes, BCRYPT_CHAINING_MODE,
                reinterpret_cast<PUCHAR>(const_cast<wchar_t*>(BCRYPT_CHAIN_MODE_CBC)),
                sizeof(BCRYPT_CHAIN_MODE_CBC), 0);
        return a;
    }();
    return algorithms;
}

class CngKey {
public:
    CngKey() = default;
    CngKey(const CngKey&) = delete;
    CngKey& operator=(const CngKey&) = delete;
    ~CngKey() {
        if (handle_) ::BCryptDestroyKey(handle_);
    }
    BCRYPT_KEY_HANDLE* put() { return &handle_; }
    BCRYPT_KEY_HANDLE get() const { return handle_; }

private:
    BCRYPT_KEY_HANDLE handle_ = nullptr;
};

Bytes Sha256(std::initializer_list<Bytes> parts) {
    Bytes digest(32);
    BCRYPT_HASH_HANDLE hash = nullptr;
    ::BCryptCreateHash(Cng().sha, &hash, nullptr, 0, nullptr, 0, 0);
    for (const Bytes& part : parts)
        ::BCryptHashData(hash, const_cast<PUCHAR>(part.data()), static_cast<ULONG>(part.size()), 0);
    ::BCryptFinishHash(hash, digest.data(), static_cast<ULONG>(digest.size()), 0);
    ::BCryptDestroyHash(hash);
    return digest;
}

Bytes RandomBytes(size_t size) {
    Bytes bytes(size);
    ::BCryptGenRandom(nullptr, bytes.data(), static_cast<ULONG>(size),
                      BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    return bytes;
}

Bytes FromText(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

// An EC key of `ecc` (X, Y and, with `with_private`, d) for signing or for agreement.
DWORD ImportEcc(const Bytes& ecc, bool agreement, bool with_private, CngKey& key) {
    size_t parts = with_private ? 96 : 64;
    if (ecc.size() < parts) return static_cast<DWORD>(NTE_BAD_KEY);
    BCRYPT_ECCKEY_BLOB header;
    header.dwMagic =
        agreement
            ? (with_private ? BCRYPT_ECDH_PRIVATE_P256_MAGIC : BCRYPT_ECDH_PUBLIC_P256_MAGIC)
            : (with_private ? BCRYPT_ECDSA_PRIVATE_P256_MAGIC : BCRYPT_ECDSA_PUBLIC_P256_MAGIC);
    header.cbKey = 32;
    Bytes blob(sizeof(header) + parts);
    std::memcpy(blob.data(), &header, sizeof(header));
    std::memcpy(blob.data() + sizeof(header), ecc.data(), parts);
    NTSTATUS status =
        ::BCryptImportKeyPair(agreement ? Cng().ecdh : Cng().ecdsa, nullptr,
                              with_private ? BCRYPT_ECCPRIVATE_BLOB : BCRYPT_ECCPUBLIC_BLOB,
                              key.put(), blob.data(), static_cast<ULONG>(blob.size()), 0);
    return BCRYPT_SUCCESS(status) ? 0 : static_cast<DWORD>(NTE_BAD_PUBLIC_KEY);
}

DWORD NewEcc(Bytes& ecc) {
    CngKey key;
    if (!BCRYPT_SUCCESS(::BCryptGenerateKeyPair(Cng().ecdsa, key.put(), 256, 0)) ||
        !BCRYPT_SUCCESS(::BCryptFinalizeKeyPair(key.get(), 0)))
        return Fail();
    Bytes blob(sizeof(BCRYPT_ECCKEY_BLOB) + 96);
    ULONG size = 0;
    if (!BCRYPT_SUCCESS(::BCryptExportKey(key.get(), nullptr, BCRYPT_ECCPRIVATE_BLOB, blob.data(),
                                          static_cast<ULONG>(blob.size()), &size, 0)))
        return Fail();
    ecc.assign(blob.begin() + sizeof(BCRYPT_ECCKEY_BLOB), blob.end());
    return 0;
}

// The secret two agreement keys share. Wine's BCryptDeriveKey implements no KDF, so the secret
// of BCryptSecretAgreement can't be read out; the testbed derives the shared key from the two
// public points (in a fixed order) and the parameter set instead. Both sides get the same key
// exactly when each used the other's public key; it is a stand-in, not a secret.
Bytes AgreedSecret(const Bytes& own, const Bytes& peer, const std::string& dh_set) {
    Bytes a(own.begin(), own.begin() + 64);
    Bytes b(peer.begin(), peer.begin() + 64);
    if (b < a) a.swap(b);
    return Sha256({FromText("kvcsp agreement"), a, b, FromText(dh_set)});
}

// Key wrapping: AES-256-CBC of the plaintext and a check value, under a fresh IV.
DWORD Wrap(const Bytes& kek, const Bytes& plain, Bytes& wrapped) {
    Bytes data = plain;
    Bytes check = Sha256({plain});
    data.insert(data.end(), check.begin(), check.begin() + kCheckSize);
    Bytes iv = RandomBytes(kBlockSize);
    Bytes chain = iv;
    CngKey key;
    if (!BCRYPT_SUCCESS(::BCryptGenerateSymmetricKey(Cng().aes, key.put(), nullptr, 0,
                                                     const_cast<PUCHAR>(kek.data()),
                                                     static_cast<ULONG>(kek.size()), 0)))
        return Fail();
    Bytes out(data.size() + kBlockSize);
    ULONG size = 0;
    if (!BCRYPT_SUCCESS(::BCryptEncrypt(key.get(), data.data(), static_cast<ULONG>(data.size()),
                                        nullptr, chain.data(), static_cast<ULONG>(chain.size()),
                                        out.data(), static_cast<ULONG>(out.size()), &size,
                                        BCRYPT_BLOCK_PADDING)))
        return Fail();
    out.resize(size);
    wrapped = iv;
    wrapped.insert(wrapped.end(), out.begin(), out.end());
    return 0;
}

DWORD Unwrap(const Bytes& kek, const BYTE* wrapped, size_t size, Bytes& plain) {
    const DWORD bad = static_cast<DWORD>(NTE_BAD_DATA);
    if (size < 2 * kBlockSize || size % kBlockSize) return bad;
    Bytes chain(wrapped, wrapped + kBlockSize);
    Bytes data(wrapped + kBlockSize, wrapped + size);
    CngKey key;
    if (!BCRYPT_SUCCESS(::BCryptGenerateSymmetricKey(Cng().aes, key.put(), nullptr, 0,
                                                     const_cast<PUCHAR>(kek.data()),
                                                     static_cast<ULONG>(kek.size()), 0)))
        return Fail();
    Bytes out(data.size());
    ULONG length = 0;
    if (!BCRYPT_SUCCESS(::BCryptDecrypt(key.get(), data.data(), static_cast<ULONG>(data.size()),
                                        nullptr, chain.data(), static_cast<ULONG>(chain.size()),
                                        out.data(), static_cast<ULONG>(out.size()), &length,
                                        BCRYPT_BLOCK_PADDING)) ||
        length < kCheckSize)
        return bad;
    out.resize(length);
    plain.assign(out.begin(), out.end() - kCheckSize);
    Bytes check = Sha256({plain});
    if (std::memcmp(check.data(), out.data() + plain.size(), kCheckSize)) return bad;
    return 0;
}

void PutSet(Bytes& out, const std::string& set) {
    char field[kSetField] = {};
    std::memcpy(field, set.data(), std::min(set.size(), kSetField - 1));
    out.insert(out.end(), field, field + kSetField);
}

std::string GetSet(const BYTE* field) {
    const char* text = reinterpret_cast<const char*>(field);
    return std::string(text, strnlen(text, kSetField));
}

bool IsPairAlg(ALG_ID alg) {
    return alg == kAlgSignature || alg == kAlgExchange || alg == kAlgSignature94 ||
           alg == kAlgExchange94;
}

DWORD SpecOf(ALG_ID alg) {
    return GET_ALG_CLASS(alg) == ALG_CLASS_SIGNATURE ? AT_SIGNATURE : AT_KEYEXCHANGE;
}

ALG_ID PublicAlgOf(ALG_ID pair_alg) {
    return pair_alg == kAlgSignature94 || pair_alg == kAlgExchange94 ? kAlgSignature94
                                                                     : kAlgSignature;
}

std::shared_ptr<Key> PairKey(const Context& context, DWORD spec, const KeyPairRecord& record) {
    auto key = std::make_shared<Key>();
    key->kind = KeyKind::kPair;
    key->alg = record.alg;
    key->publicAlg = PublicAlgOf(record.alg);
    key->exportable = record.exportable;
    key->permissions = kBasePermissions | (record.exportable ? CRYPT_EXPORT : 0);
    key->ecc = record.ecc;
    key->hashSet = record.hashSet;
    key->dhSet = record.dhSet;
    key->home = KeyHome{context.provider, context.machine, context.container, spec};
    return key;
}

std::shared_ptr<Key> SymmetricKey(KeyKind kind, ALG_ID alg, Bytes secret, bool exportable) {
    auto key = std::make_shared<Key>();
    key->kind = kind;
    key->alg = alg;
    key->exportable = exportable;
    key->permissions = kBasePermissions | (exportable ? CRYPT_EXPORT : 0);
    key->secret = std::move(secret);
    key->iv.assign(kBlockSize, 0);
    return key;
}

// The container's hash parameter set, or the provider's in a verification context.
std::string HashSetOf(const Context& context) {
    Container container;
    if (!context.verify && context.GetStore().Load(context.container, container) == 0 &&
        !container.hashSet.empty())
        return container.hashSet;
    return params::Default(context.type, params::SetKind::kHash);
}

DWORD CertificateLength(const BYTE* data, size_t& length) {
    // The length comes from the certificate's own DER header: the call passes no size.
    if (data[0] != der::kSequence) return static_cast<DWORD>(NTE_BAD_DATA);
    size_t header = 2;
    length = data[1];
    if (length & 0x80) {
        size_t count = length & 0x7F;
        if (count == 0 || count > 3) return static_cast<DWORD>(NTE_BAD_DATA);
        length = 0;
        for (size_t i = 0; i < count; ++i) length = (length << 8) | data[2 + i];
        header += count;
    }
    length += header;
    return 0;
}

DWORD Finish(Hash& hash) {
    if (!hash.value.empty()) return 0;
    hash.value.resize(32);
    if (!BCRYPT_SUCCESS(::BCryptFinishHash(hash.handle, hash.value.data(), 32, 0))) {
        hash.value.clear();
        return Fail();
    }
    return 0;
}

DWORD Cipher(Key& key, bool encrypt, bool final, BYTE* data, DWORD in, DWORD* length,
             DWORD capacity) {
    if (!key.Symmetric()) return static_cast<DWORD>(NTE_BAD_KEY);
    if (!final && in % kBlockSize) return static_cast<DWORD>(NTE_BAD_LEN);
    if (!encrypt && in % kBlockSize) return static_cast<DWORD>(NTE_BAD_DATA);
    DWORD out = encrypt && final ? (in / kBlockSize + 1) * kBlockSize : in;
    if (!data) {
        *length = out;
        return 0;
    }
    if (capacity < out) {
        *length = out;
        return ERROR_MORE_DATA;
    }
    CngKey cng;
    if (!BCRYPT_SUCCESS(::BCryptGenerateSymmetricKey(Cng().aes, cng.put(), nullptr, 0,
                                                     key.secret.data(),
                                                     static_cast<ULONG>(key.secret.size()), 0)))
        return Fail();
    Bytes input(data, data + in);
    ULONG done = 0;
    ULONG flags = final ? BCRYPT_BLOCK_PADDING : 0;
    NTSTATUS status = encrypt ? ::BCryptEncrypt(cng.get(), input.data(), in, nullptr, key.iv.data(),
                                                kBlockSize, data, capacity, &done, flags)
                              : ::BCryptDecrypt(cng.get(), input.data(), in, nullptr, key.iv.data(),
                                                kBlockSize, data, in, &done, flags);
    if (final) key.iv.assign(kBlockSize, 0);
    if (!BCRYPT_SUCCESS(status)) return static_cast<DWORD>(NTE_BAD_DATA);
    *length = done;
    return 0;
}

}  // namespace

DWORD Generate(Context& context, ALG_ID alg, DWORD flags, std::shared_ptr<Key>& key) {
    bool exportable = flags & CRYPT_EXPORTABLE;
    bool type94 = context.type == kType94;
    ALG_ID pair_alg = alg == AT_KEYEXCHANGE ? (type94 ? kAlgExchange94 : kAlgExchange)
                      : alg == AT_SIGNATURE ? (type94 ? kAlgSignature94 : kAlgSignature)
                      : IsPairAlg(alg)      ? alg
                                            : 0;
    if (pair_alg) {
        if (context.verify) return static_cast<DWORD>(NTE_BAD_KEYSET);
        Store store = context.GetStore();
        Container container;
        if (DWORD error = store.Load(context.container, container)) return error;
        KeyPairRecord record;
        record.alg = pair_alg;
        record.exportable = exportable;
        if (DWORD error = NewEcc(record.ecc)) return error;
        record.hashSet = container.hashSet.empty()
                             ? params::Default(context.type, params::SetKind::kHash)
                             : container.hashSet;
        record.dhSet = params::Default(context.type, params::SetKind::kDh);
        DWORD spec = SpecOf(pair_alg);
        container.Key(spec) = record;
        if (DWORD error = store.Save(container)) return error;
        key = PairKey(context, spec, record);
        return 0;
    }
    if (alg == kAlgSession) {
        key = SymmetricKey(KeyKind::kSession, alg, RandomBytes(kSecretSize), exportable);
        return 0;
    }
    if (alg == kAlgEphemeral || alg == kAlgEphemeral94) {
        key = std::make_shared<Key>();
        key->kind = KeyKind::kEphemeral;
        key->alg = alg;
        key->publicAlg = type94 ? kAlgSignature94 : kAlgSignature;
        key->exportable = exportable;
        key->permissions = kBasePermissions | (exportable ? CRYPT_EXPORT : 0);
        key->hashSet = HashSetOf(context);
        key->dhSet = params::Default(context.type, params::SetKind::kDh);
        key->pending = flags & CRYPT_PREGEN;
        return key->pending ? 0 : NewEcc(key->ecc);
    }
    return static_cast<DWORD>(NTE_BAD_ALGID);
}

DWORD UserKey(const Context& context, DWORD spec, std::shared_ptr<Key>& key) {
    if (context.verify || (spec != AT_KEYEXCHANGE && spec != AT_SIGNATURE))
        return static_cast<DWORD>(NTE_NO_KEY);
    Container container;
    if (DWORD error = context.GetStore().Load(context.container, container)) return error;
    const auto& record = container.Key(spec);
    if (!record) return static_cast<DWORD>(NTE_NO_KEY);
    key = PairKey(context, spec, *record);
    return 0;
}

DWORD Duplicate(const Key& key, std::shared_ptr<Key>& copy) {
    copy = std::make_shared<Key>(key);
    return 0;
}

DWORD Export(const Key& key, const Key* wrap, DWORD type, DWORD flags, BYTE* data, DWORD* length) {
    if (flags) return static_cast<DWORD>(NTE_BAD_FLAGS);
    Bytes blob(sizeof(BLOBHEADER));
    BLOBHEADER header{static_cast<BYTE>(type), CUR_BLOB_VERSION, 0, key.alg};
    switch (type) {
        case PUBLICKEYBLOB: {
            if (wrap || key.Symmetric()) return static_cast<DWORD>(NTE_BAD_KEY);
            if (key.pending) return static_cast<DWORD>(NTE_BAD_KEY_STATE);
            header.aiKeyAlg = key.publicAlg;
            PublicKeyBody body{};
            body.magic = kPublicKeyMagic;
            body.bitLength = 512;
            std::memcpy(body.hashSet, key.hashSet.data(),
                        std::min(key.hashSet.size(), kSetField - 1));
            std::memcpy(body.dhSet, key.dhSet.data(), std::min(key.dhSet.size(), kSetField - 1));
            std::memcpy(body.point, key.ecc.data(), 64);
            blob.insert(blob.end(), reinterpret_cast<BYTE*>(&body),
                        reinterpret_cast<BYTE*>(&body) + sizeof(body));
            break;
        }
        case PRIVATEKEYBLOB:
        case SIMPLEBLOB: {
            bool private_blob = type == PRIVATEKEYBLOB;
            if (private_blob ? key.kind != KeyKind::kPair : key.kind != KeyKind::kSession)
                return static_cast<DWORD>(NTE_BAD_KEY);
            if (!key.exportable) return static_cast<DWORD>(NTE_BAD_KEY_STATE);
            if (!wrap || !wrap->Symmetric()) return static_cast<DWORD>(NTE_BAD_KEY);
            Bytes plain;
            if (private_blob) {
                PutSet(plain, key.hashSet);
                PutSet(plain, key.dhSet);
                plain.insert(plain.end(), key.ecc.begin(), key.ecc.end());
            } else {
                plain = key.secret;
            }
            Bytes wrapped;
            if (DWORD error = Wrap(wrap->secret, plain, wrapped)) return error;
            DWORD fields[3] = {kPrivateMagic, wrap->alg, static_cast<DWORD>(wrapped.size())};
            // PRIVATEKEYBLOB: magic, wrapping algorithm, size; SIMPLEBLOB: wrapping algorithm,
            // size.
            const BYTE* first = reinterpret_cast<BYTE*>(private_blob ? fields : fields + 1);
            blob.insert(blob.end(), first, reinterpret_cast<const BYTE*>(fields + 3));
            blob.insert(blob.end(), wrapped.begin(), wrapped.end());
            break;
        }
        default:
            return static_cast<DWORD>(NTE_BAD_TYPE);
    }
    std::memcpy(blob.data(), &header, sizeof(header));
    return CopyOut(blob, data, length);
}

DWORD Import(Context& context, const BYTE* data, DWORD size, Key* with, DWORD flags,
             std::shared_ptr<Key>& key) {
    const DWORD bad = static_cast<DWORD>(NTE_BAD_DATA);
    if (flags & ~DWORD{CRYPT_EXPORTABLE | CRYPT_USER_PROTECTED})
        return static_cast<DWORD>(NTE_BAD_FLAGS);
    if (size < sizeof(BLOBHEADER)) return bad;
    BLOBHEADER header;
    std::memcpy(&header, data, sizeof(header));
    if (header.bVersion != CUR_BLOB_VERSION) return static_cast<DWORD>(NTE_BAD_VER);
    bool exportable = flags & CRYPT_EXPORTABLE;
    const BYTE* body = data + sizeof(header);
    size_t rest = size - sizeof(header);

    if (header.bType == PUBLICKEYBLOB) {
        PublicKeyBody pub;
        if (size != kPublicKeyBlobSize) return bad;
        std::memcpy(&pub, body, sizeof(pub));
        if (pub.magic != kPublicKeyMagic) return bad;
        Bytes point(pub.point, pub.point + 64);
        CngKey check;
        if (DWORD error = ImportEcc(point, false, false, check)) return error;
        std::string dh_set = GetSet(reinterpret_cast<const BYTE*>(pub.dhSet));
        if (!with) {
            key = std::make_shared<Key>();
            key->kind = KeyKind::kPublic;
            key->alg = key->publicAlg = header.aiKeyAlg;
            key->exportable = true;
            key->permissions = kBasePermissions | CRYPT_EXPORT;
            key->ecc = point;
            key->hashSet = GetSet(reinterpret_cast<const BYTE*>(pub.hashSet));
            key->dhSet = dh_set;
            return 0;
        }
        // A private key as the import key: key agreement.
        if (!with->HasPrivate() ||
            (with->kind == KeyKind::kPair && SpecOf(with->alg) == AT_SIGNATURE))
            return static_cast<DWORD>(NTE_BAD_KEY);
        if (with->dhSet != dh_set) return static_cast<DWORD>(NTE_BAD_PUBLIC_KEY);
        key = SymmetricKey(KeyKind::kAgreement, kAlgSession, AgreedSecret(with->ecc, point, dh_set),
                           exportable);
        key->hashSet = with->hashSet;
        key->dhSet = with->dhSet;
        return 0;
    }

    if (header.bType != SIMPLEBLOB && header.bType != PRIVATEKEYBLOB)
        return static_cast<DWORD>(NTE_BAD_TYPE);
    if (!with || !with->Symmetric()) return static_cast<DWORD>(NTE_BAD_KEY);
    bool private_blob = header.bType == PRIVATEKEYBLOB;
    size_t fields_size = (private_blob ? 3 : 2) * sizeof(DWORD);
    if (rest < fields_size) return bad;
    DWORD fields[3] = {};
    std::memcpy(private_blob ? fields : fields + 1, body, fields_size);
    if (private_blob && fields[0] != kPrivateMagic) return bad;
    if (fields[2] != rest - fields_size) return bad;
    Bytes plain;
    if (DWORD error = Unwrap(with->secret, body + fields_size, fields[2], plain)) return error;

    if (!private_blob) {
        // The key-wrapping algorithm must be the one the blob was made with.
        if (fields[1] != with->alg) return static_cast<DWORD>(NTE_BAD_ALGID);
        if (plain.size() != kSecretSize ||
            (header.aiKeyAlg != kAlgSession && header.aiKeyAlg != kAlgKeyWrap))
            return bad;
        key = SymmetricKey(KeyKind::kSession, header.aiKeyAlg, plain, exportable);
        return 0;
    }

    if (context.verify) return static_cast<DWORD>(NTE_BAD_KEYSET);
    if (!IsPairAlg(header.aiKeyAlg)) return static_cast<DWORD>(NTE_BAD_ALGID);
    if (plain.size() != 2 * kSetField + 96) return bad;
    KeyPairRecord record;
    record.alg = header.aiKeyAlg;
    record.exportable = exportable;
    record.hashSet = GetSet(plain.data());
    record.dhSet = GetSet(plain.data() + kSetField);
    record.ecc.assign(plain.begin() + 2 * kSetField, plain.end());
    CngKey check;
    if (ImportEcc(record.ecc, false, true, check)) return bad;
    Store store = context.GetStore();
    Container container;
    if (DWORD error = store.Load(context.container, container)) return error;
    DWORD spec = SpecOf(record.alg);
    container.Key(spec) = record;
    if (DWORD error = store.Save(container)) return error;
    key = PairKey(context, spec, record);
    return 0;
}

DWORD GetParam(Key& key, DWORD param, BYTE* data, DWORD* length, DWORD flags) {
    if (flags) return static_cast<DWORD>(NTE_BAD_FLAGS);
    DWORD value = 0;
    switch (param) {
        case KP_ALGID:
            value = key.alg;
            break;
        case KP_KEYLEN:
            value = key.Symmetric() ? 256 : 512;
            break;
        case KP_BLOCKLEN:
            value = key.Symmetric() ? kBlockSize * 8 : 0;
            break;
        case KP_PERMISSIONS:
            value = key.permissions;
            break;
        case KP_IV:
            if (!key.Symmetric()) return static_cast<DWORD>(NTE_BAD_TYPE);
            return CopyOut(key.iv, data, length);
        case kKeyParamHashSet:
            return CopyOut(key.hashSet, data, length);
        case kKeyParamDhSet:
            return CopyOut(key.dhSet, data, length);
        case KP_CERTIFICATE: {
            if (!key.home) return static_cast<DWORD>(NTE_BAD_TYPE);
            Container container;
            Store store(key.home->provider, key.home->machine);
            if (DWORD error = store.Load(key.home->container, container)) return error;
            const auto& record = container.Key(key.home->spec);
            if (!record || record->certificate.empty())
                return static_cast<DWORD>(SCARD_E_NO_SUCH_CERTIFICATE);
            return CopyOut(record->certificate, data, length);
        }
        default:
            return static_cast<DWORD>(NTE_BAD_TYPE);
    }
    return CopyOut(&value, sizeof(value), data, length);
}

DWORD SetParam(Key& key, DWORD param, const BYTE* data, DWORD flags) {
    const DWORD bad = static_cast<DWORD>(NTE_BAD_DATA);
    if (flags) return static_cast<DWORD>(NTE_BAD_FLAGS);
    switch (param) {
        case KP_ALGID: {
            if (!data) return bad;
            ALG_ID alg;
            std::memcpy(&alg, data, sizeof(alg));
            if (!key.Symmetric()) return static_cast<DWORD>(NTE_BAD_TYPE);
            if (alg != kAlgSession && alg != kAlgKeyWrap) return static_cast<DWORD>(NTE_BAD_ALGID);
            key.alg = alg;
            return 0;
        }
        case KP_PERMISSIONS: {
            if (!data) return bad;
            DWORD permissions;
            std::memcpy(&permissions, data, sizeof(permissions));
            if ((permissions & CRYPT_EXPORT) && !key.exportable) return bad;
            key.permissions = permissions;
            key.exportable = permissions & CRYPT_EXPORT;
            return 0;
        }
        case KP_IV:
            if (!key.Symmetric()) return static_cast<DWORD>(NTE_BAD_TYPE);
            if (!data) return bad;
            key.iv.assign(data, data + kBlockSize);
            return 0;
        case KP_MODE:
            return key.Symmetric() ? 0 : static_cast<DWORD>(NTE_BAD_TYPE);
        case kKeyParamHashSet:
        case kKeyParamDhSet: {
            // Only a pregenerated ephemeral key takes its parameters from the caller.
            if (key.kind != KeyKind::kEphemeral) return static_cast<DWORD>(NTE_BAD_TYPE);
            if (!key.pending) return static_cast<DWORD>(NTE_BAD_KEY_STATE);
            std::string set;
            bool hash = param == kKeyParamHashSet;
            if (!ReadText(data, kSetField - 1, set) ||
                !params::Known(hash ? params::SetKind::kHash : params::SetKind::kDh, set))
                return bad;
            (hash ? key.hashSet : key.dhSet) = set;
            return 0;
        }
        case KP_X:
            // The caller passes no key material. Wine's CryptSetKeyParam refuses a null pbData
            // before the provider sees it, so whatever the pointer holds is ignored.
            if (key.kind != KeyKind::kEphemeral) return static_cast<DWORD>(NTE_BAD_TYPE);
            if (!key.pending) return static_cast<DWORD>(NTE_BAD_KEY_STATE);
            if (DWORD error = NewEcc(key.ecc)) return error;
            key.pending = false;
            return 0;
        case KP_CERTIFICATE: {
            if (!key.home) return static_cast<DWORD>(NTE_BAD_TYPE);
            std::vector<BYTE> certificate;
            if (data) {
                size_t size = 0;
                if (DWORD error = CertificateLength(data, size)) return error;
                PCCERT_CONTEXT parsed = ::CertCreateCertificateContext(X509_ASN_ENCODING, data,
                                                                       static_cast<DWORD>(size));
                if (!parsed) return bad;
                ::CertFreeCertificateContext(parsed);
                certificate.assign(data, data + size);
            }
            Store store(key.home->provider, key.home->machine);
            Container container;
            if (DWORD error = store.Load(key.home->container, container)) return error;
            auto& record = container.Key(key.home->spec);
            if (!record) return static_cast<DWORD>(NTE_NO_KEY);
            record->certificate = certificate;
            return store.Save(container);
        }
        default:
            return static_cast<DWORD>(NTE_BAD_TYPE);
    }
}

DWORD Encrypt(Key& key, bool final, BYTE* data, DWORD* length, DWORD capacity) {
    return Cipher(key, true, final, data, *length, length, capacity);
}

DWORD Decrypt(Key& key, bool final, BYTE* data, DWORD* length) {
    if (!data) return ERROR_INVALID_PARAMETER;
    return Cipher(key, false, final, data, *length, length, *length);
}

DWORD Random(BYTE* data, DWORD size) {
    if (!data && size) return ERROR_INVALID_PARAMETER;
    return BCRYPT_SUCCESS(::BCryptGenRandom(nullptr, data, size, BCRYPT_USE_SYSTEM_PREFERRED_RNG))
               ? 0
               : Fail();
}

DWORD CreateHash(ALG_ID alg, std::shared_ptr<Hash>& hash) {
    if (alg != kAlgHash) return static_cast<DWORD>(NTE_BAD_ALGID);
    hash = std::make_shared<Hash>();
    hash->alg = alg;
    if (!BCRYPT_SUCCESS(::BCryptCreateHash(Cng().sha, &hash->handle, nullptr, 0, nullptr, 0, 0)))
        return Fail();
    return 0;
}

DWORD HashData(Hash& hash, const BYTE* data, DWORD size) {
    if (!hash.value.empty()) return static_cast<DWORD>(NTE_BAD_HASH_STATE);
    if (!size) return 0;
    if (!data) return ERROR_INVALID_PARAMETER;
    return BCRYPT_SUCCESS(::BCryptHashData(hash.handle, const_cast<PUCHAR>(data), size, 0))
               ? 0
               : Fail();
}

DWORD HashKey(Hash& hash, const Key& key) {
    if (!key.Symmetric()) return static_cast<DWORD>(NTE_BAD_KEY);
    return HashData(hash, key.secret.data(), static_cast<DWORD>(key.secret.size()));
}

DWORD GetHashParam(Hash& hash, DWORD param, BYTE* data, DWORD* length) {
    DWORD value = 0;
    switch (param) {
        case HP_ALGID:
            value = hash.alg;
            break;
        case HP_HASHSIZE:
            value = 32;
            break;
        case HP_HASHVAL:
            if (DWORD error = Finish(hash)) return error;
            return CopyOut(hash.value, data, length);
        default:
            return static_cast<DWORD>(NTE_BAD_TYPE);
    }
    return CopyOut(&value, sizeof(value), data, length);
}

DWORD SetHashParam(Hash& hash, DWORD param, const BYTE* data) {
    if (param != HP_HASHVAL) return static_cast<DWORD>(NTE_BAD_TYPE);
    if (!data) return static_cast<DWORD>(NTE_BAD_DATA);
    hash.value.assign(data, data + 32);
    return 0;
}

DWORD DuplicateHash(Hash& hash, std::shared_ptr<Hash>& copy) {
    copy = std::make_shared<Hash>();
    copy->alg = hash.alg;
    copy->value = hash.value;
    if (hash.value.empty() &&
        !BCRYPT_SUCCESS(::BCryptDuplicateHash(hash.handle, &copy->handle, nullptr, 0, 0)))
        return Fail();
    return 0;
}

DWORD DeriveKey(Hash& hash, ALG_ID alg, DWORD flags, std::shared_ptr<Key>& key) {
    if (alg != kAlgSession) return static_cast<DWORD>(NTE_BAD_ALGID);
    if (DWORD error = Finish(hash)) return error;
    key = SymmetricKey(KeyKind::kSession, alg, hash.value, flags & CRYPT_EXPORTABLE);
    return 0;
}

DWORD Sign(const Context& context, Hash& hash, DWORD spec, BYTE* signature, DWORD* length) {
    std::shared_ptr<Key> key;
    if (DWORD error = UserKey(context, spec, key)) return error;
    DWORD available = *length;
    *length = 64;
    if (!signature) return 0;
    if (available < 64) return ERROR_MORE_DATA;
    if (DWORD error = Finish(hash)) return error;
    CngKey cng;
    if (DWORD error = ImportEcc(key->ecc, false, true, cng)) return error;
    ULONG done = 0;
    if (!BCRYPT_SUCCESS(
            ::BCryptSignHash(cng.get(), nullptr, hash.value.data(), 32, signature, 64, &done, 0)))
        return Fail();
    *length = done;
    return 0;
}

DWORD Verify(Hash& hash, const BYTE* signature, DWORD size, const Key& key) {
    if (key.Symmetric() || key.pending) return static_cast<DWORD>(NTE_BAD_KEY);
    if (!signature || size != 64) return static_cast<DWORD>(NTE_BAD_SIGNATURE);
    if (DWORD error = Finish(hash)) return error;
    CngKey cng;
    if (DWORD error = ImportEcc(key.ecc, false, false, cng)) return error;
    NTSTATUS status = ::BCryptVerifySignature(cng.get(), nullptr, hash.value.data(), 32,
                                              const_cast<PUCHAR>(signature), size, 0);
    return BCRYPT_SUCCESS(status) ? 0 : static_cast<DWORD>(NTE_BAD_SIGNATURE);
}

}  // namespace kvcsp::keys
