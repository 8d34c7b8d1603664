// Installing a private certificate: certificate files of every form read as the wizard reads
// them, the fields shown for a certificate, which key of a container is a certificate's, the
// link written for it, and the search through every provider's containers.
#include "fixtures.h"
#include "kvcsp.h"
#include "link_check.h"
#include "ui/handles.h"
#include "wizard_fixture.h"
#include "wizards/certificate_info.h"
#include "wizards/copy_container.h"
#include "wizards/install_certificate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

namespace {

using Bytes = std::vector<BYTE>;
using fixtures::FileFormat;
using wiztest::Certificate;
using wiztest::Encoded;
using wiztest::Make;
using wiztest::Remove;

std::wstring TempPath(const std::wstring& name) {
    wchar_t directory[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, directory);
    return directory + name;
}

int CountCertificates(HCERTSTORE store) {
    int count = 0;
    for (PCCERT_CONTEXT c = nullptr; (c = ::CertEnumCertificatesInStore(store, c));) ++count;
    return count;
}

TEST(CertificateFiles, EveryFormOpensAndWhatHoldsNoCertificateIsRejected) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-install-files";
    const fixtures::Made made = Make(spec);
    const std::vector<Bytes> one = {made.certificates[1]},
                             both = {made.certificates[0], made.certificates[1]};
    const std::wstring path = TempPath(L"kv-install-file");
    struct Case {
        const char* what;
        FileFormat format;
        const std::vector<Bytes>* certificates;
    };
    for (const Case& c :
         {Case{"DER", FileFormat::kDer, &one}, Case{"PEM", FileFormat::kPem, &one},
          Case{"Base64", FileFormat::kBase64, &one}, Case{"PKCS #7", FileFormat::kPkcs7, &one},
          Case{"PKCS #7 Base64", FileFormat::kPkcs7Base64, &one},
          Case{"serialized store", FileFormat::kSerializedStore, &one},
          Case{"PKCS #7 of two", FileFormat::kPkcs7, &both},
          Case{"PKCS #7 Base64 of two", FileFormat::kPkcs7Base64, &both},
          Case{"serialized store of two", FileFormat::kSerializedStore, &both}}) {
        SCOPED_TRACE(c.what);
        ASSERT_EQ(0u, fixtures::WriteCertificateFile(path, c.format, *c.certificates));
        applet::CertificateFile file;
        ASSERT_TRUE(applet::OpenCertificateFile(path, file));
        const bool several = c.certificates->size() > 1;
        EXPECT_EQ(several, file.several);
        EXPECT_EQ(static_cast<int>(c.certificates->size()), CountCertificates(file.store.get()));
        if (several) {
            EXPECT_FALSE(file.certificate) << "the user picks one";
        } else {
            ASSERT_TRUE(file.certificate);
            EXPECT_EQ(made.certificates[1], Encoded(file.certificate.get()));
        }
    }

