// What the container check's report costs: the whole check (rows, strings, error texts, dates)
// on a container with both keys, their certificates and a chain of issuing CA and root in its
// extensions, against the same CryptoAPI calls in the same order with nothing written down.
// Usage: kvbench_check [RUNS]
#include "bench/timing.h"
#include "fixtures.h"
#include "kvcsp.h"
#include "ui/handles.h"
#include "wizards/container_check.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<BYTE>;

constexpr wchar_t kContainer[] = L"bench-check";
constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr wchar_t kTestData[] = L"Hello World";

class Rows : public applet::CheckReport {
public:
    void Clear() override { rows.clear(); }
    void AddRow(const std::wstring& label, const std::wstring& value, bool onTop) override {
        rows.insert(onTop ? rows.begin() : rows.end(), applet::ReportRow(label, value));
    }
    std::vector<applet::ReportRow> rows;
};

// The two-call form: the size, then the data.
void ProvParam(HCRYPTPROV prov, DWORD param, DWORD flags = 0) {
    DWORD size = 0;
    if (!::CryptGetProvParam(prov, param, nullptr, &size, flags)) return;
    Bytes data(size);
    ::CryptGetProvParam(prov, param, data.data(), &size, flags);
}

bool KeyParam(HCRYPTKEY key, DWORD param, Bytes& data) {
    DWORD size = 0;
    if (!::CryptGetKeyParam(key, param, nullptr, &size, 0)) return false;
    data.resize(size);
    return ::CryptGetKeyParam(key, param, data.data(), &size, 0) != FALSE;
}

void Names(PCCERT_CONTEXT certificate) {
    wchar_t name[512];
    ::CertGetNameStringW(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name, 512);
    ::CertGetNameStringW(certificate, CERT_NAME_RDN_TYPE, 0, nullptr, name, 512);
    ::CertGetNameStringW(certificate, CERT_NAME_RDN_TYPE, CERT_NAME_ISSUER_FLAG, nullptr, name,
                         512);
    const CERT_INFO& info = *certificate->pCertInfo;
    if (PCERT_EXTENSION period =
            ::CertFindExtension("2.5.29.16", info.cExtension, info.rgExtension)) {
        DWORD size = 0;
        if (::CryptDecodeObject(kEncoding, kvcsp::kUsagePeriodType, period->Value.pbData,
                                period->Value.cbData, 0, nullptr, &size)) {
            Bytes decoded(size);
            ::CryptDecodeObject(kEncoding, kvcsp::kUsagePeriodType, period->Value.pbData,
                                period->Value.cbData, 0, decoded.data(), &size);
        }
    }
}

BOOL WINAPI Collect(const void* name, DWORD, PCERT_SYSTEM_STORE_INFO, void*, void* names) {
    static_cast<std::vector<std::wstring>*>(names)->push_back(static_cast<const wchar_t*>(name));
    return TRUE;
}

void Stores(PCCERT_CONTEXT certificate) {
    std::vector<std::wstring> names;
    ::CertEnumSystemStore(CERT_SYSTEM_STORE_CURRENT_USER, nullptr, &names, Collect);
    for (const std::wstring& name : names) {
        ui::UniqueCertStore store(::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, kEncoding, 0,
                                                  CERT_SYSTEM_STORE_CURRENT_USER |
                                                      CERT_STORE_READONLY_FLAG |
                                                      CERT_STORE_OPEN_EXISTING_FLAG,
                                                  name.c_str()));
        if (!store) continue;
        ui::UniqueCertContext copy;
        for (;;) {
            copy.reset(::CertFindCertificateInStore(store.get(), kEncoding, 0, CERT_FIND_PUBLIC_KEY,
                                                    &certificate->pCertInfo->SubjectPublicKeyInfo,
                                                    copy.release()));
            if (!copy) break;
            wchar_t text[512];
            ::CertGetNameStringW(copy.get(), CERT_NAME_RDN_TYPE, 0, nullptr, text, 512);
            BYTE link[1024];
            DWORD size = sizeof(link);
            ::CertGetCertificateContextProperty(copy.get(), CERT_KEY_PROV_INFO_PROP_ID, link,
                                                &size);
        }
    }
}

