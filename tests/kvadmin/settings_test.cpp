// kvadmin settings against the testbed's store: profiles it refuses whole, and an import that
// meets a value the store will not take.
#include "admin_run.h"

#include "testbed/knobs.h"

#include <algorithm>
#include <functional>

namespace {

using namespace admintest;
using nlohmann::ordered_json;

constexpr wchar_t kParameters[] = L"Parameters";

std::optional<DWORD> Tls(const wchar_t* name) {
    return StoreNumber(L"config", kParameters, name);
}

// The store's value of `path` granted only `rights` for the length of a scope.
struct Denied {
    explicit Denied(const std::wstring& path, DWORD rights) : path(path) {
        ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, testbed::knobs::kAccess, path.c_str(), REG_DWORD,
                          &rights, sizeof(rights));
    }
    ~Denied() { ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, testbed::knobs::kAccess, path.c_str()); }
    std::wstring path;
};

TEST(KvadminSettings, RefusesAFaultyProfileWholeWithALineNamingTheEntry) {
    const std::string before = ExportSettings();
    const ordered_json machine = ordered_json::parse(before);
    ASSERT_TRUE(machine["pages"].contains("tls")) << before;
    const long long sessions = machine["pages"]["tls"]["tls.server.max_sessions"];
    // Each case also carries a change that would be written, ahead of the fault in save order.
    auto profile = [&](const std::function<void(ordered_json&)>& fault) {
        ordered_json changed = machine;
        changed["pages"]["tls"]["tls.server.max_sessions"] = sessions + 1;
        fault(changed);
        return changed.dump(2);
    };
    const std::pair<std::string, const char*> cases[] = {
        {profile([](ordered_json&) {}).substr(0, 200), "kvadmin-faulty.json: line "},
        {profile(
             [](ordered_json& p) { p["pages"]["tls"]["tls.server.disable_revocation_check"] = 1; }),
         "'tls.server.disable_revocation_check'"},
        {profile([](ordered_json& p) {
             p["pages"]["tls"]["tls.server.max_certificate_request_cas"] = 1000;
         }),
         "'tls.server.max_certificate_request_cas': 1000"},
        {profile([](ordered_json& p) { p["pages"]["tls"]["tls.server.max_session"] = 5; }),
         "'tls.server.max_session'"},
        {profile([](ordered_json& p) { p["pages"]["general"]["tls.server.max_sessions"] = 5; }),
         "'tls.server.max_sessions' is not a setting of the page 'general'"},
        {profile([](ordered_json& p) { p["format"] = 2; }), "format 2"},
    };
    TempFile file(L"kvadmin-faulty.json");
    for (const auto& [text, named] : cases) {
        file.Write(text);
        for (const wchar_t* action : {L"import", L"diff"}) {
            const Outcome run = RunAdmin({L"settings", action, file.path});
            EXPECT_TRUE(run.exitCode == 2 && run.out.empty() &&
                        run.err.find(named) != std::string::npos)
                << run.exitCode << "\n"
                << run.out << run.err;
        }
    }
    EXPECT_EQ(before, ExportSettings());
    EXPECT_EQ(sessions, Tls(L"tls_server_max_sessions").value_or(64));
}

TEST(KvadminSettings, ExportLeavesOutWhatItCannotReadInOneWarning) {
    Denied unreadable(L"\\config\\Parameters\\tls_server_max_sessions", 0);
    TempFile profile(L"kvadmin-partial.json");
    const Outcome run = RunAdmin({L"settings", L"export", profile.path});
    EXPECT_EQ(0u, run.exitCode);
    EXPECT_EQ(run.err.size(), run.err.find("\r\n") + 2) << "one warning line: " << run.err;
    EXPECT_NE(std::string::npos, run.err.find("tls.server.max_sessions (Error 0x00000005"))
        << run.err;
    const ordered_json tls = ordered_json::parse(profile.Read())["pages"]["tls"];
    EXPECT_FALSE(tls.contains("tls.server.max_sessions"));
    EXPECT_TRUE(tls.contains("tls.server.max_certificate_request_cas"));
}

TEST(KvadminSettings, ImportWritesPastARefusedValueAndOnlyReportsTheRestart) {
    const std::string original = ExportSettings();
    ordered_json profile = ordered_json::parse(original);
    ordered_json& tls = profile["pages"]["tls"];
    const bool revocation = tls["tls.server.disable_revocation_check"];
    const bool winlogon = profile["pages"]["winlogon"]["winlogon.disable"];
    const long long sessions = tls["tls.server.max_sessions"],
                    cas = tls["tls.server.max_certificate_request_cas"];
    // In save order: Winlogon, a TLS switch, then the two limits, the first of them refused.
    profile["pages"]["winlogon"]["winlogon.disable"] = !winlogon;
    tls["tls.server.disable_revocation_check"] = !revocation;
    tls["tls.server.max_sessions"] = sessions + 1;
    tls["tls.server.max_certificate_request_cas"] = cas + 1;
    TempFile changed(L"kvadmin-changed.json"), restore(L"kvadmin-restore.json");
    changed.Write(profile.dump(2));
    restore.Write(original);

    const Outcome dry = RunAdmin({L"settings", L"import", changed.path, L"--dry-run"});
    EXPECT_EQ(0u, dry.exitCode) << dry.err;
    EXPECT_EQ(original, ExportSettings()) << "a dry run writes nothing";
    const Outcome diff = RunAdmin({L"settings", L"diff", changed.path, L"--json"});
    EXPECT_EQ(1u, diff.exitCode);
    EXPECT_EQ(4u, diff.Json()["results"].size()) << diff.out;
    {
        Denied denied(L"\\config\\Parameters\\tls_server_max_sessions", testbed::knobs::kRead);
        const Outcome run = RunAdmin({L"settings", L"import", changed.path});
        EXPECT_EQ(1u, run.exitCode);
        EXPECT_NE(std::string::npos, run.err.find("'tls.server.max_sessions' not written"))
            << run.err;
        EXPECT_TRUE(run.Names(ERROR_ACCESS_DENIED)) << run.err;
        EXPECT_NE(std::string::npos,
                  run.out.find(std::string("tls.server.disable_revocation_check: ") +
                               (revocation ? "true -> false" : "false -> true") +
                               " (reboot required)\r\n"))
            << run.out;
        const std::string last = "\r\nreboot required\r\n";
        EXPECT_EQ(last, run.out.substr(run.out.size() - std::min(run.out.size(), last.size())))
            << "said last, and the process ended by itself";
    }
    EXPECT_EQ(!winlogon, StoreNumber(L"config", kParameters, L"DisableWL").value_or(0) > 0);
    EXPECT_EQ(!revocation, Tls(L"tls_server_disable_revocation_check").value_or(0) != 0);
    EXPECT_EQ(sessions, Tls(L"tls_server_max_sessions").value_or(64)) << "refused";
    EXPECT_EQ(std::optional<DWORD>(cas + 1), Tls(L"tls_server_max_certificate_request_cas"));

    const Outcome back = RunAdmin({L"settings", L"import", restore.path});
    EXPECT_EQ(0u, back.exitCode) << back.err;
    EXPECT_EQ(0u, RunAdmin({L"settings", L"diff", restore.path}).exitCode);
}

}  // namespace
