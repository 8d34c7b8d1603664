#include "wizards/container_check.h"

#include "applet/crypt_reads.h"
#include "applet/provider_params.h"
#include "applet/strings.h"
#include "resource.h"
#include "ui/handles.h"
#include "ui/resources.h"
#include "wizards/certificate_info.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>

namespace applet {

namespace {

using Bytes = std::vector<BYTE>;

constexpr DWORD kEncoding = kCertificateEncoding;

// States of the integrity parameter.
constexpr DWORD kIntegrityCorrupted = 0x00000001;
constexpr DWORD kIntegrityUnknown = 0x40000000;

constexpr ALG_ID kHashAlgorithm = 0x801E;  // GOST R 34.11-94
constexpr wchar_t kTestData[] = L"Hello World";
constexpr DWORD kTestDataSize = sizeof(kTestData) - sizeof(wchar_t);

constexpr char kUsagePeriodOid[] = "2.5.29.16";
// The structure type under which the provider's decoder reads a private key usage period.
constexpr char kUsagePeriodType[] = "{3F1C8A52-7D04-4E96-B2A8-5C6E19D0B7F3}";
// What that decoder gives: either end may be missing.
struct DecodedUsagePeriod {
    FILETIME* notBefore;
    FILETIME* notAfter;
};

struct UsagePeriod {
    bool present = false;
    std::optional<FILETIME> notBefore, notAfter;
};

bool ExportPublicKey(HCRYPTKEY key, Bytes& blob) {
    return ReadSized(
        [&](BYTE* buffer, DWORD* size) {
            return ::CryptExportKey(key, 0, PUBLICKEYBLOB, 0, buffer, size) != FALSE;
        },
        blob);
}

bool HashTestData(HCRYPTPROV prov, ui::UniqueCryptHash& hash) {
    return ::CryptCreateHash(prov, kHashAlgorithm, 0, 0, hash.put()) &&
           ::CryptHashData(hash.get(), reinterpret_cast<const BYTE*>(kTestData), kTestDataSize, 0);
}

bool SignTestData(HCRYPTPROV prov, DWORD spec, Bytes& signature) {
    ui::UniqueCryptHash hash;
    return HashTestData(prov, hash) &&
           ReadSized(
               [&](BYTE* buffer, DWORD* size) {
                   return ::CryptSignHashW(hash.get(), spec, nullptr, 0, buffer, size) != FALSE;
               },
               signature);
}

bool VerifyTestData(HCRYPTPROV prov, const Bytes& signature, HCRYPTKEY publicKey) {
    ui::UniqueCryptHash hash;
    return HashTestData(prov, hash) &&
           ::CryptVerifySignatureW(hash.get(), signature.empty() ? nullptr : signature.data(),
                                   static_cast<DWORD>(signature.size()), publicKey, nullptr, 0);
}

UsagePeriod DecodeUsagePeriod(PCCERT_CONTEXT certificate) {
    UsagePeriod period;
    const CERT_INFO& info = *certificate->pCertInfo;
    PCERT_EXTENSION extension =
        ::CertFindExtension(kUsagePeriodOid, info.cExtension, info.rgExtension);
    if (!extension) return period;
    DWORD size = 0;
    if (!::CryptDecodeObject(kEncoding, kUsagePeriodType, extension->Value.pbData,
                             extension->Value.cbData, 0, nullptr, &size) ||
        size < sizeof(DecodedUsagePeriod))
        return period;
    Bytes buffer(size);
    if (!::CryptDecodeObject(kEncoding, kUsagePeriodType, extension->Value.pbData,
                             extension->Value.cbData, 0, buffer.data(), &size))
        return period;
    const auto* decoded = reinterpret_cast<const DecodedUsagePeriod*>(buffer.data());
    period.present = true;
    if (decoded->notBefore) period.notBefore = *decoded->notBefore;
    if (decoded->notAfter) period.notAfter = *decoded->notAfter;
    return period;
}

// Out of date: now lies outside the private key usage period or outside the certificate's
// validity, both ends included.
bool OutOfDate(const CERT_INFO& info, const UsagePeriod& period) {
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    if (period.notBefore && ::CompareFileTime(&now, &*period.notBefore) < 0) return true;
    if (period.notAfter && ::CompareFileTime(&now, &*period.notAfter) > 0) return true;
    return ::CompareFileTime(&now, &info.NotBefore) < 0 ||
           ::CompareFileTime(&now, &info.NotAfter) > 0;
}

// "container; provider; type" of the certificate's link to a private key, if it has one.
bool KeyLink(PCCERT_CONTEXT certificate, std::wstring& link) {
    Bytes data(512);
    DWORD size = static_cast<DWORD>(data.size());
    BOOL found = ::CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID,
                                                     data.data(), &size);
    if (!found && ::GetLastError() == ERROR_MORE_DATA) {
        data.resize(size);
        found = ::CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID,
                                                    data.data(), &size);
    }
    if (!found) return false;
    const auto* info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(data.data());
    link = ui::Printf(L"%s; %s; %u", info->pwszContainerName ? info->pwszContainerName : L"",
                      info->pwszProvName ? info->pwszProvName : L"", info->dwProvType);
    return true;
}

