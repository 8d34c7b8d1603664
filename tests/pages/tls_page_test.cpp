// The TLS Settings page in a sheet of its own: what Apply writes, when it re-registers the CNG
// module and when it asks for a restart.
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

// A stored switch other than 1 is not rewritten by an Apply that leaves it alone.
TEST_F(TlsPage, WritesOnlyAChangedLimitWithoutAQuestion) {
    support::support_registry_put_long(Path(L"tls_client_use_ocsp_extensions").c_str(), 5);
    const auto cng = CngCalls();
    Run([](HWND sheet, HWND page) {
        SetText(Item(page, IDC_TLS_MAX_CAS), L"250");
        Apply(sheet);
        EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply))) << "saved, and no restart question";
    });
    EXPECT_EQ(5u, Stored(L"tls_client_use_ocsp_extensions"));
    EXPECT_EQ(250u, Stored(L"tls_server_max_certificate_request_cas"));
    EXPECT_EQ(std::nullopt, Stored(L"tls_server_max_sessions"));
    EXPECT_EQ(cng, CngCalls());
}

// The client's legacy cipher suites switch re-registers the CNG module; the server's leaves it
// alone. Both ask for a restart.
TEST_F(TlsPage, TheClientsLegacySwitchReregistersTheCngModule) {
    const auto cng = CngCalls();
    Run([&](HWND sheet, HWND page) {
        Click(page, IDC_TLS_CLIENT_NO_LEGACY);
        Apply(sheet);
        EXPECT_EQ(L"Reboot is required to change Vestra CSP operation mode. Do you want to "
                  L"reboot now?",
                  AnswerMessageBox(IDNO).text);
        Flush();
        EXPECT_EQ(std::pair(cng.first + 1, cng.second + 1), CngCalls());
        Click(page, IDC_TLS_SERVER_NO_LEGACY);
        Apply(sheet);
        AnswerMessageBox(IDYES);
        Flush();
        EXPECT_EQ(std::pair(cng.first + 1, cng.second + 1), CngCalls());
    });
    EXPECT_EQ(1u, Stored(L"tls_client_disable_legacy_cipher_suites"));
    EXPECT_EQ(1u, Stored(L"tls_server_disable_legacy_cipher_suites"));
    EXPECT_EQ(1, applettest::ScopedSeams::Restarts().count);
}

}  // namespace
