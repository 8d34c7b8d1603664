// The container check on containers of the stand-in provider, read back row by row: what a
// person sees in the report, without the window.
#include "driver/driver.h"
#include "fixtures.h"
#include "kvcsp.h"
#include "testbed/knobs.h"
#include "ui/handles.h"
#include "wizard_fixture.h"
#include "wizards/certificate_info.h"
#include "wizards/container_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <cwctype>
#include <regex>

namespace {

using driver::Narrow;
using Row = applet::ReportRow;
using Rows = std::vector<Row>;

// Keeps rows the way the report page shows them: ordinary rows in order, on-top rows above.
class Report : public applet::CheckReport {
public:
    void Clear() override {
        rows.clear();
        counter_ = 0;
    }
    void AddRow(const std::wstring& label, const std::wstring& value, bool onTop) override {
        rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(onTop ? 0 : counter_),
                    Row(label, value));
        ++counter_;
    }
    Rows rows;

private:
    size_t counter_ = 0;
};

// The rows from the first labelled `from` up to, not including, the next labelled `to`.
Rows Between(const Rows& rows, const std::wstring& from, const std::wstring& to) {
    auto begin =
        std::find_if(rows.begin(), rows.end(), [&](const Row& r) { return r.first == from; });
    auto end = begin == rows.end() ? rows.end()
                                   : std::find_if(begin + 1, rows.end(),
                                                  [&](const Row& r) { return r.first == to; });
    return Rows(begin, end);
}

std::vector<std::wstring> Labels(const Rows& rows) {
    std::vector<std::wstring> labels;
    for (const Row& row : rows) labels.push_back(row.first);
    return labels;
}

std::vector<std::wstring> Values(const Rows& rows, const std::wstring& label) {
    std::vector<std::wstring> values;
    for (const Row& row : rows)
        if (row.first == label) values.push_back(row.second);
    return values;
}

bool Has(const Rows& rows, const std::wstring& label, const std::wstring& value) {
    return std::find(rows.begin(), rows.end(), Row(label, value)) != rows.end();
}

bool HasLabel(const Rows& rows, const std::wstring& label) {
    return !Values(rows, label).empty();
}

std::string Dump(const Rows& rows) {
    std::string text;
    for (const Row& row : rows)
        text += "[" + Narrow(row.first) + "] [" + Narrow(row.second) + "]\n";
    return text;
}

bool StartsWith(const std::wstring& text, const std::wstring& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

const Row kSucceeded{L"Check container succeed", L"no errors were detected"};
const Row kFailed{L"Check container failed", L""};
const std::wstring kExchange = L"Exchange key";
const std::wstring kSignature = L"Signature key";
const std::wstring kKeysLoading = L"  keys loading";
const std::wstring kExtensions = L"Container extensions";
const std::wstring kCertificateName = L"  certificate name";
const std::wstring kInContainer = L"  certificate in container";
const std::wstring kInStore = L"  certificate in store";
const std::wstring kUsagePeriod = L"Private key usage period";
const std::wstring kAlgorithm = L"  algorithm";
const std::wstring kSubject = L"  subject";

Rows ExchangeRows(const Rows& rows) {
    return Between(rows, kExchange, kSignature);
}
Rows SignatureRows(const Rows& rows) {
    return Between(rows, kSignature, kKeysLoading);
}
Rows ExtensionRows(const Rows& rows) {
    return Between(rows, kExtensions, L"\x1");
}

// A copy of a certificate in a system store, optionally linked to a container; deleted at the
// end of the scope.
class StoredCopy {
public:
    StoredCopy(DWORD location, const wchar_t* store, const fixtures::Bytes& encoded,
               const std::wstring& container = {}, bool machine = false) {
        store_.reset(::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, location, store));
        EXPECT_TRUE(store_) << ::GetLastError();
        EXPECT_TRUE(::CertAddEncodedCertificateToStore(
            store_.get(), X509_ASN_ENCODING, encoded.data(), static_cast<DWORD>(encoded.size()),
            CERT_STORE_ADD_REPLACE_EXISTING, copy_.put()));
        if (!container.empty() && copy_) {
            CRYPT_KEY_PROV_INFO link{};
            link.pwszContainerName = const_cast<wchar_t*>(container.c_str());
            link.pwszProvName = const_cast<wchar_t*>(kvcsp::kProviderMain);
            link.dwProvType = kvcsp::kType2001;
            link.dwFlags = machine ? CRYPT_MACHINE_KEYSET : 0;
            link.dwKeySpec = AT_KEYEXCHANGE;
            EXPECT_TRUE(::CertSetCertificateContextProperty(copy_.get(), CERT_KEY_PROV_INFO_PROP_ID,
                                                            0, &link));
        }
        // Wine writes a registry store out when it is closed or committed; until then other
        // handles to the store don't see the copy.
        EXPECT_TRUE(::CertControlStore(store_.get(), 0, CERT_STORE_CTRL_COMMIT, nullptr));
    }
    ~StoredCopy() {
        if (copy_) ::CertDeleteCertificateFromStore(copy_.release());
    }

private:
    ui::UniqueCertStore store_;
    ui::UniqueCertContext copy_;
};

