#include "link_check.h"

#include "kvcsp.h"
#include "ui/handles.h"
#include "wizards/certificate_info.h"

#include <gtest/gtest.h>

namespace wiztest {

fixtures::Made Make(const fixtures::ContainerSpec& spec) {
    fixtures::Made made;
    EXPECT_EQ(0u, fixtures::MakeContainer(spec, &made));
    return made;
}

void Remove(const fixtures::ContainerSpec& spec) {
    fixtures::DeleteContainer(spec.provider, spec.type, spec.machine, spec.name);
}

ui::UniqueCryptProv Open(const fixtures::ContainerSpec& spec) {
    ui::UniqueCryptProv prov;
    EXPECT_TRUE(::CryptAcquireContextW(prov.put(), spec.name.c_str(), spec.provider.c_str(),
                                       spec.type, spec.machine ? CRYPT_MACHINE_KEYSET : 0));
    return prov;
}

std::wstring TempPath(const std::wstring& name) {
    wchar_t directory[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, directory);
    return directory + name;
}

ui::UniqueCertContext Certificate(const std::vector<BYTE>& encoded) {
    return ui::UniqueCertContext(::CertCreateCertificateContext(
        applet::kCertificateEncoding, encoded.data(), static_cast<DWORD>(encoded.size())));
}

std::vector<BYTE> Encoded(PCCERT_CONTEXT certificate) {
    return std::vector<BYTE>(certificate->pbCertEncoded,
                             certificate->pbCertEncoded + certificate->cbCertEncoded);
}

ui::UniqueCertContext Installed(const std::vector<BYTE>& encoded, bool machine) {
    ui::UniqueCertStore store(::CertOpenStore(
        CERT_STORE_PROV_SYSTEM_W, 0, 0,
        machine ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER, L"MY"));
    ui::UniqueCertContext wanted = Certificate(encoded);
    return ui::UniqueCertContext(::CertFindCertificateInStore(
        store.get(), applet::kCertificateEncoding, 0, CERT_FIND_EXISTING, wanted.get(), nullptr));
}

void ExpectLinkSigns(PCCERT_CONTEXT certificate, DWORD expected) {
    HCRYPTPROV prov = 0;
    DWORD spec = 0;
    BOOL free = FALSE;
    ASSERT_TRUE(::CryptAcquireCertificatePrivateKey(certificate, 0, nullptr, &prov, &spec, &free));
    ui::UniqueCryptProv owned(free ? prov : 0);
    EXPECT_EQ(expected, spec);
    const BYTE data[] = "signed through the link";
    ui::UniqueCryptHash hash;
    ASSERT_TRUE(::CryptCreateHash(prov, kvcsp::kAlgHash, 0, 0, hash.put()));
    ASSERT_TRUE(::CryptHashData(hash.get(), data, sizeof(data), 0));
    BYTE signature[512];
    DWORD size = sizeof(signature);
    ASSERT_TRUE(::CryptSignHashW(hash.get(), spec, nullptr, 0, signature, &size));
    EXPECT_EQ(spec, applet::MatchContainerKey(prov, certificate));
    ui::UniqueCryptKey key;
    ASSERT_TRUE(::CryptGetUserKey(prov, spec, key.put()));
    EXPECT_TRUE(::CryptVerifySignatureW(hash.get(), signature, size, key.get(), nullptr, 0));
}

}  // namespace wiztest
