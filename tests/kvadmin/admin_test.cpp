// kvadmin.exe run as a process against the testbed's providers: what it refuses, what each
// command reports next to what the fixture maker made, and what the link repair writes.
#include "admin_run.h"
#include "applet/module_state.h"
#include "fixtures.h"
#include "ui/handles.h"
#include "wizards/certificate_info.h"
#include "wizards/container_check.h"

#include <gtest/gtest.h>

namespace {

using namespace admintest;
using nlohmann::json;

// The in-process check reads the applet's strings through the product's support library, which
// is found by the AppPath entry of the program that asks.
class ProductStrings : public ::testing::Environment {
public:
    void SetUp() override {
        const std::wstring self = applet::ModulePath();
        key_ = L"SOFTWARE\\Kelvane\\Cryptography\\CurrentVersion\\AppPath\\" +
               self.substr(self.find_last_of(L'\\') + 1);
        ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key_.c_str(), nullptr, REG_SZ, self.c_str(),
                          static_cast<DWORD>((self.size() + 1) * sizeof(wchar_t)));
    }
    void TearDown() override { ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key_.c_str()); }

private:
    std::wstring key_;
};
const auto* const g_strings = ::testing::AddGlobalTestEnvironment(new ProductStrings);

class Rows : public applet::CheckReport {
public:
    std::vector<applet::ReportRow> rows;
    void Clear() override { rows.clear(); }
    void AddRow(const std::wstring& label, const std::wstring& value, bool onTop) override {
        rows.insert(onTop ? rows.begin() : rows.end(), {label, value});
    }
};

fixtures::ContainerSpec Spec(const std::wstring& name, bool machine) {
    fixtures::ContainerSpec spec;
    spec.name = name;
    spec.provider = kProvider;
    spec.type = kType;
    spec.machine = machine;
    return spec;
}

// Containers of the test, deleted when it ends.
class Containers {
public:
    explicit Containers(bool machine) : machine_(machine) {}
    ~Containers() {
        for (const std::wstring& name : names_)
            fixtures::DeleteContainer(kProvider, kType, machine_, name);
    }
    fixtures::Made Make(fixtures::ContainerSpec spec) {
        fixtures::Made made;
        names_.push_back(spec.name);
        EXPECT_EQ(0u, fixtures::MakeContainer(spec, &made)) << Utf8(spec.name);
        return made;
    }

private:
    bool machine_;
    std::vector<std::wstring> names_;
};

std::wstring Unique(const std::wstring& container) {
    ui::UniqueCryptProv prov;
    if (!::CryptAcquireContextW(prov.put(), container.c_str(), kProvider, kType,
                                CRYPT_MACHINE_KEYSET))
        return {};
    char name[512] = {};
    DWORD size = sizeof(name);
    ::CryptGetProvParam(prov.get(), PP_UNIQUE_CONTAINER, reinterpret_cast<BYTE*>(name), &size, 0);
    return std::wstring(name, name + ::strnlen(name, sizeof(name)));
}