class CheckSequence : public ::testing::Test {
protected:
    void SetUp() override { before_ = wiztest::Live(); }

    void TearDown() override {
        for (auto& [name, machine] : made_)
            fixtures::DeleteContainer(kvcsp::kProviderMain, kvcsp::kType2001, machine, name);
        wiztest::LiveHandles live = wiztest::Live();
        EXPECT_EQ(before_.contexts, live.contexts);
        EXPECT_EQ(before_.keys, live.keys);
        EXPECT_EQ(before_.hashes, live.hashes);
    }

    // A container of this test, removed afterwards; its name is "kv-check-" and `what`.
    fixtures::Made Make(fixtures::ContainerSpec spec) {
        spec.name = L"kv-check-" + spec.name;
        made_.emplace_back(spec.name, spec.machine);
        fixtures::Made made;
        EXPECT_EQ(0u, fixtures::MakeContainer(spec, &made)) << Narrow(spec.name);
        return made;
    }

    static fixtures::ContainerSpec Spec(const wchar_t* what) {
        fixtures::ContainerSpec spec;
        spec.name = what;
        return spec;
    }

    ui::UniqueCryptProv Open(const std::wstring& what, bool machine = false) {
        ui::UniqueCryptProv prov;
        EXPECT_TRUE(::CryptAcquireContextW(prov.put(), (L"kv-check-" + what).c_str(),
                                           kvcsp::kProviderMain, kvcsp::kType2001,
                                           machine ? CRYPT_MACHINE_KEYSET : 0))
            << std::hex << ::GetLastError();
        return prov;
    }

    // The check's rows for the container; on the way, that it leaves no key or hash behind.
    Rows Check(const std::wstring& what, bool machine = false, int keySet = -1) {
        ui::UniqueCryptProv prov = Open(what, machine);
        Report report;
        applet::RunContainerCheck(prov.get(), keySet < 0 ? machine : keySet, report);
        wiztest::LiveHandles live = wiztest::Live();
        EXPECT_EQ(before_.keys, live.keys) << "keys left alive by the check";
        EXPECT_EQ(before_.hashes, live.hashes) << "hashes left alive by the check";
        return report.rows;
    }

private:
    wiztest::LiveHandles before_;
    std::vector<std::pair<std::wstring, bool>> made_;
};

