// Installing a private certificate: certificate files of every form read as the wizard reads
// them, the fields shown for a certificate, which key of a container is a certificate's and the
// link written for it.
#include "fixtures.h"
#include "kvcsp.h"
#include "link_check.h"
#include "ui/handles.h"
#include "wizard_fixture.h"
#include "wizards/certificate_info.h"
#include "wizards/install_certificate.h"

#include <gtest/gtest.h>

#include <regex>

namespace {

using Bytes = std::vector<BYTE>;
using fixtures::FileFormat;
using wiztest::Certificate;
using wiztest::Encoded;
using wiztest::Make;
using wiztest::Remove;
using wiztest::TempPath;

TEST(CertificateFields, NamesInTheirX500FormAndSerialsOfOneTwoAndFiveBytes) {
    const std::pair<DWORD, const char*> serials[] = {
        {1, "^[0-9A-F]{2}$"}, {2, "^[0-9A-F]{4}$"}, {5, "^[0-9A-F]{4} [0-9A-F]{4} [0-9A-F]{2}$"}};
    for (const auto& [bytes, pattern] : serials) {
        SCOPED_TRACE(bytes);
        fixtures::ContainerSpec spec;
        spec.name = L"kv-install-serial-" + std::to_wstring(bytes);
        spec.exchange = false;
        spec.serialBytes = bytes;
        const fixtures::Made made = Make(spec);
        ui::UniqueCertContext certificate = Certificate(made.certificates[1]);
        ASSERT_TRUE(certificate);
        const applet::CertificateFields fields = applet::ReadCertificateFields(certificate.get());
        const std::string serial(fields.serial.begin(), fields.serial.end());
        EXPECT_TRUE(std::regex_match(serial, std::regex(pattern))) << serial;
        // The most significant byte, the blob's last, comes first.
        const CRYPT_INTEGER_BLOB& blob = certificate.get()->pCertInfo->SerialNumber;
        EXPECT_EQ(std::stoul(serial.substr(0, 2), nullptr, 16), blob.pbData[blob.cbData - 1]);
        EXPECT_EQ(spec.name, fields.name);
        EXPECT_NE(std::wstring::npos, fields.subject.find(L"CN=" + spec.name)) << "X.500 form";
        EXPECT_NE(std::wstring::npos, fields.issuer.find(L"CN=")) << "X.500 form";
        EXPECT_NE(fields.subject, fields.issuer);
        EXPECT_FALSE(fields.validFrom.empty());
        EXPECT_NE(fields.validFrom, fields.validTo);
        Remove(spec);
    }
}

TEST(KeyMatch, FindsTheCertificatesKeyAndLinksIt) {
    fixtures::ContainerSpec both, other;
    both.name = L"kv-install-both";
    both.machine = true;
    other.name = L"kv-install-other";
    const fixtures::Made made = Make(both);
    const fixtures::Made otherMade = Make(other);
    ui::UniqueCryptProv prov;
    ASSERT_TRUE(::CryptAcquireContextW(prov.put(), both.name.c_str(), both.provider.c_str(),
                                       both.type, CRYPT_MACHINE_KEYSET));
    for (DWORD spec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
        SCOPED_TRACE(spec);
        ui::UniqueCertContext certificate = Certificate(made.certificates[spec - 1]);
        EXPECT_EQ(spec, applet::MatchContainerKey(prov.get(), certificate.get()));

        // The record opens the same container again: the name is the one the provider goes
        // by, the key-set and the key follow the container and the key.
        ui::UniqueCryptKey key;
        ASSERT_TRUE(::CryptGetUserKey(prov.get(), spec, key.put()));
        applet::KeyProvRecord record;
        ASSERT_TRUE(record.Read(prov.get(), CRYPT_MACHINE_KEYSET, key.get()));
        const CRYPT_KEY_PROV_INFO& info = *record.Info();
        EXPECT_EQ(spec, info.dwKeySpec);
        EXPECT_EQ(both.provider, info.pwszProvName);
        EXPECT_EQ(both.type, info.dwProvType);
        EXPECT_EQ(DWORD{CRYPT_MACHINE_KEYSET}, info.dwFlags);
        EXPECT_EQ(0u, info.cProvParam);
        ui::UniqueCryptProv again;
        EXPECT_TRUE(::CryptAcquireContextW(again.put(), info.pwszContainerName, info.pwszProvName,
                                           info.dwProvType, info.dwFlags));
    }
    ui::UniqueCertContext stranger = Certificate(otherMade.certificates[1]);
    EXPECT_EQ(0u, applet::MatchContainerKey(prov.get(), stranger.get()));
    prov.reset();
    Remove(both);
    Remove(other);
}

}  // namespace
