// The container check on containers of the stand-in provider, read back row by row: what a
// person sees in the report, without the window.
#include "driver/driver.h"
#include "fixtures.h"
#include "kvcsp.h"
#include "testbed/knobs.h"
#include "ui/handles.h"
#include "wizard_fixture.h"
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
                   kExtensions = L"Container extensions";

// The rows from the first labelled `from` up to, not including, the next labelled `to`.
Rows Between(const Rows& rows, const std::wstring& from, const std::wstring& to) {
    auto is = [](const std::wstring& l) { return [&l](const Row& r) { return r.first == l; }; };
    auto begin = std::find_if(rows.begin(), rows.end(), is(from));
    return Rows(begin, begin == rows.end() ? begin : std::find_if(begin + 1, rows.end(), is(to)));
}
Rows ExchangeRows(const Rows& rows) { return Between(rows, kExchange, kSignature); }
Rows ExtensionRows(const Rows& rows) { return Between(rows, kExtensions, L"\x1"); }

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

    ui::UniqueCryptProv Open(const std::wstring& what) {
        ui::UniqueCryptProv prov;
        EXPECT_TRUE(::CryptAcquireContextW(prov.put(), (L"kv-check-" + what).c_str(),
                                           kvcsp::kProviderMain, kvcsp::kType2001, 0));
        return prov;
    }

    // The check's rows for the container; on the way, that it leaves no key or hash behind.
    Rows Check(const std::wstring& what) {
        ui::UniqueCryptProv prov = Open(what);
        Report report;
        applet::RunContainerCheck(prov.get(), 0, report);
        const wiztest::LiveHandles live = wiztest::Live();
        EXPECT_EQ(before_.keys, live.keys) << "keys left alive by the check";
        EXPECT_EQ(before_.hashes, live.hashes) << "hashes left alive by the check";
        return report.rows;
    }

private:
    wiztest::LiveHandles before_;
    std::vector<std::pair<std::wstring, bool>> made_;
};

TEST_F(CheckSequence, AForeignCertificateAnExpiredKeyOrAnyIntegrityBitFailsTheContainer) {
    const fixtures::Made other = Make(L"other");
    Make(L"mismatch");
    {
        // The exchange key carries the other container's certificate.
        ui::UniqueCryptProv prov = Open(L"mismatch");
        ui::UniqueCryptKey key;
        ASSERT_TRUE(::CryptGetUserKey(prov.get(), AT_KEYEXCHANGE, key.put()));
        ASSERT_TRUE(::CryptSetKeyParam(key.get(), KP_CERTIFICATE, other.certificates[0].data(), 0));
    }
    Rows rows = Check(L"mismatch");
    EXPECT_EQ(kFailed, rows[0]) << Dump(rows);
    EXPECT_TRUE(Has(ExchangeRows(rows), L"  certificate in container", L"does not match private key"));
    // The certificate is valid, the private key's period ended yesterday.
    Make(L"expired-key", [](auto& s) { s.usagePeriod = fixtures::Period::kExpired; });
    rows = Check(L"expired-key");
    EXPECT_EQ(kFailed, rows[0]) << Dump(rows);
    EXPECT_EQ(Row(L"Private key usage period", L"expired"), ExchangeRows(rows).back());
    // A bit the applet has no words for, and the check goes on.
    wiztest::ScopedValue integrity(HKEY_LOCAL_MACHINE, knobs::kProvider, knobs::kIntegrity,
                                   0x40000000);
    rows = Check(L"other");
    EXPECT_EQ(kFailed, rows[0]) << Dump(rows);
    EXPECT_EQ(Strings{L"unknown corruption"}, Values(rows, L"  container integrity check"));
    EXPECT_TRUE(Has(rows, L"  keys loading", L"succeed"));
}

// A failed step shows an error row with the error's text. Export of the public key ends that
// key's checks; the other steps let them go on.
TEST_F(CheckSequence, AFailedStepShowsItsErrorAndEndsOnlyWhatItMust) {
    Make(L"failing", [](auto& s) { s.chain = true; });
    const std::wstring error = L"Error 0x80100069 (-2146434967) ";
    struct Case {
        const wchar_t* entry;
        std::wstring label;
        bool endsExchangeKey;
    };
    for (const Case& c : {Case{L"CPExportKey", L"  public key export", true},
                          Case{L"CPSignHash", L"  signing", false},
                          Case{L"CPGetProvParam.133", kExtensions, false}}) {
        wiztest::InjectedFailure failure(c.entry, 1, static_cast<DWORD>(SCARD_W_REMOVED_CARD));
        const Rows rows = Check(L"failing");
        SCOPED_TRACE(Narrow(c.entry) + "\n" + Dump(rows));
        EXPECT_EQ(kFailed, rows[0]);
        const Strings values = Values(rows, c.label);
        ASSERT_EQ(0u, values.front().find(error)) << "the error and its text";
        EXPECT_LT(error.size(), values.front().size());
        EXPECT_EQ(c.endsExchangeKey, ExchangeRows(rows).back() == Row(c.label, values.front()));
    }
}

TEST_F(CheckSequence, ALongerExtensionRecordEndsTheListingAndAnEndlessOneEndsToo) {
    const fixtures::Made made = Make(L"chain", [](auto& s) { s.chain = true; });
    const Strings details = {L"  certificate name", L"  subject",  L"  issuer",
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
    const Rows rows = Check(L"listing");
    const Rows extensions = ExtensionRows(rows);
    Strings labels;
    for (const Row& row : extensions) labels.push_back(row.first);
    EXPECT_EQ(labelsOf({L"  critical", L"  noncritical"}, 2), labels) << Dump(rows);
    EXPECT_EQ(Strings{L"1.2.643.2.2.37.3.1"}, Values(extensions, L"  critical"));
    EXPECT_EQ(Strings{L"1.2.643.2.2.37.3.2"}, Values(extensions, L"  noncritical"));
    EXPECT_EQ(kSucceeded, rows[0]) << "extensions never fail the container";

    // A provider that never ends its listing: the check stops after a bounded number.
    const size_t honest = ExtensionRows(Check(L"chain")).size();
    wiztest::ScopedValue knob(HKEY_LOCAL_MACHINE, knobs::kProvider, knobs::kExtensionFault,
                              knobs::kExtensionEndless);
    EXPECT_LT(honest, ExtensionRows(Check(L"chain")).size()) << "the first one again and again";
}

}  // namespace