TEST_F(CheckSequence, AHealthyContainerPassesEveryStepOfBothKeys) {
    fixtures::ContainerSpec spec = Spec(L"healthy");
    spec.usagePeriod = fixtures::Period::kValid;
    Make(spec);
    const std::wstring name = L"kv-check-healthy";

    ui::UniqueCryptProv prov = Open(L"healthy");
    Report report;
    EXPECT_TRUE(applet::RunContainerCheck(prov.get(), 0, report));
    const Rows rows = report.rows;
    SCOPED_TRACE(Dump(rows));
    ASSERT_GE(rows.size(), 6u);
    EXPECT_EQ(kSucceeded, rows[0]) << "the verdict on top";
    EXPECT_EQ(Row(L"Private key container", L""), rows[1]);
    EXPECT_EQ(Row(L"  name", name), rows[2]);
    EXPECT_EQ(Row(L"  FQCN", L"\\\\.\\DISK\\" + name), rows[4]);
    EXPECT_EQ(L"  unique name", rows[3].first);
    EXPECT_TRUE(StartsWith(rows[3].second, rows[4].second + L"\\")) << Narrow(rows[3].second);
    EXPECT_EQ(Row(L"  container integrity check", L"succeed"), rows[5]);

    const std::vector<std::wstring> certificateRows = {
        kInContainer,    kInStore,      kCertificateName,    kSubject,          L"  issuer",
        L"  valid from", L"  valid to", L"  key valid from", L"  key valid to", L"  serial number"};
    auto expectKey = [&](const Rows& key, bool exchange) {
        std::vector<std::wstring> labels = {exchange ? kExchange : kSignature,
                                            L"  public key export", L"  public key import",
                                            L"  signing", L"  verifying"};
        if (exchange) labels.push_back(L"  exchange key agreement");
        labels.insert(labels.end(), {L"  key export", kAlgorithm, L"  ", L"  "});
        labels.insert(labels.end(), certificateRows.begin(), certificateRows.end());
        EXPECT_EQ(labels, Labels(key));
        for (const wchar_t* step : {L"  public key export", L"  public key import", L"  signing",
                                    L"  verifying", L"  exchange key agreement"})
            if (exchange || std::wstring(step) != L"  exchange key agreement") {
                EXPECT_TRUE(Has(key, step, L"succeed")) << Narrow(step);
            }
        EXPECT_TRUE(Has(key, labels[0], L"available"));
        EXPECT_TRUE(Has(key, L"  key export", L"allowed"));
        EXPECT_EQ(
            std::vector<std::wstring>{exchange ? L"GOST R 34.10-2001 DH" : L"GOST R 34.10-2001"},
            Values(key, kAlgorithm));
        // The key's parameter sets: exchange (106) before hash (103).
        std::vector<std::wstring> sets = Values(key, L"  ");
        ASSERT_EQ(2u, sets.size());
        EXPECT_TRUE(StartsWith(sets[0], L"1.2.643.2.2.36.")) << Narrow(sets[0]);
        EXPECT_TRUE(StartsWith(sets[1], L"1.2.643.2.2.30.")) << Narrow(sets[1]);
        EXPECT_TRUE(Has(key, kInContainer, L"match private key"));
        EXPECT_TRUE(Has(key, kInStore, L"not installed"));
        EXPECT_TRUE(Has(key, kCertificateName, name));
        EXPECT_NE(std::wstring::npos, Values(key, kSubject)[0].find(name));
        EXPECT_NE(std::wstring::npos, Values(key, L"  issuer")[0].find(L"Testbed Issuing CA"));
        EXPECT_TRUE(std::regex_match(Narrow(Values(key, L"  serial number")[0]),
                                     std::regex("[0-9A-F]{4} [0-9A-F]{4} [0-9A-F]{4} [0-9A-F]{4}")))
            << "eight bytes, two per group";
        EXPECT_FALSE(HasLabel(key, kUsagePeriod)) << "the period is running";
    };
    expectKey(ExchangeRows(rows), true);
    expectKey(SignatureRows(rows), false);
    EXPECT_EQ(Row(kKeysLoading, L"succeed"), rows.back());
    EXPECT_FALSE(HasLabel(rows, kExtensions)) << "no extensions, no row";

    // Run again into the same report (as Back and Next do): the same rows, nothing added.
    EXPECT_TRUE(applet::RunContainerCheck(prov.get(), 0, report));
    EXPECT_EQ(rows, report.rows);
}

TEST_F(CheckSequence, AMissingKeyOrCertificateOrAnUnexportableKeyIsNoFault) {
    fixtures::ContainerSpec signatureOnly = Spec(L"signature-only");
    signatureOnly.exchange = false;
    Make(signatureOnly);
    fixtures::ContainerSpec bare = Spec(L"bare");
    bare.certificate = fixtures::Certificate::kNone;
    bare.exportable = false;
    Make(bare);

    Rows rows = Check(L"signature-only");
    {
        SCOPED_TRACE(Dump(rows));
        EXPECT_EQ(kSucceeded, rows[0]);
        EXPECT_EQ((Rows{{kExchange, L"not available"}}), ExchangeRows(rows));
        EXPECT_TRUE(Has(SignatureRows(rows), kSignature, L"available"));
        EXPECT_TRUE(Has(SignatureRows(rows), kInContainer, L"match private key"));
    }
    rows = Check(L"bare");
    SCOPED_TRACE(Dump(rows));
    EXPECT_EQ(kSucceeded, rows[0]);
    for (const Rows& key : {ExchangeRows(rows), SignatureRows(rows)}) {
        EXPECT_EQ(Row(kInContainer, L"not available"), key.back()) << "the key's last row";
        EXPECT_TRUE(Has(key, L"  key export", L"disallowed"));
        EXPECT_TRUE(Has(key, L"  verifying", L"succeed"));
    }
    EXPECT_FALSE(HasLabel(rows, kCertificateName));
    EXPECT_FALSE(HasLabel(rows, kInStore));
}