BOOL WINAPI CollectStoreName(const void* name, DWORD, PCERT_SYSTEM_STORE_INFO, void*, void* names) {
    static_cast<std::vector<std::wstring>*>(names)->push_back(static_cast<const wchar_t*>(name));
    return TRUE;
}

class Check {
public:
    Check(HCRYPTPROV prov, int keySet, CheckReport& report)
        : prov_(prov), keySet_(keySet), report_(report) {}

    bool Run() {
        report_.Clear();
        Row(IDS_CONTAINER_HEADER, std::wstring());
        ProviderTextRow(PP_CONTAINER, IDS_CHECK_NAME);
        ProviderTextRow(PP_UNIQUE_CONTAINER, IDS_CHECK_UNIQUE_NAME);
        ProviderTextRow(kParamFqcn, IDS_CHECK_FQCN);
        Integrity();
        Key(AT_KEYEXCHANGE);
        Key(AT_SIGNATURE);
        DWORD loaded = 0;
        if (ReadDword(ProvParam(prov_, kParamKeysLoading), loaded))
            Row(IDS_CHECK_KEYS_LOADING, IDS_CHECK_SUCCEED);
        else
            ErrorRow(IDS_CHECK_KEYS_LOADING);
        Extensions();
        if (failed_)
            report_.AddRow(Text(IDS_CHECK_FAILED), std::wstring(), true);
        else
            report_.AddRow(Text(IDS_CHECK_SUCCEEDED), Text(IDS_CHECK_NO_ERRORS), true);
        return !failed_;
    }

private:
    void Row(const std::wstring& label, const std::wstring& value) {
        report_.AddRow(label, value, false);
    }
    void Row(UINT label, const std::wstring& value) { Row(Text(label), value); }
    void Row(UINT label, UINT value) { Row(Text(label), Text(value)); }

    // The report repeats a few texts many times ("Succeed" after every step): each is loaded
    // through the support library once per check.
    const std::wstring& Text(UINT id) {
        auto known = texts_.find(id);
        if (known == texts_.end()) known = texts_.emplace(id, LoadStringLang(id)).first;
        return known->second;
    }
    void DetailRow(const std::wstring& value) { Row(L"  ", value); }

    // The failed call's error text under `label`; the container did not pass.
    void ErrorRow(UINT label) {
        const DWORD error = ::GetLastError();
        failed_ = true;
        Row(label, ErrorMessageText(error));
    }

    void ProviderTextRow(DWORD param, UINT label) {
        Bytes text;
        if (ReadSized(ProvParam(prov_, param), text))
            Row(label, AnsiText(text));
        else
            ErrorRow(label);
    }

    void Integrity() {
        DWORD state = 0;
        if (!ReadDword(ProvParam(prov_, kParamIntegrity), state)) {
            ErrorRow(IDS_CHECK_INTEGRITY);
            return;
        }
        if (state == 0) {
            Row(IDS_CHECK_INTEGRITY, IDS_CHECK_SUCCEED);
            return;
        }
        // Bits the applet has no words for still fail the container.
        failed_ = true;
        if (state & kIntegrityCorrupted) Row(IDS_CHECK_INTEGRITY, IDS_CHECK_CORRUPTED);
        if (state & kIntegrityUnknown) Row(IDS_CHECK_INTEGRITY, IDS_CHECK_UNKNOWN_CORRUPTION);
    }

