// Certificates in keys and in container extensions, and the crypt32 functions the provider
// registers for them, as the container check and the certificate wizards reach them.
#include "provider_test.h"

#include "driver/driver.h"

#include <algorithm>
#include <cstring>

namespace {

using namespace provider_test;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// CryptExportPublicKeyInfo the container check's way: 512 bytes, grown once.
Bytes PublicKeyInfo(HCRYPTPROV prov, DWORD spec) {
    Bytes info(512);
    DWORD size = static_cast<DWORD>(info.size());
    if (!::CryptExportPublicKeyInfo(prov, spec, kEncoding,
                                    reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(info.data()), &size)) {
        EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), Error());
        info.resize(size);
        EXPECT_TRUE(::CryptExportPublicKeyInfo(
            prov, spec, kEncoding, reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(info.data()), &size))
            << std::hex << Error();
    }
    return info;
}

CERT_PUBLIC_KEY_INFO* AsInfo(Bytes& bytes) {
    return reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(bytes.data());
}

Bytes Decode(LPCSTR type, const BYTE* data, DWORD size, DWORD* error = nullptr) {
    DWORD length = 0;
    Bytes out;
    BOOL ok = ::CryptDecodeObject(kEncoding, type, data, size, 0, nullptr, &length);
    if (ok) {
        out.resize(length);
        ok = ::CryptDecodeObject(kEncoding, type, data, size, 0, out.data(), &length);
    }
    if (error)
        *error = ok ? 0 : Error();
    else
        EXPECT_TRUE(ok) << type << ": " << std::hex << Error();
    if (!ok) out.clear();
    return out;  // moved: the decoded structure points into its own buffer
}

LONGLONG DaysFromNow(const FILETIME& time) {
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    ULARGE_INTEGER a{{time.dwLowDateTime, time.dwHighDateTime}};
    ULARGE_INTEGER b{{now.dwLowDateTime, now.dwHighDateTime}};
    return (static_cast<LONGLONG>(a.QuadPart) - static_cast<LONGLONG>(b.QuadPart)) /
           (24LL * 3600 * 10000000);
}

class Certificates : public ProviderTest {};

TEST_F(Certificates, KeyCertificatesMatchTheExportedPublicKeyInfo) {
    fixtures::ContainerSpec issued;
    issued.name = L"issued";
    fixtures::ContainerSpec self94;
    self94.name = L"self94";
    self94.provider = kvcsp::kProvider94;
    self94.type = kvcsp::kType94;
    self94.certificate = fixtures::Certificate::kSelfSigned;
    for (fixtures::ContainerSpec* spec : {&issued, &self94}) {
        SCOPED_TRACE(spec->type);
        fixtures::Made made = Make(*spec);
        auto prov = Acquire(Name(spec->name), 0, spec->provider, spec->type);
        Bytes infos[2] = {PublicKeyInfo(prov.get(), AT_KEYEXCHANGE),
                          PublicKeyInfo(prov.get(), AT_SIGNATURE)};
        // crypt32 never destroys the user key it exports; the provider's encoder takes it back.
        EXPECT_EQ(0, Counted().keys);
        for (DWORD key_spec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
            ui::UniqueCryptKey key;
            ASSERT_TRUE(::CryptGetUserKey(prov.get(), key_spec, key.put()));
            Bytes stored;
            ASSERT_EQ(0u, GetKeyParam(key.get(), KP_CERTIFICATE, stored));
            EXPECT_EQ(made.certificates[key_spec - 1], stored);
            ui::UniqueCertContext certificate(::CertCreateCertificateContext(
                X509_ASN_ENCODING, stored.data(), static_cast<DWORD>(stored.size())));
            ASSERT_TRUE(certificate);
            CERT_PUBLIC_KEY_INFO* in_certificate =
                &certificate.get()->pCertInfo->SubjectPublicKeyInfo;
            CERT_PUBLIC_KEY_INFO* exported = AsInfo(infos[key_spec - 1]);
            EXPECT_STREQ(
                spec->type == kvcsp::kType94 ? kvcsp::kOidPublicKey94 : kvcsp::kOidPublicKey,
                exported->Algorithm.pszObjId);
            EXPECT_STREQ(exported->Algorithm.pszObjId, in_certificate->Algorithm.pszObjId);
            EXPECT_TRUE(::CertComparePublicKeyInfo(kEncoding, exported, in_certificate));
            EXPECT_FALSE(
                ::CertComparePublicKeyInfo(kEncoding, AsInfo(infos[2 - key_spec]), in_certificate))
                << "the other key's public key";

            // The key link's key specification comes from the algorithm's class; the check's
            // algorithm row from the OID information.
            DWORD alg = 0, size = sizeof(alg);
            ASSERT_TRUE(
                ::CryptGetKeyParam(key.get(), KP_ALGID, reinterpret_cast<BYTE*>(&alg), &size, 0));
            EXPECT_EQ(key_spec == AT_SIGNATURE, GET_ALG_CLASS(alg) == ALG_CLASS_SIGNATURE);
            PCCRYPT_OID_INFO oid_info = ::CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &alg, 0);
            ASSERT_NE(nullptr, oid_info) << std::hex << alg;
            EXPECT_EQ(key_spec == AT_SIGNATURE,
                      std::wstring(oid_info->pwszName).find(L"DH") == std::wstring::npos);
            Bytes set;
            EXPECT_EQ(0u, GetKeyParam(key.get(), kvcsp::kKeyParamDhSet, set));
            EXPECT_EQ(0, std::strncmp(reinterpret_cast<char*>(set.data()), "1.2.643.", 8));
        }
    }
    ALG_ID session = kvcsp::kAlgSession;
    EXPECT_EQ(nullptr, ::CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &session, 0))
        << "the check shows such an algorithm by its number";
}