TEST_F(CheckSequence, AForeignOrOutOfDateCertificateFailsTheContainer) {
    fixtures::Made other = Make(Spec(L"other"));
    Make(Spec(L"mismatch"));
    {
        // The exchange key carries the other container's certificate.
        ui::UniqueCryptProv prov = Open(L"mismatch");
        ui::UniqueCryptKey key;
        ASSERT_TRUE(::CryptGetUserKey(prov.get(), AT_KEYEXCHANGE, key.put()));
        ASSERT_TRUE(::CryptSetKeyParam(key.get(), KP_CERTIFICATE, other.certificates[0].data(), 0));
    }
    fixtures::ContainerSpec expiredKey = Spec(L"expired-key");
    expiredKey.usagePeriod = fixtures::Period::kExpired;
    Make(expiredKey);
    fixtures::ContainerSpec expiredCertificate = Spec(L"expired-certificate");
    expiredCertificate.certificateExpired = true;
    Make(expiredCertificate);

    Rows rows = Check(L"mismatch");
    {
        SCOPED_TRACE(Dump(rows));
        EXPECT_EQ(kFailed, rows[0]);
        EXPECT_TRUE(Has(ExchangeRows(rows), kInContainer, L"does not match private key"));
        EXPECT_TRUE(Has(SignatureRows(rows), kInContainer, L"match private key"));
        EXPECT_FALSE(HasLabel(rows, kUsagePeriod));
    }
    // The certificate is valid, the private key's period ended yesterday.
    rows = Check(L"expired-key");
    {
        SCOPED_TRACE(Dump(rows));
        EXPECT_EQ(kFailed, rows[0]);
        for (const Rows& key : {ExchangeRows(rows), SignatureRows(rows)}) {
            EXPECT_EQ(Row(kUsagePeriod, L"expired"), key.back());
            EXPECT_TRUE(Has(key, kInContainer, L"match private key"));
            EXPECT_TRUE(HasLabel(key, L"  key valid from"));
            EXPECT_TRUE(HasLabel(key, L"  key valid to"));
        }
    }
    rows = Check(L"expired-certificate");
    SCOPED_TRACE(Dump(rows));
    EXPECT_EQ(kFailed, rows[0]);
    EXPECT_EQ(2u, Values(rows, kUsagePeriod).size());
    EXPECT_FALSE(HasLabel(rows, L"  key valid to")) << "no period in the certificate";
}

TEST_F(CheckSequence, IntegrityStatesAndTheirRows) {
    Make(Spec(L"integrity"));
    struct Case {
        DWORD state;
        std::vector<std::wstring> values;
    };
    for (const Case& c :
         {Case{0x40000001, {L"corrupted", L"unknown corruption"}}, Case{0x00000001, {L"corrupted"}},
          Case{0x40000000, {L"unknown corruption"}}, Case{0x00000004, {}}}) {
        SCOPED_TRACE(c.state);
        wiztest::ScopedValue integrity(HKEY_LOCAL_MACHINE, wiztest::ProviderKnobKey(),
                                       testbed::knobs::kIntegrity, c.state);
        Rows rows = Check(L"integrity");
        SCOPED_TRACE(Dump(rows));
        EXPECT_EQ(kFailed, rows[0]) << "any bit set fails the container";
        EXPECT_EQ(c.values, Values(rows, L"  container integrity check"));
        EXPECT_TRUE(Has(rows, kKeysLoading, L"succeed")) << "the check goes on";
    }
}