TEST(Kvadmin, RefusesBadInputWithOneLineOnStderrExitTwoAndNothingWritten) {
    // Each line names what is wrong: the word given, or the limit it broke.
    const std::pair<std::vector<std::wstring>, const char*> cases[] = {
        {{}, "kvadmin --help"},
        {{L"frobnicate"}, "frobnicate"},
        {{L"list", L"--bogus"}, "--bogus"},
        {{L"check"}, "check"},
        {{L"check", std::wstring(261, L'n')}, "260"},
        {{L"check", L"a", L"b"}, "'b'"},
        {{L"check", L"a", L"--provider"}, "--provider"},
        {{L"list", L"--provider", L"No Such CSP"}, "No Such CSP"},
        {{L"list", L"--json", L"--csv"}, "--csv"},
        {{L"links", L"--user", L"--machine"}, "--machine"},
        {{L"links", L"--dry-run"}, "--repair"},
        {{L"links", L"--csv"}, "--csv"},
        {{L"list", L"--expiring", L"soon"}, "soon"},
    };
    for (const auto& [arguments, named] : cases) {
        std::string line;
        for (const auto& argument : arguments) line += " " + Utf8(argument).substr(0, 20);
        SCOPED_TRACE("kvadmin" + line);
        const Outcome run = RunAdmin(arguments);
        EXPECT_EQ(2u, run.exitCode);
        EXPECT_EQ("", run.out);
        const auto lines = Lines(run.err);
        ASSERT_EQ(1u, lines.size()) << run.err;
        EXPECT_EQ(0u, lines[0].find("kvadmin: ")) << run.err;
        EXPECT_NE(std::string::npos, lines[0].find(named)) << run.err;
    }

    for (const std::vector<std::wstring>& help :
         {std::vector<std::wstring>{L"--help"}, {L"check", L"--help"}, {L"links", L"--help"}}) {
        const Outcome run = RunAdmin(help);
        EXPECT_EQ(0u, run.exitCode);
        EXPECT_NE(std::string::npos, run.out.find("kvadmin")) << run.out;
    }
    EXPECT_NE(std::string::npos, RunAdmin({L"--version"}).out.find("5.0.0.1"));
}

TEST(Kvadmin, CheckWritesTheWizardsRowsAndTellsTheVerdictByExitCode) {
    Containers containers(false);
    struct Case {
        const wchar_t* name;
        bool expired;
        DWORD exitCode;
    };
    for (const Case& c :
         {Case{L"kvadmin-check-good", false, 0}, Case{L"kvadmin-check-old", true, 1}}) {
        SCOPED_TRACE(Utf8(c.name));
        fixtures::ContainerSpec spec = Spec(c.name, false);
        spec.certificateExpired = c.expired;
        containers.Make(spec);

        Rows wizard;
        {
            ui::UniqueCryptProv prov;
            ASSERT_TRUE(::CryptAcquireContextW(prov.put(), c.name, kProvider, kType, 0));
            applet::RunContainerCheck(prov.get(), 0, wizard);
        }
        const Outcome text = RunAdmin({L"check", c.name, L"--provider", kProvider});
        EXPECT_EQ(c.exitCode, text.exitCode) << text.err;
        EXPECT_EQ(Utf8(applet::ReportText(wizard.rows)), text.out);

        const Outcome document = RunAdmin({L"check", c.name, L"--provider", kProvider, L"--json"});
        EXPECT_EQ(c.exitCode, document.exitCode);
        const json parsed = document.Json();
        EXPECT_EQ("check", parsed["command"]);
        EXPECT_EQ(c.exitCode == 0, parsed["summary"]["passed"]);
        ASSERT_EQ(wizard.rows.size(), parsed["results"].size());
        for (size_t i = 0; i < wizard.rows.size(); ++i) {
            EXPECT_EQ(Utf8(wizard.rows[i].first), parsed["results"][i]["label"]);
            EXPECT_EQ(Utf8(wizard.rows[i].second), parsed["results"][i]["value"]);
        }
    }
    const Outcome missing =
        RunAdmin({L"check", L"kvadmin-no-such", L"--provider", kProvider, L"--json"});
    EXPECT_EQ(2u, missing.exitCode);
    EXPECT_EQ("", missing.out);
    EXPECT_NE(std::string::npos, missing.err.find("kvadmin-no-such")) << missing.err;
    EXPECT_TRUE(missing.Names(static_cast<DWORD>(NTE_BAD_KEYSET))) << missing.err;
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
        if (entry["container"] == name || entry["serial"] == name) return &entry;
    return nullptr;
}

// RFC 4180 fields: a doubled quote inside quotes is one quote.
std::vector<std::string> CsvFields(const std::string& line) {
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '"' && !(quoted && line.compare(i, 2, "\"\"") == 0 && ++i))
            quoted = !quoted;
        else if (line[i] == ',' && !quoted)
            fields.emplace_back();
        else
            fields.back() += line[i];
    }
    return fields;
}

