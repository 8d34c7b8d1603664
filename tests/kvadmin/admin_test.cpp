// kvadmin.exe run as a process against the testbed's providers: what it refuses, what each
// command reports next to what the fixture maker made, and what the link repair writes.
#include "admin_run.h"
#include "applet/module_state.h"
#include "ui/handles.h"
#include "wizards/certificate_info.h"
#include "wizards/container_check.h"

#include <regex>
#include <sstream>
#include <tuple>

namespace {

using namespace admintest;
using nlohmann::json;
using Args = std::vector<std::wstring>;

struct Rows : applet::CheckReport {
    std::vector<applet::ReportRow> rows;
    void Clear() override { rows.clear(); }
    void AddRow(const std::wstring& label, const std::wstring& value, bool onTop) override {
        rows.insert(onTop ? rows.begin() : rows.end(), {label, value});
    }
};

std::wstring Unique(const std::wstring& container) {
    ui::UniqueCryptProv prov;
    char name[512] = {};
    DWORD size = sizeof(name);
    if (::CryptAcquireContextW(prov.put(), container.c_str(), kProvider, kType,
                               CRYPT_MACHINE_KEYSET))
        ::CryptGetProvParam(prov.get(), PP_UNIQUE_CONTAINER, reinterpret_cast<BYTE*>(name), &size,
                            0);
    return std::wstring(name, name + ::strnlen(name, sizeof(name)));
}

TEST(Kvadmin, RefusesBadInputWithOneLineOnStderrExitTwoAndNothingWritten) {
    // Each line names what is wrong: the word given, or the limit it broke.
    const std::pair<Args, const char*> cases[] = {
        {{}, "kvadmin --help"},
        {{L"frobnicate"}, "frobnicate"},
        {{L"list", L"--bogus"}, "--bogus"},
        {{L"check"}, "check"},
        {{L"check", std::wstring(261, L'n')}, "260"},
        {{L"check", L"a", L"b"}, "'b'"},
        {{L"list", L"--provider", L"No Such CSP"}, "No Such CSP"},
        {{L"list", L"--json", L"--csv"}, "--csv"},
        {{L"links", L"--dry-run"}, "--repair"},
        {{L"list", L"--expiring", L"soon"}, "soon"},
        {{L"settings"}, "export, import or diff"},
        {{L"settings", L"export"}, "'settings export'"},
        {{L"settings", L"import", L"a.json", L"--scope", L"user"}, "--scope"},
        {{L"check", L"kvadmin-no-such", L"--provider", kProvider}, "0x80090016"},  // NTE_BAD_KEYSET
    };
    for (const auto& [arguments, named] : cases) {
        const Outcome run = RunAdmin(arguments);
        EXPECT_TRUE(run.exitCode == 2 && run.out.empty() &&
                    run.err.find("\r\n") + 2 == run.err.size() &&
                    run.err.rfind("kvadmin: ", 0) == 0 && run.err.find(named) != std::string::npos)
            << run.exitCode << "\n"
            << run.out << run.err;
    }
}

TEST(Kvadmin, CheckWritesTheWizardsRowsAndTellsTheVerdictByExitCode) {
    // The in-process check finds the applet's strings by the AppPath entry of this program.
    const std::wstring self = applet::ModulePath(),
                       strings = L"SOFTWARE\\Kelvane\\Cryptography\\CurrentVersion\\AppPath\\" +
                                 self.substr(self.find_last_of(L'\\') + 1);
    ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, strings.c_str(), nullptr, REG_SZ, self.c_str(),
                      static_cast<DWORD>((self.size() + 1) * sizeof(wchar_t)));
    Containers containers{false};
    for (const auto& [name, exitCode] :
         {std::pair<std::wstring, DWORD>{L"kvadmin-check-good", 0}, {L"kvadmin-check-old", 1}}) {
        containers.Make(name, exitCode == 1);
        Rows wizard;
        ui::UniqueCryptProv prov;
        ASSERT_TRUE(::CryptAcquireContextW(prov.put(), name.c_str(), kProvider, kType, 0));
        applet::RunContainerCheck(prov.get(), 0, wizard);
        prov.reset();
        const Outcome text = RunAdmin({L"check", name, L"--provider", kProvider});
        const Outcome document = RunAdmin({L"check", name, L"--provider", kProvider}, {L"--json"});
        EXPECT_EQ(std::pair(exitCode, exitCode), std::pair(text.exitCode, document.exitCode));
        EXPECT_EQ(Utf8(applet::ReportText(wizard.rows)), text.out);
        json rows = json::array();
        for (const auto& [label, value] : wizard.rows)
            rows.push_back({{"label", Utf8(label)}, {"value", Utf8(value)}});
        EXPECT_EQ(rows, document.Json()["results"]);
    }
    ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, strings.c_str());
}

// The serial as the wizards show it.
std::string Serial(const std::vector<BYTE>& encoded) {
    ui::UniqueCertContext certificate(::CertCreateCertificateContext(
        X509_ASN_ENCODING, encoded.data(), static_cast<DWORD>(encoded.size())));
    return Utf8(applet::FormatSerialNumber(certificate.get()->pCertInfo->SerialNumber));
}