// Failures injected into the provider: an error row with the error's text. Export and import
// of the public key end that key's checks; the other steps let them go on.
TEST_F(CheckSequence, AFailedStepShowsItsErrorAndEndsOnlyWhatItMust) {
    fixtures::ContainerSpec spec = Spec(L"failing");
    spec.chain = true;
    Make(spec);
    const DWORD removed = static_cast<DWORD>(SCARD_W_REMOVED_CARD);
    const std::wstring error = L"Error 0x80100069 (-2146434967) ";
    struct Case {
        const wchar_t* entry;
        DWORD nth;
        const wchar_t* label;
        bool endsExchangeKey;
    };
    for (const Case& c : {Case{L"CPExportKey", 1, L"  public key export", true},
                          Case{L"CPImportKey", 1, L"  public key import", true},
                          Case{L"CPSignHash", 1, L"  signing", false},
                          Case{L"CPImportKey", 2, L"  exchange key agreement", false},
                          Case{L"CPGetProvParam.146", 1, L"  container integrity check", false},
                          Case{L"CPGetProvParam.133", 1, L"Container extensions", false}}) {
        SCOPED_TRACE(Narrow(c.entry) + " #" + std::to_string(c.nth));
        wiztest::InjectedFailure failure(c.entry, c.nth, removed);
        Rows rows = Check(L"failing");
        SCOPED_TRACE(Dump(rows));
        EXPECT_EQ(kFailed, rows[0]);
        std::vector<std::wstring> values;
        for (const std::wstring& value : Values(rows, c.label))
            if (StartsWith(value, L"Error 0x")) values.push_back(value);
        ASSERT_EQ(1u, values.size()) << "one error row";
        EXPECT_TRUE(StartsWith(values[0], error)) << Narrow(values[0]);
        EXPECT_GT(values[0].size(), error.size()) << "followed by the error's text";

        const Rows exchange = ExchangeRows(rows);
        if (c.endsExchangeKey) {
            EXPECT_EQ(Row(c.label, values[0]), exchange.back()) << "the key's checks end there";
        } else {
            EXPECT_TRUE(HasLabel(exchange, kInStore)) << "the key's checks went on";
        }
        if (std::wstring(c.label) == L"  signing") {
            EXPECT_TRUE(StartsWith(Values(exchange, L"  verifying")[0], L"Error 0x"))
                << "nothing was signed, so nothing verifies";
        }
        EXPECT_TRUE(Has(SignatureRows(rows), L"  verifying", L"succeed"))
            << "the other key is checked in full";
        if (c.label != kExtensions) {
            EXPECT_EQ(std::vector<std::wstring>{L""}, Values(rows, kExtensions));
        } else {
            EXPECT_FALSE(HasLabel(rows, L"  noncritical"));
        }
    }
}