    void Key(DWORD spec) {
        const UINT keyLabel =
            spec == AT_KEYEXCHANGE ? IDS_CHECK_EXCHANGE_KEY : IDS_CHECK_SIGNATURE_KEY;
        // The key's calls hold a reference of their own on the container.
        if (!::CryptContextAddRef(prov_, nullptr, 0)) {
            ErrorRow(keyLabel);
            return;
        }
        ui::UniqueCryptProv prov(prov_);

        ui::UniqueCryptKey key;
        if (!::CryptGetUserKey(prov.get(), spec, key.put())) {
            // A container may hold one key only; that is no fault.
            Row(keyLabel, IDS_CHECK_NOT_AVAILABLE);
            return;
        }
        Row(keyLabel, IDS_CHECK_AVAILABLE);

        Bytes blob;
        if (!ExportPublicKey(key.get(), blob)) {
            ErrorRow(IDS_CHECK_PUBLIC_EXPORT);
            return;
        }
        Row(IDS_CHECK_PUBLIC_EXPORT, IDS_CHECK_SUCCEED);
        ui::UniqueCryptKey publicKey;
        if (!::CryptImportKey(prov.get(), blob.data(), static_cast<DWORD>(blob.size()), 0, 0,
                              publicKey.put())) {
            ErrorRow(IDS_CHECK_PUBLIC_IMPORT);
            return;
        }
        Row(IDS_CHECK_PUBLIC_IMPORT, IDS_CHECK_SUCCEED);

        Bytes signature;
        if (SignTestData(prov.get(), spec, signature))
            Row(IDS_CHECK_SIGNING, IDS_CHECK_SUCCEED);
        else
            ErrorRow(IDS_CHECK_SIGNING);
        if (VerifyTestData(prov.get(), signature, publicKey.get()))
            Row(IDS_CHECK_VERIFYING, IDS_CHECK_SUCCEED);
        else
            ErrorRow(IDS_CHECK_VERIFYING);

        if (spec == AT_KEYEXCHANGE) {
            // The key's own public key under the key itself: the agreement a peer would make.
            ui::UniqueCryptKey agreed;
            if (::CryptImportKey(prov.get(), blob.data(), static_cast<DWORD>(blob.size()),
                                 key.get(), 0, agreed.put()))
                Row(IDS_CHECK_AGREEMENT, IDS_CHECK_SUCCEED);
            else
                ErrorRow(IDS_CHECK_AGREEMENT);
        }

        DWORD permissions = 0;
        if (ReadDword(KeyParam(key.get(), KP_PERMISSIONS), permissions))
            Row(IDS_CHECK_KEY_EXPORT,
                (permissions & CRYPT_EXPORT) ? IDS_CHECK_ALLOWED : IDS_CHECK_DISALLOWED);
        Algorithm(key.get());
        for (DWORD param : {kKeyParamDhSet, kKeyParamHashSet}) {
            Bytes set;
            if (ReadSized(KeyParam(key.get(), param), set)) DetailRow(AnsiText(set));
        }

        ui::UniqueCertContext certificate = KeyCertificate(key.get());
        if (!certificate) {
            Row(IDS_CHECK_CERT_IN_CONTAINER, IDS_CHECK_NOT_AVAILABLE);
            return;
        }
        Match(prov.get(), spec, certificate.get());
        CertificateInStores(certificate.get());
        const UsagePeriod period = DecodeUsagePeriod(certificate.get());
        CertificateDetails(certificate.get(), period);
        if (OutOfDate(*certificate.get()->pCertInfo, period)) {
            failed_ = true;
            Row(IDS_CHECK_USAGE_PERIOD, IDS_CHECK_EXPIRED);
        }
    }

    void Algorithm(HCRYPTKEY key) {
        DWORD algorithm = 0;
        if (ReadDword(KeyParam(key, KP_ALGID), algorithm))
            Row(IDS_CHECK_ALGORITHM, AlgorithmName(algorithm));
    }

    void Match(HCRYPTPROV prov, DWORD spec, PCCERT_CONTEXT certificate) {
        const std::optional<bool> matches = KeyMatches(prov, spec, certificate);
        if (!matches) {
            ErrorRow(IDS_CHECK_CERT_IN_CONTAINER);
            return;
        }
        if (*matches) {
            Row(IDS_CHECK_CERT_IN_CONTAINER, IDS_CHECK_CERT_MATCH);
        } else {
            failed_ = true;
            Row(IDS_CHECK_CERT_IN_CONTAINER, IDS_CHECK_CERT_MISMATCH);
        }
    }