TEST_F(Certificates, UsagePeriodAndChainExtensionsDecode) {
    fixtures::ContainerSpec spec;
    spec.name = L"period";
    spec.usagePeriod = fixtures::Period::kValid;
    spec.chain = true;
    fixtures::Made made = Make(spec);
    spec.name = L"expired";
    spec.usagePeriod = fixtures::Period::kExpired;
    spec.chain = false;
    fixtures::Made expired = Make(spec);

    for (const auto& [certificate, from, to] : {std::tuple{made.certificates[0], -30, 180},
                                                std::tuple{expired.certificates[1], -400, -1}}) {
        ui::UniqueCertContext context(::CertCreateCertificateContext(
            X509_ASN_ENCODING, certificate.data(), static_cast<DWORD>(certificate.size())));
        ASSERT_TRUE(context);
        CERT_INFO* info = context.get()->pCertInfo;
        PCERT_EXTENSION extension =
            ::CertFindExtension(kvcsp::kOidUsagePeriod, info->cExtension, info->rgExtension);
        ASSERT_NE(nullptr, extension);
        Bytes decoded =
            Decode(kvcsp::kUsagePeriodType, extension->Value.pbData, extension->Value.cbData);
        ASSERT_FALSE(decoded.empty());
        auto* period = reinterpret_cast<kvcsp::UsagePeriod*>(decoded.data());
        ASSERT_NE(nullptr, period->notBefore);
        ASSERT_NE(nullptr, period->notAfter);
        EXPECT_NEAR(from, DaysFromNow(*period->notBefore), 1);
        EXPECT_NEAR(to, DaysFromNow(*period->notAfter), 1);
        EXPECT_GT(DaysFromNow(info->NotAfter), 300) << "the certificate itself is valid";
    }
    DWORD error = 0;
    const BYTE not_a_period[] = {0x04, 0x00};
    Decode(kvcsp::kUsagePeriodType, not_a_period, sizeof(not_a_period), &error);
    EXPECT_EQ(Hr(CRYPT_E_ASN1_CORRUPT), error);

    // The extensions as the check lists them, each decoded under its own OID.
    auto prov = Acquire(Name(L"period"));
    std::vector<std::string> oids;
    Bytes record;
    for (DWORD flags = CRYPT_FIRST;
         GetParam(prov.get(), kvcsp::kParamExtensions, record, flags) == 0; flags = 0) {
        DWORD length = 0;
        std::memcpy(&length, record.data() + 4, 4);
        std::string oid = reinterpret_cast<char*>(record.data() + 8 + length);
        oids.push_back(oid);
        Bytes decoded = Decode(oid.c_str(), record.data() + 8, length);
        ASSERT_FALSE(decoded.empty());
        auto* array = reinterpret_cast<CRYPT_BLOB_ARRAY*>(decoded.data());
        ASSERT_EQ(1u, array->cBlob);
        const Bytes& expected = made.chain[oid == kvcsp::kOidChainCa ? 0 : 1];
        EXPECT_EQ(expected, Bytes(array->rgBlob[0].pbData,
                                  array->rgBlob[0].pbData + array->rgBlob[0].cbData));
    }
    EXPECT_EQ((std::vector<std::string>{kvcsp::kOidChainCa, kvcsp::kOidChainRoot}), oids);

    // The chain is the exchange certificate's: its issuer is the CA in the extension.
    ui::UniqueCertContext leaf(
        ::CertCreateCertificateContext(X509_ASN_ENCODING, made.certificates[0].data(),
                                       static_cast<DWORD>(made.certificates[0].size())));
    ui::UniqueCertContext ca(::CertCreateCertificateContext(
        X509_ASN_ENCODING, made.chain[0].data(), static_cast<DWORD>(made.chain[0].size())));
    ASSERT_TRUE(leaf && ca);
    EXPECT_TRUE(::CertCompareCertificateName(X509_ASN_ENCODING, &leaf.get()->pCertInfo->Issuer,
                                             &ca.get()->pCertInfo->Subject));
}

