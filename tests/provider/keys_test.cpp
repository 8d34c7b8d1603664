// Keys as the container check and the copy wizard use them: signatures, export and import,
// agreement, and the transfer of a session key between two provider contexts.
#include "provider_test.h"

#include <cstring>

namespace {

using namespace provider_test;

ui::UniqueCryptKey UserKey(HCRYPTPROV prov, DWORD spec) {
    ui::UniqueCryptKey key;
    EXPECT_TRUE(::CryptGetUserKey(prov, spec, key.put())) << std::hex << Error();
    return key;
}

ui::UniqueCryptKey Import(HCRYPTPROV prov, const Bytes& blob, HCRYPTKEY with, DWORD flags,
                          DWORD* error = nullptr) {
    ui::UniqueCryptKey key;
    BOOL ok = ::CryptImportKey(prov, blob.data(), static_cast<DWORD>(blob.size()), with, flags,
                               key.put());
    if (error)
        *error = ok ? 0 : Error();
    else
        EXPECT_TRUE(ok) << std::hex << Error();
    return key;
}

ui::UniqueCryptKey Generate(HCRYPTPROV prov, ALG_ID alg, DWORD flags) {
    ui::UniqueCryptKey key;
    EXPECT_TRUE(::CryptGenKey(prov, alg, flags, key.put())) << std::hex << Error();
    return key;
}

DWORD SetAlg(HCRYPTKEY key, ALG_ID alg) {
    return ::CryptSetKeyParam(key, KP_ALGID, reinterpret_cast<const BYTE*>(&alg), 0) ? 0 : Error();
}

Bytes Encrypt(HCRYPTKEY key, const Bytes& plain) {
    Bytes data = plain;
    DWORD length = static_cast<DWORD>(data.size());
    EXPECT_TRUE(::CryptEncrypt(key, 0, TRUE, 0, nullptr, &length, 0)) << std::hex << Error();
    data.resize(length);
    length = static_cast<DWORD>(plain.size());
    EXPECT_TRUE(
        ::CryptEncrypt(key, 0, TRUE, 0, data.data(), &length, static_cast<DWORD>(data.size())));
    data.resize(length);
    return data;
}

Bytes Decrypt(HCRYPTKEY key, const Bytes& cipher, DWORD* error = nullptr) {
    Bytes data = cipher;
    DWORD length = static_cast<DWORD>(data.size());
    BOOL ok = ::CryptDecrypt(key, 0, TRUE, 0, data.data(), &length);
    if (error) *error = ok ? 0 : Error();
    data.resize(ok ? length : 0);
    return data;
}

// Both keys hold the same secret: what one encrypts, the other decrypts.
void ExpectSameKey(HCRYPTKEY a, HCRYPTKEY b) {
    const Bytes plain = TestData();
    EXPECT_EQ(plain, Decrypt(b, Encrypt(a, plain)));
}

// KP_X with no key material completes a pregenerated key. Wine's advapi32 refuses a null pbData
// (87) before the provider sees it, so the data pointer must be non-null; the provider ignores
// what it points to.
BOOL Complete(HCRYPTKEY key) {
    const BYTE nothing = 0;
    return ::CryptSetKeyParam(key, KP_X, &nothing, 0);
}

// The key transfer procedure of the copy wizard, step by step: moves `session` from `from` to
// `to` by an ephemeral agreement. `skip` leaves one step out, to see the provider notice.
enum class Skip { kNothing, kAlgOnTo, kParametersOnTo };

DWORD Transfer(HCRYPTPROV from, HCRYPTPROV to, HCRYPTKEY session, ui::UniqueCryptKey& result,
               Skip skip = Skip::kNothing) {
    auto ephemeral_from = Generate(from, kvcsp::kAlgEphemeral, CRYPT_EXPORTABLE);
    Bytes hash_set, dh_set, public_from, public_to;
    EXPECT_EQ(0u, GetKeyParam(ephemeral_from.get(), kvcsp::kKeyParamHashSet, hash_set));
    EXPECT_EQ(0u, GetKeyParam(ephemeral_from.get(), kvcsp::kKeyParamDhSet, dh_set));
    EXPECT_EQ(0u, Export(ephemeral_from.get(), 0, PUBLICKEYBLOB, public_from));

    auto ephemeral_to = Generate(to, kvcsp::kAlgEphemeral, CRYPT_EXPORTABLE | CRYPT_PREGEN);
    if (skip != Skip::kParametersOnTo) {
        EXPECT_TRUE(
            ::CryptSetKeyParam(ephemeral_to.get(), kvcsp::kKeyParamHashSet, hash_set.data(), 0));
        EXPECT_TRUE(
            ::CryptSetKeyParam(ephemeral_to.get(), kvcsp::kKeyParamDhSet, dh_set.data(), 0));
    }
    EXPECT_TRUE(Complete(ephemeral_to.get())) << std::hex << Error();
    EXPECT_EQ(0u, Export(ephemeral_to.get(), 0, PUBLICKEYBLOB, public_to));

    DWORD error = 0;
    auto agreed_from = Import(from, public_to, ephemeral_from.get(), CRYPT_EXPORTABLE, &error);
    if (error) return error;
    EXPECT_EQ(0u, SetAlg(agreed_from.get(), kvcsp::kAlgKeyWrap));
    auto agreed_to = Import(to, public_from, ephemeral_to.get(), CRYPT_EXPORTABLE, &error);
    if (error) return error;
    if (skip != Skip::kAlgOnTo) {
        EXPECT_EQ(0u, SetAlg(agreed_to.get(), kvcsp::kAlgKeyWrap));
    }
    ephemeral_from.reset();
    ephemeral_to.reset();

    Bytes simple;
    error = Export(session, agreed_from.get(), SIMPLEBLOB, simple);
    if (error) return error;
    EXPECT_EQ(0u, SetAlg(session, kvcsp::kAlgKeyWrap));
    result = Import(to, simple, agreed_to.get(), CRYPT_EXPORTABLE, &error);
    return error;
}

class Keys : public ProviderTest {};

TEST_F(Keys, BothKeysSignAndAChangedByteFailsVerification) {
    fixtures::ContainerSpec spec;
    spec.name = L"s";
    spec.certificate = fixtures::Certificate::kNone;
    Make(spec);
    auto prov = Acquire(Name(L"s"));
    auto verify = Verify();
    const Bytes data = TestData();
    Bytes signatures[2];
    for (DWORD key_spec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
        SCOPED_TRACE(key_spec);
        Bytes& signature = signatures[key_spec - 1];
        ASSERT_EQ(0u, Sign(prov.get(), key_spec, data, signature));
        EXPECT_EQ(64u, signature.size());
        auto key = UserKey(prov.get(), key_spec);
        Bytes blob;
        ASSERT_EQ(0u, Export(key.get(), 0, PUBLICKEYBLOB, blob));
        auto imported = Import(verify.get(), blob, 0, 0);
        EXPECT_EQ(0u, VerifySignature(verify.get(), data, signature, imported.get()));
        EXPECT_EQ(0u, VerifySignature(prov.get(), data, signature, key.get()));

        Bytes tampered = signature;
        tampered[20] ^= 0x01;
        EXPECT_EQ(Hr(NTE_BAD_SIGNATURE),
                  VerifySignature(verify.get(), data, tampered, imported.get()));
        Bytes changed = data;
        changed[0] ^= 0x01;
        EXPECT_EQ(Hr(NTE_BAD_SIGNATURE),
                  VerifySignature(verify.get(), changed, signature, imported.get()));
    }
    auto signature_key = UserKey(prov.get(), AT_SIGNATURE);
    EXPECT_EQ(Hr(NTE_BAD_SIGNATURE),
              VerifySignature(prov.get(), data, signatures[0], signature_key.get()))
        << "the exchange key's signature under the signature key";
}

TEST_F(Keys, OnlyExportableKeysLeaveTheContainer) {
    fixtures::ContainerSpec spec;
    spec.name = L"locked";
    spec.exportable = false;
    spec.certificate = fixtures::Certificate::kNone;
    Make(spec);
    spec.name = L"open";
    spec.exportable = true;
    spec.exchange = false;
    Make(spec);

    auto locked = Acquire(Name(L"locked"));
    auto session = Generate(locked.get(), kvcsp::kAlgSession, 0);
    for (DWORD key_spec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
        auto key = UserKey(locked.get(), key_spec);
        Bytes blob;
        EXPECT_EQ(Hr(NTE_BAD_KEY_STATE), Export(key.get(), session.get(), PRIVATEKEYBLOB, blob));
        EXPECT_EQ(0u, Export(key.get(), 0, PUBLICKEYBLOB, blob));
        Bytes permissions;
        ASSERT_EQ(0u, GetKeyParam(key.get(), KP_PERMISSIONS, permissions));
        EXPECT_EQ(0u, *reinterpret_cast<DWORD*>(permissions.data()) & CRYPT_EXPORT);
    }
    // Nor does a session key made without CRYPT_EXPORTABLE.
    auto other = Generate(locked.get(), kvcsp::kAlgSession, 0);
    Bytes simple;
    EXPECT_EQ(Hr(NTE_BAD_KEY_STATE), Export(session.get(), other.get(), SIMPLEBLOB, simple));

    auto open = Acquire(Name(L"open"));
    auto key = UserKey(open.get(), AT_SIGNATURE);
    Bytes permissions;
    ASSERT_EQ(0u, GetKeyParam(key.get(), KP_PERMISSIONS, permissions));
    EXPECT_NE(0u, *reinterpret_cast<DWORD*>(permissions.data()) & CRYPT_EXPORT);
    ui::UniqueCryptKey missing;
    EXPECT_FALSE(::CryptGetUserKey(open.get(), AT_KEYEXCHANGE, missing.put()));
    EXPECT_EQ(Hr(NTE_NO_KEY), Error());
}

TEST_F(Keys, TheKeyTransferMovesASessionKeyAcrossProviders) {
    fixtures::ContainerSpec spec;
    spec.name = L"from";
    spec.certificate = fixtures::Certificate::kNone;
    Make(spec);
    auto source = Acquire(Name(L"from"));
    auto verify = Verify();
    auto target = Acquire(Name(L"to"), CRYPT_NEWKEYSET | kvcsp::kAcquireCopyTarget,
                          kvcsp::kProvider94, kvcsp::kType94);

    // The copy wizard's two hops: source container to a verification context of the source's
    // provider, then on to the destination container of another provider.
    auto session = Generate(source.get(), kvcsp::kAlgSession, CRYPT_EXPORTABLE);
    ui::UniqueCryptKey held, arrived;
    ASSERT_EQ(0u, Transfer(source.get(), verify.get(), session.get(), held));
    ui::UniqueCryptKey duplicate;
    ASSERT_TRUE(::CryptDuplicateKey(held.get(), nullptr, 0, duplicate.put()))
        << std::hex << Error();
    ASSERT_EQ(0u, Transfer(verify.get(), target.get(), duplicate.get(), arrived));
    ExpectSameKey(session.get(), arrived.get());
    ExpectSameKey(held.get(), arrived.get());
}

TEST_F(Keys, TheTransferFailsWhenASideLeavesOutAStep) {
    auto from = Verify();
    auto to = Verify(kvcsp::kProviderCloud);
    auto session = Generate(from.get(), kvcsp::kAlgSession, CRYPT_EXPORTABLE);
    ui::UniqueCryptKey result;
    EXPECT_EQ(Hr(NTE_BAD_ALGID),
              Transfer(from.get(), to.get(), session.get(), result, Skip::kAlgOnTo))
        << "the wrapping algorithm must be the same on both sides";

    // The two provider types start from different exchange parameters, so the pregenerated key
    // has to take the other side's.
    auto from94 = Verify(kvcsp::kProvider94, kvcsp::kType94);
    auto session94 = Generate(from94.get(), kvcsp::kAlgSession, CRYPT_EXPORTABLE);
    EXPECT_EQ(Hr(NTE_BAD_PUBLIC_KEY),
              Transfer(from94.get(), to.get(), session94.get(), result, Skip::kParametersOnTo));
    EXPECT_EQ(0u, Transfer(from94.get(), to.get(), session94.get(), result));

    // A pregenerated key takes its parameters only before KP_X completes it.
    auto pending = Generate(to.get(), kvcsp::kAlgEphemeral, CRYPT_EXPORTABLE | CRYPT_PREGEN);
    Bytes blob;
    EXPECT_EQ(Hr(NTE_BAD_KEY_STATE), Export(pending.get(), 0, PUBLICKEYBLOB, blob));
    EXPECT_FALSE(::CryptSetKeyParam(pending.get(), KP_X, nullptr, 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), Error()) << "advapi32 under Wine";
    ASSERT_TRUE(Complete(pending.get()));
    EXPECT_EQ(Hr(NTE_BAD_KEY_STATE),
              SetKeyText(pending.get(), kvcsp::kKeyParamDhSet, "1.2.643.2.2.36.1"));
}

TEST_F(Keys, AWrappedPrivateKeyMovesIntoANewContainerThatSigns) {
    fixtures::ContainerSpec spec;
    spec.name = L"source";
    spec.certificate = fixtures::Certificate::kNone;
    Make(spec);
    auto source = Acquire(Name(L"source"));
    auto verify = Verify();
    auto target = Acquire(Name(L"target"), CRYPT_NEWKEYSET | kvcsp::kAcquireCopyTarget);
    auto session = Generate(source.get(), kvcsp::kAlgSession, CRYPT_EXPORTABLE);
    ui::UniqueCryptKey held, arrived;
    ASSERT_EQ(0u, Transfer(source.get(), verify.get(), session.get(), held));
    ASSERT_EQ(0u, Transfer(verify.get(), target.get(), held.get(), arrived));

    Bytes wrapped, original_public;
    {
        auto key = UserKey(source.get(), AT_SIGNATURE);
        ASSERT_EQ(0u, Export(key.get(), session.get(), PRIVATEKEYBLOB, wrapped));
        ASSERT_EQ(0u, Export(key.get(), 0, PUBLICKEYBLOB, original_public));
    }
    // Under another session key the blob does not open.
    auto stranger = Generate(target.get(), kvcsp::kAlgSession, 0);
    DWORD error = 0;
    Import(target.get(), wrapped, stranger.get(), CRYPT_EXPORTABLE, &error);
    EXPECT_EQ(Hr(NTE_BAD_DATA), error);

    auto imported = Import(target.get(), wrapped, arrived.get(), CRYPT_EXPORTABLE);
    imported.reset();
    auto key = UserKey(target.get(), AT_SIGNATURE);
    Bytes copied_public;
    ASSERT_EQ(0u, Export(key.get(), 0, PUBLICKEYBLOB, copied_public));
    EXPECT_EQ(original_public, copied_public);

    Bytes signature;
    ASSERT_EQ(0u, Sign(target.get(), AT_SIGNATURE, TestData(), signature));
    auto original = Import(verify.get(), original_public, 0, 0);
    EXPECT_EQ(0u, VerifySignature(verify.get(), TestData(), signature, original.get()));
}

TEST_F(Keys, ExchangeKeysAgreeButSignatureKeysDoNot) {
    fixtures::ContainerSpec spec;
    spec.certificate = fixtures::Certificate::kNone;
    spec.name = L"a";
    Make(spec);
    spec.name = L"b";
    Make(spec);
    auto a = Acquire(Name(L"a"));
    auto b = Acquire(Name(L"b"));
    auto key_a = UserKey(a.get(), AT_KEYEXCHANGE);
    auto key_b = UserKey(b.get(), AT_KEYEXCHANGE);
    Bytes public_a, public_b;
    ASSERT_EQ(0u, Export(key_a.get(), 0, PUBLICKEYBLOB, public_a));
    ASSERT_EQ(0u, Export(key_b.get(), 0, PUBLICKEYBLOB, public_b));
    auto agreed_a = Import(a.get(), public_b, key_a.get(), 0);
    auto agreed_b = Import(b.get(), public_a, key_b.get(), 0);
    ExpectSameKey(agreed_a.get(), agreed_b.get());
    // The container check's agreement of a key with its own public key.
    auto self = Import(a.get(), public_a, key_a.get(), 0);
    EXPECT_TRUE(self);

    auto signature_key = UserKey(a.get(), AT_SIGNATURE);
    DWORD error = 0;
    Import(a.get(), public_b, signature_key.get(), 0, &error);
    EXPECT_EQ(Hr(NTE_BAD_KEY), error);
}

}  // namespace