    ASSERT_EQ(0u, fixtures::WriteCertificateFile(path, FileFormat::kPkcs7CrlsOnly, {}));
    const std::wstring emptyStore = TempPath(L"kv-install-empty.sst");
    ASSERT_EQ(0u, fixtures::WriteCertificateFile(emptyStore, FileFormat::kSerializedStore, {}));
    const std::wstring text = TempPath(L"kv-install-text.cer");
    ui::UniqueHandleW file(
        ::CreateFileW(text.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    DWORD written = 0;
    ::WriteFile(file.get(), "not a certificate\r\n", 19, &written, nullptr);
    file.reset();
    for (const std::wstring& rejected :
         {path, emptyStore, text, TempPath(L"kv-install-missing.cer")}) {
        SCOPED_TRACE(std::string(rejected.begin(), rejected.end()));
        applet::CertificateFile opened;
        EXPECT_FALSE(applet::OpenCertificateFile(rejected, opened));
        EXPECT_FALSE(opened.store) << "nothing stays open";
    }
    for (const std::wstring& p : {path, emptyStore, text}) ::DeleteFileW(p.c_str());
    Remove(spec);
}

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

// Records what the search reached; stops it at the `stopAt`th container.
struct Recorder : applet::SearchProgress {
    std::vector<std::pair<int, std::wstring>> reached;
    int stopAt = 0;
    bool Step(int provider, int providers, int containers, const std::wstring& name) override {
        EXPECT_EQ(3, providers);
        EXPECT_EQ(static_cast<int>(reached.size()) + 1, containers);
        reached.emplace_back(provider, name);
        return containers != stopAt;
    }
};

std::vector<std::wstring> Enumerate(const std::wstring& provider) {
    ui::UniqueCryptProv prov;
    std::vector<std::wstring> names;
    if (!::CryptAcquireContextW(prov.put(), nullptr, provider.c_str(), kvcsp::kType2001,
                                CRYPT_VERIFYCONTEXT))
        return names;
    char name[1024];
    for (DWORD flags = CRYPT_FIRST;; flags = 0) {
        DWORD size = sizeof(name);
        if (!::CryptGetProvParam(prov.get(), PP_ENUMCONTAINERS, reinterpret_cast<BYTE*>(name),
                                 &size, flags))
            return names;
        names.push_back(applet::FromAnsi(name, ::strnlen(name, size)));
    }
}

// Copies the container with its key pairs, as the copy wizard does.
void CopyContainer(const fixtures::ContainerSpec& from, const std::wstring& provider,
                   const std::wstring& name) {
    fixtures::DeleteContainer(provider, kvcsp::kType2001, false, name);
    applet::CopyState state;
    ui::UniqueCryptProv source, destination;
    ASSERT_TRUE(::CryptAcquireContextW(source.put(), from.name.c_str(), from.provider.c_str(),
                                       from.type, 0));
    ASSERT_TRUE(state.AcquireVerification(from.provider, from.type));
    ASSERT_EQ(0u, state.Read(source.get()));
    ASSERT_TRUE(::CryptAcquireContextW(destination.put(), name.c_str(), provider.c_str(),
                                       kvcsp::kType2001,
                                       CRYPT_NEWKEYSET | kvcsp::kAcquireCopyTarget));
    ASSERT_EQ(0u, state.Write(destination.get()));
}

TEST(AutomaticSearch, StopsAtTheFirstMatchInProviderThenEnumerationOrder) {
    const std::vector<applet::SearchProvider> providers = {
        {kvcsp::kProviderMain, 75}, {L"No such provider", 75}, {kvcsp::kProviderCloud, 75}};
    // Containers without the key around the ones with it.
    std::vector<fixtures::ContainerSpec> bystanders(3);
    for (size_t i = 0; i < bystanders.size(); ++i) {
        bystanders[i].name = L"kv-install-search bystander " + std::to_wstring(i);
        bystanders[i].provider = i % 2 ? kvcsp::kProviderCloud : kvcsp::kProviderMain;
        bystanders[i].certificate = fixtures::Certificate::kNone;
        Make(bystanders[i]);
    }
    // One key in three containers: two of the second provider searched, one of the last.
    fixtures::ContainerSpec key;
    key.name = L"kv-install-search";
    key.provider = kvcsp::kProviderCloud;
    const fixtures::Made made = Make(key);
    CopyContainer(key, kvcsp::kProviderCloud, L"kv-install-search copy");
    CopyContainer(key, kvcsp::kProviderMain, L"kv-install-search main");
    ui::UniqueCertContext certificate = Certificate(made.certificates[0]);

    const std::vector<std::wstring> main = Enumerate(kvcsp::kProviderMain);
    const auto first = std::find(main.begin(), main.end(), L"kv-install-search main");
    ASSERT_NE(main.end(), first);
    Recorder found;
    applet::SearchHit hit =
        applet::FindContainerOfCertificate(providers, false, certificate.get(), found);
    EXPECT_EQ(0, hit.provider);
    EXPECT_EQ(L"kv-install-search main", hit.container);
    EXPECT_EQ(DWORD{AT_KEYEXCHANGE}, hit.keySpec);
    EXPECT_EQ(static_cast<size_t>(first - main.begin()) + 1, found.reached.size())
        << "every container before the match, each once";

    fixtures::DeleteContainer(kvcsp::kProviderMain, kvcsp::kType2001, false,
                              L"kv-install-search main");
    const std::vector<std::wstring> cloud = Enumerate(kvcsp::kProviderCloud);
    const auto firstCloud = std::find_if(cloud.begin(), cloud.end(), [](const std::wstring& n) {
        return n == L"kv-install-search" || n == L"kv-install-search copy";
    });
    ASSERT_NE(cloud.end(), firstCloud);
    Recorder inCloud;
    hit = applet::FindContainerOfCertificate(providers, false, certificate.get(), inCloud);
    EXPECT_EQ(2, hit.provider) << "a provider that can't be opened is passed over";
    EXPECT_EQ(*firstCloud, hit.container) << "the first in enumeration order";
    EXPECT_EQ(main.size() - 1 + (firstCloud - cloud.begin()) + 1, inCloud.reached.size());

    // Nowhere: every container of every provider is reached once, and nothing is found.
    Remove(key);
    fixtures::DeleteContainer(kvcsp::kProviderCloud, kvcsp::kType2001, false,
                              L"kv-install-search copy");
    Recorder nowhere;
    hit = applet::FindContainerOfCertificate(providers, false, certificate.get(), nowhere);
    EXPECT_EQ(-1, hit.provider);
    EXPECT_TRUE(hit.container.empty());
    EXPECT_EQ(main.size() - 1 + cloud.size() - 2, nowhere.reached.size());
    std::vector<std::pair<int, std::wstring>> sorted = nowhere.reached;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted.end(), std::adjacent_find(sorted.begin(), sorted.end()));

    // Stopped after the second container: nothing found, nothing more reached.
    Recorder stopped;
    stopped.stopAt = 2;
    hit = applet::FindContainerOfCertificate(providers, false, certificate.get(), stopped);
    EXPECT_EQ(-1, hit.provider);
    EXPECT_EQ(2u, stopped.reached.size());
    EXPECT_EQ(0, wiztest::Live().contexts);
    for (const fixtures::ContainerSpec& spec : bystanders) Remove(spec);
}

}  // namespace
