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

namespace {

using driver::Narrow;
using Row = applet::ReportRow;
using Rows = std::vector<Row>;
using Strings = std::vector<std::wstring>;
namespace knobs = testbed::knobs;

// Keeps rows the way the report page shows them: ordinary rows in order, on-top rows above.
class Report : public applet::CheckReport {
public:
    void Clear() override { rows.clear(), counter_ = 0; }
    void AddRow(const std::wstring& label, const std::wstring& value, bool onTop) override {
        rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(onTop ? 0 : counter_++),
                    Row(label, value));
    }
    Rows rows;

private:
    size_t counter_ = 0;
};

const Row kSucceeded{L"Check container succeed", L"no errors were detected"};
const Row kFailed{L"Check container failed", L""};
const std::wstring kExchange = L"Exchange key", kSignature = L"Signature key",
                   kExtensions = L"Container extensions", kInContainer = L"  certificate in container",
                   kUsagePeriod = L"Private key usage period",
                   kSubject = L"  subject";

// The rows from the first labelled `from` up to, not including, the next labelled `to`.
Rows Between(const Rows& rows, const std::wstring& from, const std::wstring& to) {
    auto is = [](const std::wstring& l) { return [&l](const Row& r) { return r.first == l; }; };
    auto begin = std::find_if(rows.begin(), rows.end(), is(from));
    return Rows(begin, begin == rows.end() ? begin : std::find_if(begin + 1, rows.end(), is(to)));
}
Rows ExchangeRows(const Rows& rows) { return Between(rows, kExchange, kSignature); }
Rows SignatureRows(const Rows& rows) { return Between(rows, kSignature, L"  keys loading"); }
Rows ExtensionRows(const Rows& rows) { return Between(rows, kExtensions, L"\x1"); }

