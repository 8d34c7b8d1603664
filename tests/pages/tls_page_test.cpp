// The TLS Settings page in a sheet of its own: what it shows of the store, what Apply writes,
// when it re-registers the CNG module and when it asks for a restart.
#include "applet/support.h"
#include "applet_fixture.h"
#include "client.h"
#include "driver/driver.h"
#include "page_support.h"
#include "pages/tls_page.h"
#include "resource.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using pagetest::ApplyFails;
using applettest::Apply;
namespace knobs = testbed::knobs;

std::wstring Path(const wchar_t* name) {
    return std::wstring(store::kParameters) + L"\\" + name;
}
std::optional<DWORD> Stored(const wchar_t* name) {
    return applettest::StoredLong(Path(name));
}

// Calls of the CNG module's entries so far: unregister, register.
std::pair<DWORD, DWORD> CngCalls() {
    return {testbed::CallCount(knobs::kCallCngUnregister),
            testbed::CallCount(knobs::kCallCngRegister)};
}

class TlsPage : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        for (const applet::TlsSwitch& entry : applet::kTlsSwitches)
            support::support_registry_delete_param(Path(entry.name).c_str());
        for (const wchar_t* name : {L"tls_server_max_sessions", L"tls_server_max_certificate_request_cas"})
            support::support_registry_delete_param(Path(name).c_str());
    }
    static void Run(const std::function<void(HWND sheet, HWND page)>& script) {
        pagetest::RunPage<applet::CPropPageConfigTLS>(L"TLS", script);
    }

    applettest::ScopedSeams seams_;
};

TEST_F(TlsPage, ShowsTheStoreAndWritesOnlyAChangedLimitWithoutAQuestion) {
    support::support_registry_put_long(Path(L"tls_client_use_ocsp_extensions").c_str(), 5);
    const auto cng = CngCalls();
    Run([](HWND sheet, HWND page) {
        for (const applet::TlsSwitch& entry : applet::kTlsSwitches)
            EXPECT_EQ(entry.control == IDC_TLS_CLIENT_OCSP, CheckState(Item(page, entry.control)))
                << Narrow(entry.name);
        HWND apply = SheetButton(sheet, kApply), sessions = Item(page, IDC_TLS_MAX_SESSIONS);
        EXPECT_EQ(L"64", Text(sessions));
        Click(page, IDC_TLS_CLIENT_NO_REVOCATION);
        Click(page, IDC_TLS_CLIENT_NO_REVOCATION);
        Flush();
        EXPECT_FALSE(IsEnabled(apply)) << "checked and unchecked again";

        // Typed one key at a time: the fifth digit is refused.
        ::PostMessageW(sessions, EM_SETSEL, 0, -1);
        for (wchar_t c : std::wstring(L"70000")) ::PostMessageW(sessions, WM_CHAR, c, 0);
        EXPECT_EQ(L"Enter a whole number from 0 to 65536.", AnswerMessageBox(IDOK).text);
        Flush();
        EXPECT_EQ(L"7000", Text(sessions)) << "the number before the last key";
        SetText(sessions, L"64");
        SetText(Item(page, IDC_TLS_MAX_CAS), L"250");
        Apply(sheet);
        EXPECT_FALSE(IsEnabled(apply)) << "saved, and no restart question";
    });
    EXPECT_EQ(5u, Stored(L"tls_client_use_ocsp_extensions")) << "not rewritten as 1";
    EXPECT_EQ(250u, Stored(L"tls_server_max_certificate_request_cas"));
    EXPECT_EQ(std::nullopt, Stored(L"tls_server_max_sessions"));
    EXPECT_EQ(cng, CngCalls());
}

TEST_F(TlsPage, WithoutTheRightToWriteEverythingIsGreyedOut) {
    testbed::ScopedKnob readOnly(knobs::kAccess, store::kParameters, knobs::kRead);
    Run([](HWND, HWND page) {
        for (const applet::TlsSwitch& entry : applet::kTlsSwitches)
            EXPECT_FALSE(IsEnabled(Item(page, entry.control))) << Narrow(entry.name);
        EXPECT_FALSE(IsEnabled(Item(page, IDC_TLS_MAX_SESSIONS)));
    });
}

// The client's legacy cipher suites switch re-registers the CNG module; the server's leaves it
// alone. Both ask for a restart. A value that can't be written is reported after the others
// are written, and before any question.
TEST_F(TlsPage, TheClientsLegacySwitchReregistersTheCngModuleAndAFailedWriteIsReported) {
    const auto cng = CngCalls();
    Run([&](HWND sheet, HWND page) {
        Click(page, IDC_TLS_CLIENT_NO_LEGACY);
        Apply(sheet);
        MessageBoxInfo question = AnswerMessageBox(IDNO);
        EXPECT_EQ(L"Reboot is required to change Vestra CSP operation mode. Do you want to "
                  L"reboot now?",
                  question.text);
        EXPECT_EQ(UINT{MB_ICONEXCLAMATION}, question.icon);
        Flush();
        EXPECT_EQ(std::pair(cng.first + 1, cng.second + 1), CngCalls());
        Click(page, IDC_TLS_SERVER_NO_LEGACY);
        Apply(sheet);
        AnswerMessageBox(IDYES);
        Flush();
        EXPECT_EQ(std::pair(cng.first + 1, cng.second + 1), CngCalls());

        testbed::ScopedKnob readOnly(knobs::kAccess, Path(L"tls_client_use_ocsp_extensions"),
                                     knobs::kRead);
        Click(page, IDC_TLS_CLIENT_OCSP);
        Click(page, IDC_TLS_CLIENT_NO_REVOCATION);
        ApplyFails(sheet);
    });
    EXPECT_EQ(1u, Stored(L"tls_client_disable_legacy_cipher_suites"));
    EXPECT_EQ(1u, Stored(L"tls_server_disable_legacy_cipher_suites"));
    EXPECT_EQ(1, applettest::ScopedSeams::Restarts().count);
    EXPECT_EQ(std::nullopt, Stored(L"tls_client_use_ocsp_extensions"));
    EXPECT_EQ(1u, Stored(L"tls_client_disable_revocation_check"));
}

}  // namespace