TEST_F(Certificates, ACertificateWrittenIntoAKeyStaysThere) {
    fixtures::ContainerSpec spec;
    spec.name = L"bare";
    spec.certificate = fixtures::Certificate::kNone;
    Make(spec);
    spec.name = L"donor";
    spec.certificate = fixtures::Certificate::kSelfSigned;
    fixtures::Made donor = Make(spec);
    {
        auto prov = Acquire(Name(L"bare"));
        ui::UniqueCryptKey key;
        ASSERT_TRUE(::CryptGetUserKey(prov.get(), AT_SIGNATURE, key.put()));
        Bytes none;
        EXPECT_EQ(Hr(SCARD_E_NO_SUCH_CERTIFICATE), GetKeyParam(key.get(), KP_CERTIFICATE, none));
        const BYTE not_a_certificate[] = {0x30, 0x03, 0x02, 0x01, 0x01};
        EXPECT_FALSE(::CryptSetKeyParam(key.get(), KP_CERTIFICATE, not_a_certificate, 0));
        EXPECT_EQ(Hr(NTE_BAD_DATA), Error());
        // The installation wizard's "write to container": the certificate need not match.
        EXPECT_TRUE(::CryptSetKeyParam(key.get(), KP_CERTIFICATE, donor.certificates[1].data(), 0))
            << std::hex << Error();
    }
    auto prov = Acquire(Name(L"bare"));
    ui::UniqueCryptKey key;
    ASSERT_TRUE(::CryptGetUserKey(prov.get(), AT_SIGNATURE, key.put()));
    Bytes stored;
    EXPECT_EQ(0u, GetKeyParam(key.get(), KP_CERTIFICATE, stored));
    EXPECT_EQ(donor.certificates[1], stored);
}

TEST_F(Certificates, CertificateFilesOpenAsTheInstallationWizardOpensThem) {
    fixtures::ContainerSpec spec;
    spec.name = L"files";
    fixtures::Made made = Make(spec);
    const std::vector<Bytes> both = {made.certificates[0], made.certificates[1]};
    const std::vector<Bytes> one = {made.certificates[1]};
    wchar_t temp[MAX_PATH];
    ::GetTempPathW(MAX_PATH, temp);
    const std::wstring base = std::wstring(temp) + Name(L"file");
    struct File {
        const wchar_t* suffix;
        fixtures::FileFormat format;
        const std::vector<Bytes>& certificates;
    };
    const std::vector<Bytes> none;
    for (const File& f : {File{L".cer", fixtures::FileFormat::kDer, one},
                          File{L".pem", fixtures::FileFormat::kPem, one},
                          File{L"-one.p7b", fixtures::FileFormat::kPkcs7, one},
                          File{L"-two.p7b", fixtures::FileFormat::kPkcs7, both},
                          File{L"-two.sst", fixtures::FileFormat::kSerializedStore, both},
                          File{L"-empty.sst", fixtures::FileFormat::kSerializedStore, none}}) {
        std::wstring path = base + f.suffix;
        SCOPED_TRACE(driver::Narrow(path));
        ASSERT_EQ(0u, fixtures::WriteCertificateFile(path, f.format, f.certificates));
        ui::UniqueCertStore store(::CertOpenStore(CERT_STORE_PROV_FILENAME_W, kEncoding, 0,
                                                  CERT_STORE_OPEN_EXISTING_FLAG, path.c_str()));
        ASSERT_TRUE(store) << std::hex << Error();
        std::vector<Bytes> found;
        for (PCCERT_CONTEXT c = nullptr; (c = ::CertEnumCertificatesInStore(store.get(), c));)
            found.emplace_back(c->pbCertEncoded, c->pbCertEncoded + c->cbCertEncoded);
        std::sort(found.begin(), found.end());
        std::vector<Bytes> expected = f.certificates;
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(expected, found);
        store.reset();
        ::DeleteFileW(path.c_str());
    }
}

}  // namespace
