// The TLS Settings page in a sheet of its own: what it shows of the store, what Apply writes,
// when it re-registers the CNG module and when it asks for a restart.
#include "applet/support.h"
#include "applet_fixture.h"
#include "client.h"
#include "driver/driver.h"
#include "pages/tls_page.h"
#include "resource.h"
#include "testbed/knobs.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace {

using namespace driver;
namespace knobs = testbed::knobs;

constexpr wchar_t kClientOcsp[] = L"tls_client_use_ocsp_extensions";
constexpr wchar_t kClientNoRevocation[] = L"tls_client_disable_revocation_check";
constexpr wchar_t kClientNoLegacy[] = L"tls_client_disable_legacy_cipher_suites";
constexpr wchar_t kServerNoLegacy[] = L"tls_server_disable_legacy_cipher_suites";
constexpr wchar_t kSessions[] = L"tls_server_max_sessions";
constexpr wchar_t kCas[] = L"tls_server_max_certificate_request_cas";

std::wstring Path(const wchar_t* name) {
    return std::wstring(store::kParameters) + L"\\" + name;
}

// Calls of the CNG module's entries so far: unregister, register.
std::pair<DWORD, DWORD> CngCalls() {
    return {testbed::CallCount(knobs::kCallCngUnregister),
            testbed::CallCount(knobs::kCallCngRegister)};
}

// Typed as a person types, one key at a time.
void Type(HWND edit, const std::wstring& text) {
    WaitUntil([&] { return IsEnabled(edit); }, "an edit to type into");
    ::PostMessageW(edit, EM_SETSEL, 0, -1);
    for (wchar_t c : text) ::PostMessageW(edit, WM_CHAR, c, 0);
    Flush();
}

class TlsPage : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        for (const applet::TlsSwitch& entry : applet::kTlsSwitches)
            support::support_registry_delete_param(Path(entry.name).c_str());
        for (const wchar_t* name : {kSessions, kCas})
            support::support_registry_delete_param(Path(name).c_str());
    }

    static std::optional<DWORD> Stored(const wchar_t* name) {
        return applettest::StoredLong(Path(name));
    }
    static void RunPage(const std::function<void(HWND sheet, HWND page)>& script) {
        applet::CPropPageConfigTLS page;
        applettest::RunPageAlone(page, L"TLS", script);
    }

    applettest::ScopedSeams seams_;
};

TEST_F(TlsPage, ShowsTheStoreAndWritesOnlyAChangedLimitWithoutAQuestion) {
    support::support_registry_put_long(Path(kClientOcsp).c_str(), 5);
    const auto cng = CngCalls();
    RunPage([](HWND sheet, HWND page) {
        for (const applet::TlsSwitch& entry : applet::kTlsSwitches)
            EXPECT_EQ(entry.control == IDC_TLS_CLIENT_OCSP, CheckState(Item(page, entry.control)))
                << Narrow(entry.name);
        HWND apply = SheetButton(sheet, kApply), sessions = Item(page, IDC_TLS_MAX_SESSIONS);
        EXPECT_EQ(L"64", Text(sessions));
        EXPECT_EQ(L"100", Text(Item(page, IDC_TLS_MAX_CAS)));

        Click(page, IDC_TLS_CLIENT_NO_REVOCATION);
        Flush();
        EXPECT_TRUE(IsEnabled(apply));
        Click(page, IDC_TLS_CLIENT_NO_REVOCATION);
        Flush();
        EXPECT_FALSE(IsEnabled(apply)) << "checked and unchecked again";

        Type(sessions, L"70000");
        EXPECT_EQ(L"Enter a whole number from 0 to 65536.", AnswerMessageBox(IDOK).text);
        Flush();
        EXPECT_EQ(L"7000", Text(sessions)) << "the number before the last key";
        Type(sessions, L"64");
        EXPECT_FALSE(IsEnabled(apply)) << "the stored number again";

        SetText(Item(page, IDC_TLS_MAX_CAS), L"250");
        applettest::Apply(sheet);
        EXPECT_FALSE(IsEnabled(apply)) << "saved, and no restart question";
    });
    EXPECT_EQ(5u, Stored(kClientOcsp)) << "not rewritten as 1";
    EXPECT_EQ(250u, Stored(kCas));
    EXPECT_EQ(std::nullopt, Stored(kSessions));
    EXPECT_EQ(cng, CngCalls());
}