TEST_F(CheckSequence, ExtensionsListTheirCertificatesAndALongerRecordEndsTheListing) {
    fixtures::ContainerSpec spec = Spec(L"chain");
    spec.chain = true;
    fixtures::Made made = Make(spec);
    const std::vector<std::wstring> details = {kCertificateName, kSubject,      L"  issuer",
                                               L"  valid from",  L"  valid to", L"  serial number"};
    auto labelsOf = [&](std::initializer_list<std::wstring> extensions, int certificates) {
        std::vector<std::wstring> labels = {kExtensions};
        for (const std::wstring& extension : extensions) {
            labels.push_back(extension);
            for (int i = 0; i < certificates; ++i)
                labels.insert(labels.end(), details.begin(), details.end());
            certificates = 1;
        }
        return labels;
    };

    Rows rows = Check(L"chain");
    {
        SCOPED_TRACE(Dump(rows));
        EXPECT_EQ(kSucceeded, rows[0]);
        const Rows extensions = ExtensionRows(rows);
        EXPECT_EQ(labelsOf({L"  noncritical", L"  noncritical"}, 1), Labels(extensions));
        EXPECT_EQ((std::vector<std::wstring>{L"1.2.643.2.2.37.3.1", L"1.2.643.2.2.37.3.2"}),
                  Values(extensions, L"  noncritical"));
        EXPECT_EQ((std::vector<std::wstring>{L"Testbed Issuing CA", L"Testbed Root CA"}),
                  Values(extensions, kCertificateName));
    }

    // Records as the listing meets them: a chain of two, marked critical; a value no decoder
    // reads (no row), shorter; the root alone; an empty value (no row); and a record longer
    // than the one before it, which ends the listing.
    auto der = [](const std::vector<fixtures::Bytes>& certificates) {
        size_t length = 0;
        for (const fixtures::Bytes& c : certificates) length += c.size();
        fixtures::Bytes value;
        value.reserve(4 + length);
        for (BYTE b : {BYTE{0x30}, BYTE{0x82}, static_cast<BYTE>(length >> 8),
                       static_cast<BYTE>(length & 0xFF)})
            value.push_back(b);
        for (const fixtures::Bytes& c : certificates) value.insert(value.end(), c.begin(), c.end());
        return value;
    };
    const fixtures::Bytes both = der(made.chain);
    const fixtures::Bytes root = der({made.chain[1]});
    const fixtures::Bytes unreadable(both.size() - 16, 0x30);
    Make(Spec(L"listing"));
    {
        ui::UniqueCryptProv prov = Open(L"listing");
        struct Record {
            const char* oid;
            DWORD critical;
            const fixtures::Bytes* value;
        };
        const fixtures::Bytes empty;
        for (const Record& r :
             {Record{"1.2.643.2.2.37.3.1", 1, &both}, Record{"1.2.643.2.2.37.99", 0, &unreadable},
              Record{"1.2.643.2.2.37.3.2", 0, &root}, Record{"1.2.643.2.2.37.3.3", 0, &empty},
              Record{"1.2.643.2.2.37.3.3", 1, &both}}) {
            kvcsp::ExtensionRequest request{r.oid, r.critical, static_cast<DWORD>(r.value->size()),
                                            r.value->empty() ? nullptr : r.value->data()};
            ASSERT_TRUE(::CryptSetProvParam(prov.get(), kvcsp::kParamAddExtension,
                                            reinterpret_cast<const BYTE*>(&request), 0));
        }
    }
    rows = Check(L"listing");
    SCOPED_TRACE(Dump(rows));
    const Rows extensions = ExtensionRows(rows);
    EXPECT_EQ(labelsOf({L"  critical", L"  noncritical"}, 2), Labels(extensions));
    EXPECT_EQ(std::vector<std::wstring>{L"1.2.643.2.2.37.3.1"}, Values(extensions, L"  critical"));
    EXPECT_EQ(std::vector<std::wstring>{L"1.2.643.2.2.37.3.2"},
              Values(extensions, L"  noncritical"));
    EXPECT_EQ(kSucceeded, rows[0]) << "extensions never fail the container";
}

// A provider whose extension records are malformed: the malformed ones give no row, and
// nothing is read or offered beyond the buffer the check sized, whatever size is reported.
TEST_F(CheckSequence, MalformedExtensionRecordsAreSkippedAndTheBufferIsNeverOverrun) {
    fixtures::ContainerSpec spec = Spec(L"faults");
    spec.chain = true;
    Make(spec);
    const std::vector<std::wstring> honest = Labels(ExtensionRows(Check(L"faults")));
    ASSERT_GT(honest.size(), 1u);
    const DWORD overstated = wiztest::CallCount(testbed::knobs::kCallExtensionRoomOverstated);
    namespace knobs = testbed::knobs;
    for (DWORD fault : {knobs::kExtensionValuePastEnd, knobs::kExtensionOidUnterminated,
                        knobs::kExtensionShortRecord, knobs::kExtensionSizeOverstated,
                        knobs::kExtensionEmpty, knobs::kExtensionEndless}) {
        SCOPED_TRACE(fault);
        wiztest::ScopedValue knob(HKEY_LOCAL_MACHINE, knobs::kProvider, knobs::kExtensionFault,
                                  fault);
        Rows rows = Check(L"faults");
        SCOPED_TRACE(Dump(rows));
        EXPECT_EQ(kSucceeded, rows[0]);
        if (fault == knobs::kExtensionSizeOverstated)
            EXPECT_EQ(honest, Labels(ExtensionRows(rows))) << "the records themselves are sound";
        else if (fault == knobs::kExtensionEmpty)
            EXPECT_TRUE(ExtensionRows(rows).empty());
        else if (fault == knobs::kExtensionEndless)
            EXPECT_LT(honest.size(), ExtensionRows(rows).size()) << "the first one again and again";
        else
            EXPECT_EQ(std::vector<std::wstring>{kExtensions}, Labels(ExtensionRows(rows)));
    }
    EXPECT_EQ(overstated, wiztest::CallCount(testbed::knobs::kCallExtensionRoomOverstated))
        << "a fetch offered the provider more room than the buffer has";
}