void Key(HCRYPTPROV container, DWORD spec) {
    ::CryptContextAddRef(container, nullptr, 0);
    ui::UniqueCryptProv prov(container);
    ui::UniqueCryptKey key;
    if (!::CryptGetUserKey(prov.get(), spec, key.put())) return;
    DWORD size = 0;
    ::CryptExportKey(key.get(), 0, PUBLICKEYBLOB, 0, nullptr, &size);
    Bytes blob(size);
    ::CryptExportKey(key.get(), 0, PUBLICKEYBLOB, 0, blob.data(), &size);
    ui::UniqueCryptKey publicKey;
    ::CryptImportKey(prov.get(), blob.data(), size, 0, 0, publicKey.put());
    Bytes signature;
    {
        ui::UniqueCryptHash hash;
        ::CryptCreateHash(prov.get(), kvcsp::kAlgHash, 0, 0, hash.put());
        ::CryptHashData(hash.get(), reinterpret_cast<const BYTE*>(kTestData), 22, 0);
        DWORD length = 0;
        ::CryptSignHashW(hash.get(), spec, nullptr, 0, nullptr, &length);
        signature.resize(length);
        ::CryptSignHashW(hash.get(), spec, nullptr, 0, signature.data(), &length);
    }
    {
        ui::UniqueCryptHash hash;
        ::CryptCreateHash(prov.get(), kvcsp::kAlgHash, 0, 0, hash.put());
        ::CryptHashData(hash.get(), reinterpret_cast<const BYTE*>(kTestData), 22, 0);
        ::CryptVerifySignatureW(hash.get(), signature.data(), static_cast<DWORD>(signature.size()),
                                publicKey.get(), nullptr, 0);
    }
    if (spec == AT_KEYEXCHANGE) {
        ui::UniqueCryptKey agreed;
        ::CryptImportKey(prov.get(), blob.data(), size, key.get(), 0, agreed.put());
    }
    DWORD value = 0, length = sizeof(value);
    ::CryptGetKeyParam(key.get(), KP_PERMISSIONS, reinterpret_cast<BYTE*>(&value), &length, 0);
    length = sizeof(value);
    ::CryptGetKeyParam(key.get(), KP_ALGID, reinterpret_cast<BYTE*>(&value), &length, 0);
    ::CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &value, 0);
    Bytes data;
    KeyParam(key.get(), 106, data);
    KeyParam(key.get(), 103, data);
    if (!KeyParam(key.get(), KP_CERTIFICATE, data)) return;
    ui::UniqueCertContext certificate(
        ::CertCreateCertificateContext(kEncoding, data.data(), static_cast<DWORD>(data.size())));
    if (!certificate) return;
    Bytes info(512);
    DWORD infoSize = static_cast<DWORD>(info.size());
    if (!::CryptExportPublicKeyInfo(prov.get(), spec, kEncoding,
                                    reinterpret_cast<PCERT_PUBLIC_KEY_INFO>(info.data()),
                                    &infoSize)) {
        info.resize(infoSize);
        ::CryptExportPublicKeyInfo(prov.get(), spec, kEncoding,
                                   reinterpret_cast<PCERT_PUBLIC_KEY_INFO>(info.data()), &infoSize);
    }
    ::CertComparePublicKeyInfo(kEncoding, reinterpret_cast<PCERT_PUBLIC_KEY_INFO>(info.data()),
                               &certificate.get()->pCertInfo->SubjectPublicKeyInfo);
    Stores(certificate.get());
    Names(certificate.get());
}