// The result of that container, or of the certificate of that serial.
const json* Entry(const json& document, const std::string& name) {
    for (const json& entry : document["results"])
        if (entry.value("container", json()) == name || entry.value("serial", json()) == name)
            return &entry;
    return nullptr;
}

// RFC 4180 fields: a doubled quote inside quotes is one quote.
std::vector<std::string> CsvFields(const std::string& line) {
    static const std::regex field(R"re((?:^|,)(?:"((?:[^"]|"")*)"|([^,\r]*)))re"), quote("\"\"");
    std::vector<std::string> fields;
    for (std::sregex_iterator it(line.begin(), line.end(), field), end; it != end; ++it)
        fields.push_back((*it)[1].matched ? std::regex_replace((*it)[1].str(), quote, "\"")
                                          : (*it)[2].str());
    return fields;
}

TEST(Kvadmin, ListAndLinksReportWhatTheFixtureMadeAndRepairOnlyWithAVerifiedKey) {
    Containers containers{true};
    const fixtures::Made both = containers.Make(L"kvadmin-list-both");
    containers.Make(L"kvadmin-list-old", true);
    const Args list = {L"list", L"--machine", L"--provider", kProvider};

    const json document = RunAdmin(list, {L"--json"}).Json();
    const json* entry = Entry(document, "kvadmin-list-both");
    ASSERT_TRUE(entry) << document.dump(1);
    const json& keys = (*entry)["keys"];
    ASSERT_EQ(2u, keys.size());
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(i == 0 ? "exchange" : "signature", keys[i]["key"]);
        EXPECT_EQ(Serial(both.certificates[i]), keys[i]["certificate"]["serial"]);
    }

    // The CSV says the same, a line per key.
    std::istringstream csv(RunAdmin(list, {L"--csv"}).out);
    size_t ours = 0;
    for (std::string line; std::getline(csv, line);) {
        const auto fields = CsvFields(line);
        ASSERT_EQ(15u, fields.size()) << line;
        if (fields[3] != "kvadmin-list-both") continue;
        const json& key = keys[ours++];
        EXPECT_EQ(
            json({key["key"], key["certificate"]["subject"], key["certificate"]["not_after"]}),
            json({fields[5], fields[8], fields[12]}));
    }
    EXPECT_EQ(2u, ours);

    const json expiring = RunAdmin(list, {L"--expiring", L"0", L"--json"}).Json();
    EXPECT_TRUE(Entry(expiring, "kvadmin-list-old"));
    EXPECT_FALSE(Entry(expiring, "kvadmin-list-both"));

    // The links of the computer's certificates: broken ones told, repaired where the key is found.
    ForgetAllLinked();
    const auto gone = containers.Make(L"kvadmin-link-moved").certificates[1];
    const auto wrong = containers.Make(L"kvadmin-link-wrong").certificates[0];
    const auto lost = containers.Make(L"kvadmin-link-lost").certificates[1];
    fixtures::DeleteContainer(kProvider, kType, true, L"kvadmin-link-lost");

    // Each certificate's link as put, its status, what --repair does and its link after.
    const std::wstring okName = Unique(L"kvadmin-list-both");
    using Link = std::tuple<const std::vector<BYTE>&, DWORD, std::wstring, std::string, std::string,
                            std::wstring>;
    const Link expected[] = {
        {both.certificates[1], AT_SIGNATURE, okName, "ok", "", okName},
        {gone, AT_SIGNATURE, L"kvadmin-link-gone", "missing", "relinked",
         Unique(L"kvadmin-link-moved")},
        {wrong, AT_KEYEXCHANGE, okName, "mismatch", "relinked", Unique(L"kvadmin-link-wrong")},
        {lost, AT_SIGNATURE, L"kvadmin-link-lost", "missing", "not_found", L"kvadmin-link-lost"},
    };
    for (const auto& [certificate, spec, before, status, repair, after] : expected)
        PutLinked(certificate, before, spec);
    for (const Args& mode : {Args{}, Args{L"--repair", L"--dry-run"}, Args{L"--repair"}}) {
        const bool dryRun = mode.size() == 2, repairing = !mode.empty();
        SCOPED_TRACE(repairing ? (dryRun ? "dry run" : "repair") : "check");
        const Outcome run =
            RunAdmin({L"links", L"--machine", L"--provider", kProvider, L"--json"}, mode);
        EXPECT_EQ(1u, run.exitCode) << run.err;
        const json document = run.Json();
        for (const auto& [certificate, spec, before, status, repair, after] : expected) {
            const json* entry = Entry(document, Serial(certificate));
            ASSERT_TRUE(entry) << document.dump(1);
            EXPECT_EQ(status, (*entry)["status"]);
            const std::string action = !repairing                  ? ""
                                       : dryRun && after != before ? "would_relink"
                                                                   : repair;
            EXPECT_EQ(action, (*entry)["repair"].is_null() ? "" : (*entry)["repair"]["action"]);
            EXPECT_EQ(Utf8(repairing && !dryRun ? after : before),
                      Utf8(LinkedContainer(certificate)));
        }
    }
    ForgetAllLinked();
}

}  // namespace