// The record parser on records that end where readable memory ends.
TEST(ExtensionRecord, ReadsNothingPastTheRecord) {
    SYSTEM_INFO system{};
    ::GetSystemInfo(&system);
    const size_t page = system.dwPageSize;
    auto memory = static_cast<BYTE*>(
        ::VirtualAlloc(nullptr, 2 * page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    ASSERT_TRUE(memory);
    DWORD old = 0;
    ASSERT_TRUE(::VirtualProtect(memory + page, page, PAGE_NOACCESS, &old));
    // Copies `record` so that its last byte is the last readable one.
    auto atEdge = [&](const std::vector<BYTE>& record) {
        BYTE* at = memory + page - record.size();
        std::copy(record.begin(), record.end(), at);
        return applet::ParseExtensionRecord(at, record.size());
    };
    auto record = [](DWORD critical, DWORD length, std::vector<BYTE> value, const char* oid,
                     bool terminated) {
        const size_t oidSize = std::strlen(oid) + (terminated ? 1 : 0);
        std::vector<BYTE> bytes(8 + value.size() + oidSize);
        std::memcpy(bytes.data(), &critical, 4);
        std::memcpy(bytes.data() + 4, &length, 4);
        std::copy(value.begin(), value.end(), bytes.begin() + 8);
        std::memcpy(bytes.data() + 8 + value.size(), oid, oidSize);
        return bytes;
    };

    std::optional<applet::ExtensionItem> item = atEdge(record(1, 3, {1, 2, 3}, "1.2.3", true));
    ASSERT_TRUE(item);
    EXPECT_EQ(1, item->critical);
    EXPECT_EQ(3u, item->length);
    EXPECT_EQ(2, item->value[1]);
    EXPECT_EQ("1.2.3", item->oid);
    EXPECT_FALSE(atEdge(record(0, 4, {1, 2, 3}, "", false))) << "a value past the end";
    EXPECT_FALSE(atEdge(record(0, 3, {1, 2, 3}, "1.2.3", false))) << "an unterminated identifier";
    EXPECT_FALSE(atEdge({1, 0, 0, 0, 3, 0, 0})) << "shorter than its header";
    EXPECT_FALSE(atEdge(record(0, 0xFFFFFFF8u, {}, "", true))) << "a length that wraps";
    ::VirtualFree(memory, 0, MEM_RELEASE);
}

TEST_F(CheckSequence, CopiesInTheOwnersStoresWithAndWithoutTheirKeyLink) {
    fixtures::Made user = Make(Spec(L"stores"));
    fixtures::ContainerSpec machineSpec = Spec(L"stores-machine");
    machineSpec.machine = true;
    fixtures::Made machine = Make(machineSpec);
    const std::wstring name = L"kv-check-stores";

    StoredCopy linked(CERT_SYSTEM_STORE_CURRENT_USER, L"My", user.certificates[0], name);
    StoredCopy unlinked(CERT_SYSTEM_STORE_CURRENT_USER, L"AddressBook", user.certificates[0]);
    StoredCopy machineCopy(CERT_SYSTEM_STORE_LOCAL_MACHINE, L"My", machine.certificates[0],
                           L"kv-check-stores-machine", true);

    Rows rows = Check(L"stores");
    {
        SCOPED_TRACE(Dump(rows));
        EXPECT_EQ(kSucceeded, rows[0]) << "copies in stores never fail the container";
        const Rows key = ExchangeRows(rows);
        auto at = [&](const std::wstring& store) {
            auto it = std::find_if(key.begin(), key.end(), [&](const Row& r) {
                return r.second == store && (r.first == kInStore || r.first == L"  ");
            });
            return static_cast<size_t>(it - key.begin());
        };
        const size_t my = at(L"My"), book = at(L"AddressBook");
        ASSERT_LT(my + 2, key.size());
        ASSERT_LT(book + 2, key.size());
        // The first store met carries the label, the next only the indentation.
        EXPECT_EQ(my < book ? kInStore : L"  ", key[my].first);
        EXPECT_EQ(book < my ? kInStore : L"  ", key[book].first);
        const std::wstring subject = Values(key, kSubject)[0];
        EXPECT_EQ(Row(L"  ", L"  " + subject), key[my + 1]);
        EXPECT_EQ(Row(L"  ", L"\t    " + name + L"; Kelvane Vestra CSP; 75"), key[my + 2]);
        EXPECT_EQ(Row(L"  ", L"  " + subject), key[book + 1]);
        EXPECT_EQ(Row(L"  ", L"       does not have private key link"), key[book + 2]);
        EXPECT_TRUE(Has(SignatureRows(rows), kInStore, L"not installed"));
    }
    // The computer's choice looks in the computer's stores. (Wine's user stores show the
    // computer's certificates as well, so only this direction tells the two apart.)
    rows = Check(L"stores-machine", true, 1);
    EXPECT_TRUE(Has(ExchangeRows(rows), kInStore, L"My")) << Dump(rows);
    rows = Check(L"stores", false, 1);
    EXPECT_TRUE(Has(ExchangeRows(rows), kInStore, L"not installed")) << Dump(rows);
}

// crypt32 reads the algorithms' names once, when it loads: the check runs in a second copy of
// this program, started while the exchange algorithm's entry is away.
TEST_F(CheckSequence, AnAlgorithmWithoutOidInformationShowsItsIdentifier) {
    const std::wstring key =
        L"SOFTWARE\\Microsoft\\Cryptography\\OID\\EncodingType 0\\CryptDllFindOIDInfo\\"
        L"1.2.643.2.2.98!3";
    struct Value {
        std::wstring name;
        DWORD type;
        fixtures::Bytes data;
    };
    std::vector<Value> saved;
    {
        ui::UniqueHKey hkey;
        ASSERT_EQ(ERROR_SUCCESS,
                  ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, hkey.put()));
        for (DWORD i = 0;; ++i) {
            wchar_t name[256];
            DWORD nameLength = 256, type = 0, size = 0;
            if (::RegEnumValueW(hkey.get(), i, name, &nameLength, nullptr, &type, nullptr, &size))
                break;
            Value value{name, type, fixtures::Bytes(size)};
            nameLength = 256;
            ::RegEnumValueW(hkey.get(), i, name, &nameLength, nullptr, nullptr, value.data.data(),
                            &size);
            saved.push_back(value);
        }
    }
    ASSERT_FALSE(saved.empty());
    ASSERT_EQ(ERROR_SUCCESS, ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str()));

    const DWORD code =
        driver::RunTestsInNewProcess(L"CheckSequence.DISABLED_UnnamedExchangeAlgorithm");
    for (const Value& value : saved)
        ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), value.name.c_str(), value.type,
                          value.data.data(), static_cast<DWORD>(value.data.size()));
    EXPECT_EQ(0u, code) << "the check in the second program (its output is above)";
}