Strings Labels(const Rows& rows) {
    Strings labels;
    for (const Row& row : rows) labels.push_back(row.first);
    return labels;
}
Strings Values(const Rows& rows, const std::wstring& label) {
    Strings values;
    for (const Row& row : rows)
        if (row.first == label) values.push_back(row.second);
    return values;
}
bool Has(const Rows& rows, const std::wstring& label, const std::wstring& value) {
    return std::find(rows.begin(), rows.end(), Row(label, value)) != rows.end();
}
std::string Dump(const Rows& rows) {
    std::string text;
    for (const Row& row : rows) text += "[" + Narrow(row.first) + "] [" + Narrow(row.second) + "]\n";
    return text;
}
bool StartsWith(const std::wstring& text, const std::wstring& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

class CheckSequence : public ::testing::Test {
protected:
    void SetUp() override { before_ = wiztest::Live(); }
    void TearDown() override {
        for (auto& [name, machine] : made_)
            fixtures::DeleteContainer(kvcsp::kProviderMain, kvcsp::kType2001, machine, name);
        const wiztest::LiveHandles live = wiztest::Live();
        EXPECT_EQ(before_.contexts, live.contexts);
    }

    // A container "kv-check-<what>" of this test, removed afterwards.
    fixtures::Made Make(const std::wstring& what, std::function<void(fixtures::ContainerSpec&)> set = {}) {
        fixtures::ContainerSpec spec;
        spec.name = L"kv-check-" + what;
        if (set) set(spec);
        made_.emplace_back(spec.name, spec.machine);
        fixtures::Made made;
        EXPECT_EQ(0u, fixtures::MakeContainer(spec, &made)) << Narrow(spec.name);
        return made;
    }

    ui::UniqueCryptProv Open(const std::wstring& what, bool machine = false) {
        ui::UniqueCryptProv prov;
        EXPECT_TRUE(::CryptAcquireContextW(prov.put(), (L"kv-check-" + what).c_str(),
                                           kvcsp::kProviderMain, kvcsp::kType2001,
                                           machine ? CRYPT_MACHINE_KEYSET : 0));
        return prov;
    }

    // The check's rows for the container; on the way, that it leaves no key or hash behind.
    Rows Check(const std::wstring& what, bool machine = false, int keySet = -1) {
        ui::UniqueCryptProv prov = Open(what, machine);
        Report report;
        applet::RunContainerCheck(prov.get(), keySet < 0 ? machine : keySet, report);
        const wiztest::LiveHandles live = wiztest::Live();
        EXPECT_EQ(before_.keys, live.keys) << "keys left alive by the check";
        EXPECT_EQ(before_.hashes, live.hashes) << "hashes left alive by the check";
        return report.rows;
    }

private:
    wiztest::LiveHandles before_;
    std::vector<std::pair<std::wstring, bool>> made_;
};

TEST_F(CheckSequence, AForeignOrOutOfDateCertificateFailsTheContainer) {
    const fixtures::Made other = Make(L"other");
    Make(L"mismatch");
    {
        // The exchange key carries the other container's certificate.
        ui::UniqueCryptProv prov = Open(L"mismatch");
        ui::UniqueCryptKey key;
        ASSERT_TRUE(::CryptGetUserKey(prov.get(), AT_KEYEXCHANGE, key.put()));
        ASSERT_TRUE(::CryptSetKeyParam(key.get(), KP_CERTIFICATE, other.certificates[0].data(), 0));
    }
    // The certificate is valid, the private key's period ended yesterday.
    Make(L"expired-key", [](auto& s) { s.usagePeriod = fixtures::Period::kExpired; });
    Make(L"expired-certificate", [](auto& s) { s.certificateExpired = true; });

    Rows rows = Check(L"mismatch");
    EXPECT_EQ(kFailed, rows[0]) << Dump(rows);
    EXPECT_TRUE(Has(ExchangeRows(rows), kInContainer, L"does not match private key"));
    EXPECT_TRUE(Has(SignatureRows(rows), kInContainer, L"match private key"));
    rows = Check(L"expired-key");
    EXPECT_EQ(kFailed, rows[0]) << Dump(rows);
    for (const Rows& key : {ExchangeRows(rows), SignatureRows(rows)})
        EXPECT_EQ(Row(kUsagePeriod, L"expired"), key.back());
    rows = Check(L"expired-certificate");
    EXPECT_EQ(kFailed, rows[0]) << Dump(rows);
    EXPECT_EQ(2u, Values(rows, kUsagePeriod).size());
}

TEST_F(CheckSequence, AnyIntegrityBitFailsTheContainerAndTheCheckGoesOn) {
    Make(L"integrity");
    for (const auto& [state, values] : std::vector<std::pair<DWORD, Strings>>{
             {0x40000001, {L"corrupted", L"unknown corruption"}}, {0x00000001, {L"corrupted"}},
             {0x40000000, {L"unknown corruption"}}, {0x00000004, {}}}) {
        wiztest::ScopedValue integrity(HKEY_LOCAL_MACHINE, knobs::kProvider, knobs::kIntegrity, state);
        const Rows rows = Check(L"integrity");
        SCOPED_TRACE(Dump(rows));
        EXPECT_EQ(kFailed, rows[0]);
        EXPECT_EQ(values, Values(rows, L"  container integrity check"));
        EXPECT_TRUE(Has(rows, L"  keys loading", L"succeed"));
    }
}

// A failed step shows an error row with the error's text. Export and import of the public key
// end that key's checks; the other steps let them go on.
TEST_F(CheckSequence, AFailedStepShowsItsErrorAndEndsOnlyWhatItMust) {
    Make(L"failing", [](auto& s) { s.chain = true; });
    const std::wstring error = L"Error 0x80100069 (-2146434967) ";
    struct Case {
        const wchar_t* entry;
        DWORD nth;
        std::wstring label;
        bool endsExchangeKey;
    };
    for (const Case& c : {Case{L"CPExportKey", 1, L"  public key export", true},
                          Case{L"CPImportKey", 1, L"  public key import", true},
                          Case{L"CPSignHash", 1, L"  signing", false},
                          Case{L"CPImportKey", 2, L"  exchange key agreement", false},
                          Case{L"CPGetProvParam.146", 1, L"  container integrity check", false},
                          Case{L"CPGetProvParam.133", 1, kExtensions, false}}) {
        wiztest::InjectedFailure failure(c.entry, c.nth, static_cast<DWORD>(SCARD_W_REMOVED_CARD));
        const Rows rows = Check(L"failing");
        SCOPED_TRACE(Narrow(c.entry) + " #" + std::to_string(c.nth) + "\n" + Dump(rows));
        EXPECT_EQ(kFailed, rows[0]);
        Strings values;
        for (const std::wstring& value : Values(rows, c.label))
            if (StartsWith(value, L"Error 0x")) values.push_back(value);
        ASSERT_EQ(1u, values.size()) << "one error row";
        EXPECT_TRUE(StartsWith(values[0], error) && values[0].size() > error.size())
            << "the error and its text: " << Narrow(values[0]);
        const Rows exchange = ExchangeRows(rows);
        EXPECT_EQ(c.endsExchangeKey, exchange.back() == Row(c.label, values[0]));
        EXPECT_TRUE(c.label != L"  signing" ||
                    StartsWith(Values(exchange, L"  verifying")[0], L"Error 0x"))
            << "nothing was signed, so nothing verifies";
        EXPECT_TRUE(Has(SignatureRows(rows), L"  verifying", L"succeed")) << "checked in full";
    }
}

TEST_F(CheckSequence, ExtensionsListTheirCertificatesAndALongerRecordEndsTheListing) {
    const fixtures::Made made = Make(L"chain", [](auto& s) { s.chain = true; });
    const Strings details = {L"  certificate name", kSubject,      L"  issuer",
                             L"  valid from",       L"  valid to", L"  serial number"};
    auto labelsOf = [&](Strings extensions, int certificates) {
        Strings labels = {kExtensions};
        for (const std::wstring& extension : extensions) {
            labels.push_back(extension);
            for (int i = 0; i < certificates; ++i)
                labels.insert(labels.end(), details.begin(), details.end());
            certificates = 1;
        }
        return labels;
    };
    Rows rows = Check(L"chain");
    Rows extensions = ExtensionRows(rows);
    EXPECT_EQ(kSucceeded, rows[0]) << Dump(rows);
    EXPECT_EQ(labelsOf({L"  noncritical", L"  noncritical"}, 1), Labels(extensions));
    EXPECT_EQ((Strings{L"1.2.643.2.2.37.3.1", L"1.2.643.2.2.37.3.2"}),
              Values(extensions, L"  noncritical"));
    EXPECT_EQ((Strings{L"Testbed Issuing CA", L"Testbed Root CA"}),
              Values(extensions, L"  certificate name"));

    // Records as the listing meets them: a chain of two, marked critical; a value no decoder
    // reads (no row), shorter; the root alone; an empty value (no row); and a record longer
    // than the one before it, which ends the listing.
    auto der = [](const std::vector<fixtures::Bytes>& certificates) {
        size_t length = 0;
        for (const fixtures::Bytes& c : certificates) length += c.size();
        fixtures::Bytes value = {0x30, 0x82, static_cast<BYTE>(length >> 8),
                                 static_cast<BYTE>(length & 0xFF)};
        for (const fixtures::Bytes& c : certificates) value.insert(value.end(), c.begin(), c.end());
        return value;
    };
    const fixtures::Bytes both = der(made.chain), root = der({made.chain[1]}),
                          unreadable(both.size() - 16, 0x30), empty;
    Make(L"listing");
    {
        ui::UniqueCryptProv prov = Open(L"listing");
        for (const auto& [oid, critical, value] :
             {std::tuple{"1.2.643.2.2.37.3.1", 1, &both}, std::tuple{"1.2.643.2.2.37.99", 0, &unreadable},
              std::tuple{"1.2.643.2.2.37.3.2", 0, &root}, std::tuple{"1.2.643.2.2.37.3.3", 0, &empty},
              std::tuple{"1.2.643.2.2.37.3.3", 1, &both}}) {
            kvcsp::ExtensionRequest request{oid, static_cast<DWORD>(critical),
                                            static_cast<DWORD>(value->size()),
                                            value->empty() ? nullptr : value->data()};
            ASSERT_TRUE(::CryptSetProvParam(prov.get(), kvcsp::kParamAddExtension,
                                            reinterpret_cast<const BYTE*>(&request), 0));
        }
    }
    rows = Check(L"listing");
    extensions = ExtensionRows(rows);
    EXPECT_EQ(labelsOf({L"  critical", L"  noncritical"}, 2), Labels(extensions)) << Dump(rows);
    EXPECT_EQ(Strings{L"1.2.643.2.2.37.3.1"}, Values(extensions, L"  critical"));
    EXPECT_EQ(Strings{L"1.2.643.2.2.37.3.2"}, Values(extensions, L"  noncritical"));
    EXPECT_EQ(kSucceeded, rows[0]) << "extensions never fail the container";
}

// A provider that never ends its extension listing: the check stops after a bounded number.
TEST_F(CheckSequence, AnEndlessExtensionListingEnds) {
    Make(L"endless", [](auto& s) { s.chain = true; });
    const size_t honest = ExtensionRows(Check(L"endless")).size();
    wiztest::ScopedValue knob(HKEY_LOCAL_MACHINE, knobs::kProvider, knobs::kExtensionFault,
                              knobs::kExtensionEndless);
    EXPECT_LT(honest, ExtensionRows(Check(L"endless")).size()) << "the first one again and again";
}

TEST(CheckReportText, SerialNumbersReadFromTheirMostSignificantByte) {
    BYTE bytes[] = {0xD5, 0xC4, 0xB3, 0xA2, 0x01};  // least significant first
    EXPECT_EQ(L"01A2 B3C4 D5", applet::FormatSerialNumber({5, bytes}));
    EXPECT_EQ(L"D5", applet::FormatSerialNumber({1, bytes}));
}

}  // namespace