TEST(Kvadmin, ListReportsWhatTheFixtureMadeAsJsonAndCsvAndFiltersExpiring) {
    Containers containers(true);
    const fixtures::Made both = containers.Make(Spec(L"kvadmin-list-both", true));
    fixtures::ContainerSpec signature = Spec(L"kvadmin-list-signature", true);
    signature.exchange = false;
    signature.exportable = false;
    signature.certificate = fixtures::Certificate::kNone;
    containers.Make(signature);
    fixtures::ContainerSpec old = Spec(L"kvadmin-list-old", true);
    old.certificateExpired = true;
    containers.Make(old);

    const std::vector<std::wstring> list = {L"list", L"--machine", L"--provider", kProvider};
    auto with = [&](std::initializer_list<std::wstring> more) {
        std::vector<std::wstring> arguments = list;
        arguments.insert(arguments.end(), more);
        return RunAdmin(arguments);
    };
    const Outcome run = with({L"--json"});
    EXPECT_EQ(0u, run.exitCode) << run.err;
    const json document = run.Json();
    EXPECT_EQ("list", document["command"]);
    EXPECT_EQ(document["results"].size(), document["summary"]["containers"]);

    const json* entry = Entry(document, "kvadmin-list-both");
    ASSERT_TRUE(entry) << document.dump(1);
    EXPECT_EQ("machine", (*entry)["owner"]);
    EXPECT_EQ(Utf8(kProvider), (*entry)["provider"]);
    EXPECT_EQ(Utf8(Unique(L"kvadmin-list-both")), (*entry)["unique_name"]);
    EXPECT_TRUE((*entry)["error"].is_null());
    ASSERT_EQ(2u, (*entry)["keys"].size());
    for (int i = 0; i < 2; ++i) {
        const json& key = (*entry)["keys"][i];
        EXPECT_EQ(i == 0 ? "exchange" : "signature", key["key"]);
        EXPECT_EQ(true, key["exportable"]);
        EXPECT_EQ(Serial(both.certificates[i]), key["certificate"]["serial"]);
        const long days = key["certificate"]["days_left"];
        EXPECT_TRUE(days == 364 || days == 365) << days;
    }
    entry = Entry(document, "kvadmin-list-signature");
    ASSERT_TRUE(entry);
    ASSERT_EQ(1u, (*entry)["keys"].size());
    EXPECT_EQ("signature", (*entry)["keys"][0]["key"]);
    EXPECT_EQ(false, (*entry)["keys"][0]["exportable"]);
    EXPECT_TRUE((*entry)["keys"][0]["certificate"].is_null());

    // The CSV says the same, a line per key.
    const Outcome csv = with({L"--csv"});
    EXPECT_EQ(0u, csv.exitCode);
    const auto lines = Lines(csv.out);
    ASSERT_FALSE(lines.empty());
    const auto header = CsvFields(lines[0]);
    EXPECT_EQ(15u, header.size());
    size_t ours = 0;
    for (size_t i = 1; i < lines.size(); ++i) {
        const auto fields = CsvFields(lines[i]);
        ASSERT_EQ(header.size(), fields.size()) << lines[i];
        if (fields[3] != "kvadmin-list-both") continue;
        const json& key = (*Entry(document, "kvadmin-list-both"))["keys"][ours++];
        EXPECT_EQ(key["key"], fields[5]);
        EXPECT_EQ(key["certificate"]["subject"], fields[8]);
        EXPECT_EQ(key["certificate"]["not_after"], fields[12]);
    }
    EXPECT_EQ(2u, ours);

    const json expiring = with({L"--expiring", L"0", L"--json"}).Json();
    EXPECT_TRUE(Entry(expiring, "kvadmin-list-old"));
    EXPECT_FALSE(Entry(expiring, "kvadmin-list-both"));
    EXPECT_FALSE(Entry(expiring, "kvadmin-list-signature"));
    EXPECT_TRUE(Entry(with({L"--expiring", L"365", L"--json"}).Json(), "kvadmin-list-both"));
}