// Run by the test above, in a program whose crypt32 knows no name for the exchange algorithm.
TEST_F(CheckSequence, DISABLED_UnnamedExchangeAlgorithm) {
    Make(Spec(L"unnamed"));
    Rows rows = Check(L"unnamed");
    SCOPED_TRACE(Dump(rows));
    EXPECT_EQ(std::vector<std::wstring>{L"0xAA24"}, Values(ExchangeRows(rows), kAlgorithm));
    EXPECT_EQ(std::vector<std::wstring>{L"GOST R 34.10-2001"},
              Values(SignatureRows(rows), kAlgorithm));
    EXPECT_EQ(kSucceeded, rows[0]);
}

TEST(CheckReportText, PadsLabelsToThirtyColumnsAndKeepsLongerOnesWhole) {
    const std::wstring longLabel = L"a label of more than thirty characters";
    EXPECT_EQ(
        L"Check container succeed        \tno errors were detected\r\n"
        L"Private key container          \t\r\n" +
            longLabel + L" \tvalue\r\n",
        applet::ReportText({{L"Check container succeed", L"no errors were detected"},
                            {L"Private key container", L""},
                            {longLabel, L"value"}}));
    EXPECT_EQ(L"", applet::ReportText({}));
}

TEST(CheckReportText, SerialNumbersReadFromTheirMostSignificantByte) {
    BYTE bytes[] = {0xD5, 0xC4, 0xB3, 0xA2, 0x01};  // least significant first
    EXPECT_EQ(L"01A2 B3C4 D5", applet::FormatSerialNumber({5, bytes}));
    EXPECT_EQ(L"A2B3 C4D5", applet::FormatSerialNumber({4, bytes}));
    EXPECT_EQ(L"D5", applet::FormatSerialNumber({1, bytes}));
}

}  // namespace