    // Copies of the certificate in the system stores of the container's owner, and whether each
    // links back to a private key. Informational: nothing here fails the container.
    void CertificateInStores(PCCERT_CONTEXT certificate) {
        const DWORD location =
            keySet_ ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER;
        std::vector<std::wstring> names;
        ::CertEnumSystemStore(location, nullptr, &names, CollectStoreName);
        bool found = false;
        for (const std::wstring& name : names) {
            ui::UniqueCertStore store(::CertOpenStore(
                CERT_STORE_PROV_SYSTEM_W, kEncoding, 0,
                location | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG, name.c_str()));
            if (!store) continue;
            ui::UniqueCertContext copy;
            for (;;) {
                // The search frees the context it continues from.
                copy.reset(::CertFindCertificateInStore(
                    store.get(), kEncoding, 0, CERT_FIND_PUBLIC_KEY,
                    &certificate->pCertInfo->SubjectPublicKeyInfo, copy.release()));
                if (!copy) break;
                if (found)
                    DetailRow(name);
                else
                    Row(IDS_CHECK_CERT_IN_STORE, name);
                found = true;
                DetailRow(ui::Printf(L"  %s",
                                     CertificateName(copy.get(), CERT_NAME_RDN_TYPE, 0).c_str()));
                std::wstring link;
                if (KeyLink(copy.get(), link))
                    DetailRow(ui::Printf(L"\t    %s", link.c_str()));
                else
                    DetailRow(Text(IDS_CHECK_NO_KEY_LINK));
            }
        }
        if (!found) Row(IDS_CHECK_CERT_IN_STORE, IDS_CHECK_NOT_INSTALLED);
    }

    void CertificateDetails(PCCERT_CONTEXT certificate, const UsagePeriod& period) {
        const CERT_INFO& info = *certificate->pCertInfo;
        Row(IDS_CERT_NAME, CertificateName(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0));
        Row(IDS_CERT_SUBJECT, CertificateName(certificate, CERT_NAME_RDN_TYPE, 0));
        Row(IDS_CERT_ISSUER,
            CertificateName(certificate, CERT_NAME_RDN_TYPE, CERT_NAME_ISSUER_FLAG));
        Row(IDS_CERT_VALID_FROM, FormatLocalTime(info.NotBefore));
        Row(IDS_CERT_VALID_TO, FormatLocalTime(info.NotAfter));
        if (period.notBefore) Row(IDS_CERT_KEY_VALID_FROM, FormatLocalTime(*period.notBefore));
        if (period.notAfter) Row(IDS_CERT_KEY_VALID_TO, FormatLocalTime(*period.notAfter));
        Row(IDS_CERT_SERIAL, FormatSerialNumber(info.SerialNumber));
    }

    // The container's extensions. Each fetch passes the length the previous one returned, so
    // a record longer than the one before it ends the listing.
    void Extensions() {
        class Rows : public ATL2::CContainerExtensionEnum {
        public:
            explicit Rows(Check& check) : check_(check) {}
            bool OnRawRecord(const BYTE*, DWORD) override {
                if (!listed_) check_.Row(IDS_CHECK_EXTENSIONS, std::wstring());
                listed_ = true;
                return true;
            }
            bool OnExtension(const BYTE* value, const char* oid, DWORD length,
                             LONG critical) override {
                check_.Extension(value, oid, length, critical);
                return true;
            }

        private:
            Check& check_;
            bool listed_ = false;
        } rows(*this);
        const ExtensionListing listing =
            EnumContainerExtensions(prov_, rows, ExtensionFetch::kLastLength);
        if (listing.error && !listing.sized) {
            ::SetLastError(listing.error);
            ErrorRow(IDS_CHECK_EXTENSIONS);
        }
    }

    // An extension whose value is a set of certificates; an empty value has no row.
    void Extension(const BYTE* value, const char* oid, DWORD length, LONG critical) {
        const auto certificates = DecodeCertificateSet(oid, value, length);
        if (!certificates) return;
        Row(critical > 0 ? IDS_CHECK_CRITICAL : IDS_CHECK_NONCRITICAL,
            FromAnsi(oid, ::strlen(oid)));
        for (const Bytes& encoded : *certificates) {
            ui::UniqueCertContext certificate(::CertCreateCertificateContext(
                kEncoding, encoded.data(), static_cast<DWORD>(encoded.size())));
            if (certificate)
                CertificateDetails(certificate.get(), DecodeUsagePeriod(certificate.get()));
        }
    }

    HCRYPTPROV prov_;
    int keySet_;
    CheckReport& report_;
    std::map<UINT, std::wstring> texts_;
    bool failed_ = false;
};

}  // namespace

bool RunContainerCheck(HCRYPTPROV container, int keySet, CheckReport& report) {
    return Check(container, keySet, report).Run();
}

std::wstring ReportText(const std::vector<ReportRow>& rows) {
    std::wstring text;
    for (const ReportRow& row : rows)
        text += ui::Printf(L"%-30s \t%s\r\n", row.first.c_str(), row.second.c_str());
    return text;
}

}  // namespace applet