TEST(Kvadmin, LinksTellsBrokenLinksAndRepairsOnlyWithAVerifiedKey) {
    ForgetAllLinked();
    Containers containers(true);
    const auto ok = containers.Make(Spec(L"kvadmin-link-ok", true)).certificates[1];
    const auto gone = containers.Make(Spec(L"kvadmin-link-moved", true)).certificates[1];
    const auto wrong = containers.Make(Spec(L"kvadmin-link-wrong", true)).certificates[0];
    const auto lost = containers.Make(Spec(L"kvadmin-link-lost", true)).certificates[1];
    fixtures::DeleteContainer(kProvider, kType, true, L"kvadmin-link-lost");
    PutLinked(ok, Unique(L"kvadmin-link-ok"), AT_SIGNATURE);
    PutLinked(gone, L"kvadmin-link-gone", AT_SIGNATURE);
    PutLinked(wrong, Unique(L"kvadmin-link-ok"), AT_KEYEXCHANGE);
    PutLinked(lost, L"kvadmin-link-lost", AT_SIGNATURE);

    const std::vector<std::wstring> links = {L"links", L"--machine", L"--provider", kProvider,
                                             L"--json"};
    auto with = [&](std::initializer_list<std::wstring> more) {
        std::vector<std::wstring> arguments = links;
        arguments.insert(arguments.end(), more);
        return RunAdmin(arguments);
    };
    // Each certificate's status, what --repair does, and its link before and after.
    const struct {
        const std::vector<BYTE>* certificate;
        const char *status, *repair;
        std::wstring before, after;
    } expected[] = {
        {&ok, "ok", nullptr, Unique(L"kvadmin-link-ok"), Unique(L"kvadmin-link-ok")},
        {&gone, "missing", "relinked", L"kvadmin-link-gone", Unique(L"kvadmin-link-moved")},
        {&wrong, "mismatch", "relinked", Unique(L"kvadmin-link-ok"), Unique(L"kvadmin-link-wrong")},
        {&lost, "missing", "not_found", L"kvadmin-link-lost", L"kvadmin-link-lost"},
    };
    for (const auto& [mode, exitCode] : {std::pair<std::vector<std::wstring>, DWORD>{{}, 1},
                                         {{L"--repair", L"--dry-run"}, 1},
                                         {{L"--repair"}, 1}}) {
        const bool dryRun = mode.size() == 2, repair = !mode.empty();
        SCOPED_TRACE(repair ? (dryRun ? "dry run" : "repair") : "check");
        std::vector<std::wstring> arguments = links;
        arguments.insert(arguments.end(), mode.begin(), mode.end());
        const Outcome run = RunAdmin(arguments);
        EXPECT_EQ(exitCode, run.exitCode) << run.err;
        const json document = run.Json();
        EXPECT_EQ(4u, document["results"].size());
        for (const auto& e : expected) {
            const json* entry = Entry(document, Serial(*e.certificate));
            ASSERT_TRUE(entry) << document.dump(1);
            EXPECT_EQ(e.status, (*entry)["status"]);
            if (repair && e.repair) {
                EXPECT_EQ(dryRun && std::string(e.repair) == "relinked" ? "would_relink" : e.repair,
                          (*entry)["repair"]["action"]);
            } else {
                EXPECT_TRUE((*entry)["repair"].is_null());
            }
            EXPECT_EQ(Utf8(repair && !dryRun ? e.after : e.before),
                      Utf8(LinkedContainer(*e.certificate)));
        }
    }
    // The computer's certificates are listed under the computer only.
    const json user = RunAdmin({L"links", L"--user", L"--provider", kProvider, L"--json"}).Json();
    for (const auto& e : expected) EXPECT_FALSE(Entry(user, Serial(*e.certificate)));
    Forget(lost);
    const Outcome after = with({});
    EXPECT_EQ(0u, after.exitCode) << after.out;
    EXPECT_EQ(3u, after.Json()["summary"]["ok"]);
    for (const auto* certificate : {&ok, &gone, &wrong}) Forget(*certificate);
}

}  // namespace