TEST_F(TlsPage, GreysOutWhatTheStoreOrTheInstallationDoesNotAllow) {
    support::support_registry_put_long(Path(kClientOcsp).c_str(), 1);
    {
        applettest::HiddenFile ocsp(applettest::kProductDir + std::wstring(L"kvocsp.dll"));
        RunPage([](HWND, HWND page) {
            for (const applet::TlsSwitch& entry : applet::kTlsSwitches)
                EXPECT_EQ(
                    entry.control != IDC_TLS_CLIENT_OCSP && entry.control != IDC_TLS_SERVER_OCSP,
                    IsEnabled(Item(page, entry.control)))
                    << Narrow(entry.name);
            EXPECT_EQ(BST_CHECKED, CheckState(Item(page, IDC_TLS_CLIENT_OCSP)));
        });
    }

    testbed::ScopedKnob readOnly(knobs::kAccess, store::kParameters, knobs::kRead);
    RunPage([](HWND, HWND page) {
        for (const applet::TlsSwitch& entry : applet::kTlsSwitches)
            EXPECT_FALSE(IsEnabled(Item(page, entry.control))) << Narrow(entry.name);
        EXPECT_FALSE(IsEnabled(Item(page, IDC_TLS_MAX_SESSIONS)));
        EXPECT_FALSE(IsEnabled(Item(page, IDC_TLS_MAX_CAS)));
    });
}

// The client's legacy cipher suites switch re-registers the CNG module; the server's leaves it
// alone. Both ask for a restart.
TEST_F(TlsPage, TheClientsLegacySwitchReregistersTheCngModule) {
    ASSERT_GE(LOBYTE(LOWORD(::GetVersion())), 6);
    const auto cng = CngCalls();
    RunPage([&](HWND sheet, HWND page) {
        Click(page, IDC_TLS_CLIENT_NO_LEGACY);
        applettest::Apply(sheet);
        MessageBoxInfo question = AnswerMessageBox(IDNO);
        EXPECT_EQ(
            L"Reboot is required to change Vestra CSP operation mode. Do you want to reboot "
            L"now?",
            question.text);
        EXPECT_EQ(static_cast<UINT>(MB_ICONEXCLAMATION), question.icon);
        Flush();
        EXPECT_EQ(std::pair(cng.first + 1, cng.second + 1), CngCalls());

        Click(page, IDC_TLS_SERVER_NO_LEGACY);
        applettest::Apply(sheet);
        AnswerMessageBox(IDYES);
        Flush();
        EXPECT_EQ(std::pair(cng.first + 1, cng.second + 1), CngCalls());
    });
    EXPECT_EQ(1u, Stored(kClientNoLegacy));
    EXPECT_EQ(1u, Stored(kServerNoLegacy));
    EXPECT_EQ(1, applettest::ScopedSeams::Restarts().count);
}

TEST_F(TlsPage, AFailedWriteIsReportedAfterTheOtherValuesAreWritten) {
    testbed::ScopedKnob readOnly(knobs::kAccess, Path(kClientOcsp), knobs::kRead);
    RunPage([](HWND sheet, HWND page) {
        Click(page, IDC_TLS_CLIENT_OCSP);
        Click(page, IDC_TLS_CLIENT_NO_REVOCATION);
        SetText(Item(page, IDC_TLS_MAX_SESSIONS), L"80");
        applettest::Apply(sheet);
        EXPECT_EQ(L"Error saving parameters.", AnswerMessageBox(IDOK).text)
            << "and no restart question before it";
        Flush();
        EXPECT_TRUE(IsEnabled(SheetButton(sheet, kApply))) << "still modified";
    });
    EXPECT_EQ(std::nullopt, Stored(kClientOcsp));
    EXPECT_EQ(1u, Stored(kClientNoRevocation));
    EXPECT_EQ(80u, Stored(kSessions));
}

TEST_F(TlsPage, BeforeWindowsSixTheCngModuleIsLeftAlone) {
    testbed::ScopedWindowsXp xp;
    EXPECT_EQ(0u, RunTestsInNewProcess(L"TlsPage.DISABLED_OnWindowsXp"));
}

TEST_F(TlsPage, DISABLED_OnWindowsXp) {
    ASSERT_LT(LOBYTE(LOWORD(::GetVersion())), 6);
    const auto cng = CngCalls();
    RunPage([](HWND sheet, HWND page) {
        Click(page, IDC_TLS_CLIENT_NO_LEGACY);
        applettest::Apply(sheet);
        AnswerMessageBox(IDNO);
    });
    EXPECT_EQ(1u, Stored(kClientNoLegacy));
    EXPECT_EQ(cng, CngCalls());
}

}  // namespace