void Extensions(HCRYPTPROV prov) {
    DWORD length = 0;
    if (!::CryptGetProvParam(prov, kvcsp::kParamExtensions, nullptr, &length, CRYPT_FIRST)) return;
    Bytes record(length);
    for (DWORD flags = CRYPT_FIRST;
         ::CryptGetProvParam(prov, kvcsp::kParamExtensions, record.data(), &length, flags);
         flags = 0) {
        DWORD n = 0;
        std::memcpy(&n, record.data() + 4, 4);
        const char* oid = reinterpret_cast<const char*>(record.data() + 8 + n);
        DWORD size = 0;
        if (!::CryptDecodeObject(kEncoding, oid, record.data() + 8, n, 0, nullptr, &size)) continue;
        Bytes decoded(size);
        ::CryptDecodeObject(kEncoding, oid, record.data() + 8, n, 0, decoded.data(), &size);
        const auto* certificates = reinterpret_cast<const CRYPT_BLOB_ARRAY*>(decoded.data());
        for (DWORD i = 0; i < certificates->cBlob; ++i) {
            ui::UniqueCertContext certificate(::CertCreateCertificateContext(
                kEncoding, certificates->rgBlob[i].pbData, certificates->rgBlob[i].cbData));
            if (certificate) Names(certificate.get());
        }
    }
}

// The check's CryptoAPI calls, in its order, with nothing formatted or kept.
void BareCalls(HCRYPTPROV prov) {
    ProvParam(prov, PP_CONTAINER);
    ProvParam(prov, PP_UNIQUE_CONTAINER);
    ProvParam(prov, kvcsp::kParamFqcn);
    DWORD value = 0, size = sizeof(value);
    ::CryptGetProvParam(prov, kvcsp::kParamIntegrity, reinterpret_cast<BYTE*>(&value), &size, 0);
    Key(prov, AT_KEYEXCHANGE);
    Key(prov, AT_SIGNATURE);
    size = sizeof(value);
    ::CryptGetProvParam(prov, kvcsp::kParamKeysLoading, reinterpret_cast<BYTE*>(&value), &size, 0);
    Extensions(prov);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int runs =
        argc > 1 ? std::max(1, static_cast<int>(std::wcstol(argv[1], nullptr, 10))) : 25;
    fixtures::ContainerSpec spec;
    spec.name = kContainer;
    spec.chain = true;
    spec.usagePeriod = fixtures::Period::kValid;
    if (DWORD error = fixtures::MakeContainer(spec)) {
        std::fprintf(stderr, "kvbench_check: no container (0x%08lX)\n", error);
        return 1;
    }
    ui::UniqueCryptProv prov;
    if (!::CryptAcquireContextW(prov.put(), kContainer, spec.provider.c_str(), spec.type, 0)) {
        std::fprintf(stderr, "kvbench_check: cannot open the container (0x%08lX)\n",
                     ::GetLastError());
        return 1;
    }
    // The strings come through the product's support library, found beside this program.
    Rows report;
    if (!applet::RunContainerCheck(prov.get(), 0, report) || report.rows.size() < 60 ||
        report.rows[0].first != L"Check container succeed") {
        std::fprintf(stderr,
                     "kvbench_check: no passing check with its texts (%zu rows); run it from the "
                     "product's directory\n",
                     report.rows.size());
        return 1;
    }
    BareCalls(prov.get());
    // Interleaved, so that both see the same state of the machine.
    std::vector<double> check, bare;
    for (int i = 0; i < runs; ++i) {
        double start = bench::Now();
        applet::RunContainerCheck(prov.get(), 0, report);
        check.push_back(bench::Now() - start);
        start = bench::Now();
        BareCalls(prov.get());
        bare.push_back(bench::Now() - start);
    }
    prov.reset();
    fixtures::DeleteContainer(spec.provider, spec.type, false, kContainer);

    const double checkMedian = bench::Median(check), bareMedian = bench::Median(bare);
    std::printf("container check, %d runs, %zu rows\n", runs, report.rows.size());
    std::printf("  whole check (report rows):      median %8.2f ms  (min %.2f, max %.2f)\n",
                checkMedian, *std::min_element(check.begin(), check.end()),
                *std::max_element(check.begin(), check.end()));
    std::printf("  same CryptoAPI calls, no report: median %8.2f ms  (min %.2f, max %.2f)\n",
                bareMedian, *std::min_element(bare.begin(), bare.end()),
                *std::max_element(bare.begin(), bare.end()));
    std::printf("  ratio check / calls: %.2f\n", checkMedian / bareMedian);
    return 0;
}
