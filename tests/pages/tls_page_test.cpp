// The TLS Settings page in a sheet of its own: what it shows of the store, what Apply writes,
// when it re-registers the CNG module and when it asks for a restart.
#include "applet/support.h"
#include "applet_fixture.h"
#include "driver/driver.h"
#include "pages/tls_page.h"
#include "resource.h"
#include "testbed/knobs.h"

#include <gtest/gtest.h>

#include <functional>
#include <tuple>
#include <optional>
#include <string>

namespace {

using namespace driver;
namespace knobs = testbed::knobs;

constexpr wchar_t kCaption[] = L"TLS page test";
constexpr wchar_t kClientOcsp[] = L"tls_client_use_ocsp_extensions";
constexpr wchar_t kClientNoRevocation[] = L"tls_client_disable_revocation_check";
constexpr wchar_t kClientNoLegacy[] = L"tls_client_disable_legacy_cipher_suites";
constexpr wchar_t kServerOcsp[] = L"tls_server_use_ocsp_extensions";
constexpr wchar_t kServerNoLegacy[] = L"tls_server_disable_legacy_cipher_suites";
constexpr wchar_t kSessions[] = L"tls_server_max_sessions";
constexpr wchar_t kCas[] = L"tls_server_max_certificate_request_cas";

std::wstring Path(const wchar_t* name) {
    return std::wstring(L"\\config\\Parameters\\") + name;
}

void Store(const wchar_t* name, DWORD value) {
    ASSERT_EQ(0u, support::support_registry_put_long(Path(name).c_str(), value));
}

std::optional<DWORD> Stored(const wchar_t* name) {
    DWORD value = 0;
    if (support::support_registry_get_long(Path(name).c_str(), &value) != 0) return std::nullopt;
    return value;
}

DWORD Calls(const wchar_t* name) {
    DWORD count = 0, size = sizeof(count);
    ::RegGetValueW(HKEY_LOCAL_MACHINE, knobs::kCalls, name, RRF_RT_REG_DWORD, nullptr, &count,
                   &size);
    return count;
}

void SetKnob(const wchar_t* key, const wchar_t* name, std::optional<DWORD> value) {
    if (!value) {
        ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key, name);
        return;
    }
    ASSERT_EQ(ERROR_SUCCESS,
              ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, REG_DWORD, &*value, sizeof(DWORD)));
}

int g_restarts = 0;
BOOL WINAPI CountRestart(UINT, DWORD) {
    ++g_restarts;
    return TRUE;
}

// The registrations of the CNG module so far: unregistered, registered.
std::pair<DWORD, DWORD> CngCalls() {
    return {Calls(knobs::kCallCngUnregister), Calls(knobs::kCallCngRegister)};
}

std::pair<DWORD, DWORD> Plus(std::pair<DWORD, DWORD> calls, DWORD both) {
    return {calls.first + both, calls.second + both};
}

class TlsPage : public ::testing::Test {
protected:
    void SetUp() override {
        Clear();
        previousRestart_ = applet::SetRestartFunction(CountRestart);
        g_restarts = 0;
    }
    void TearDown() override {
        applet::SetRestartFunction(previousRestart_);
        Clear();
    }
    static void Clear() {
        for (const applet::TlsSwitch& entry : applet::kTlsSwitches)
            support::support_registry_delete_param(Path(entry.name).c_str());
        for (const wchar_t* name : {kSessions, kCas})
            support::support_registry_delete_param(Path(name).c_str());
        for (const std::wstring& path : {std::wstring(store::kParameters), Path(kClientOcsp)})
            ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, knobs::kAccess, path.c_str());
        SetKnob(knobs::kRoot, knobs::kCngRegisterResult, std::nullopt);
        SetKnob(knobs::kRoot, knobs::kCngUnregisterResult, std::nullopt);
    }

    // Opens the page in a sheet and runs `script` on it with the sheet and the page.
    static void RunPage(const std::function<void(HWND sheet, HWND page)>& script) {
        applet::CPropPageConfigTLS page;
        ui::PropertySheet sheet;
        sheet.SetCaption(kCaption);
        sheet.AddPage(page);
        RunModal([&] { return sheet.DoModal(); },
                 [&] {
                     HWND hwnd = WaitForWindow({L"#32770", kCaption});
                     script(hwnd, ActivePage(hwnd));
                 });
    }

    // Presses Apply and waits for the page to take it: the button greys out unless the save
    // failed or a question is showing.
    static void Apply(HWND sheet) {
        Flush();
        Click(SheetButton(sheet, kApply));
        Flush();
    }

    static void Close(HWND sheet) {
        PressSheetButton(sheet, PSBTN_CANCEL);
        WaitUntilGone(sheet);
    }

private:
    applet::RestartFunction previousRestart_ = nullptr;
};

TEST_F(TlsPage, ShowsTheStoreAndWritesNothingBackThatWasNotChanged) {
    Store(kClientOcsp, 5);
    Store(kSessions, 128);
    RunPage([](HWND sheet, HWND page) {
        for (const applet::TlsSwitch& entry : applet::kTlsSwitches)
            EXPECT_EQ(entry.control == IDC_TLS_CLIENT_OCSP ? BST_CHECKED : BST_UNCHECKED,
                      CheckState(Item(page, entry.control)))
                << Narrow(entry.name);
        EXPECT_EQ(L"128", Text(Item(page, IDC_TLS_MAX_SESSIONS)));
        EXPECT_EQ(L"100", Text(Item(page, IDC_TLS_MAX_CAS))) << "the default";
        for (auto [spin, maximum, fast] : {std::tuple{IDC_TLS_MAX_SESSIONS_SPIN, 65536, 64},
                                           std::tuple{IDC_TLS_MAX_CAS_SPIN, 999, 100}}) {
            int low = -1, high = -1;
            ::SendMessageW(Item(page, spin), UDM_GETRANGE32, reinterpret_cast<WPARAM>(&low),
                           reinterpret_cast<LPARAM>(&high));
            EXPECT_EQ(std::pair(0, maximum), std::pair(low, high)) << "spin " << spin;
            UDACCEL steps[2] = {};
            ::SendMessageW(Item(page, spin), UDM_GETACCEL, 2, reinterpret_cast<LPARAM>(steps));
            EXPECT_EQ(2u, steps[1].nSec);
            EXPECT_EQ(static_cast<UINT>(fast), steps[1].nInc) << "spin " << spin;
        }
        EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply)));

        Click(page, IDC_TLS_CLIENT_NO_REVOCATION);
        Flush();
        EXPECT_TRUE(IsEnabled(SheetButton(sheet, kApply)));
        Click(page, IDC_TLS_CLIENT_NO_REVOCATION);
        Flush();
        EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply))) << "back to what is stored";

        // OK saves every page, modified or not.
        PressSheetButton(sheet, PSBTN_OK);
        WaitUntilGone(sheet);
    });
    EXPECT_EQ(5u, Stored(kClientOcsp)) << "not rewritten as 1";
    EXPECT_EQ(std::nullopt, Stored(kClientNoRevocation));
    EXPECT_EQ(std::nullopt, Stored(kCas)) << "the default is not written";
    EXPECT_EQ(0, g_restarts);
}

// Typed as a person types, one character at a time: the range message interrupts the typing.
void Type(HWND edit, const std::wstring& text) {
    WaitUntil([&] { return IsVisible(edit) && IsEnabled(edit); }, "an edit to type into");
    ::PostMessageW(edit, EM_SETSEL, 0, -1);
    for (wchar_t c : text) ::PostMessageW(edit, WM_CHAR, c, 0);
}

TEST_F(TlsPage, TakesBackANumberOutOfRangeAndWritesOnlyAChangedLimit) {
    const auto cng = CngCalls();
    RunPage([](HWND sheet, HWND page) {
        HWND sessions = Item(page, IDC_TLS_MAX_SESSIONS);
        Type(sessions, L"70000");
        EXPECT_EQ(L"Enter a whole number from 0 to 65536.", AnswerMessageBox(IDOK).text);
        Flush();
        EXPECT_EQ(L"7000", Text(sessions)) << "the number before the last key";
        Type(sessions, L"64");
        Flush();
        EXPECT_EQ(L"64", Text(sessions));
        EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply))) << "the stored number again";

        SetText(Item(page, IDC_TLS_MAX_CAS), L"250");
        Flush();
        ASSERT_TRUE(IsEnabled(SheetButton(sheet, kApply)));
        Apply(sheet);
        EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply))) << "saved without a question";
        Close(sheet);
    });
    EXPECT_EQ(250u, Stored(kCas));
    EXPECT_EQ(std::nullopt, Stored(kSessions));
    EXPECT_EQ(cng, CngCalls());
    EXPECT_EQ(0, g_restarts);
}

TEST_F(TlsPage, GreysOutWhatTheStoreOrTheInstallationDoesNotAllow) {
    Store(kClientOcsp, 1);
    Store(kServerOcsp, 1);
    const std::wstring ocsp = applettest::kProductDir + std::wstring(L"kvocsp.dll");
    const std::wstring aside = ocsp + L".aside";
    ASSERT_TRUE(::MoveFileW(ocsp.c_str(), aside.c_str()));
    RunPage([](HWND sheet, HWND page) {
        for (const applet::TlsSwitch& entry : applet::kTlsSwitches) {
            const bool ocspBox =
                entry.control == IDC_TLS_CLIENT_OCSP || entry.control == IDC_TLS_SERVER_OCSP;
            EXPECT_EQ(!ocspBox, IsEnabled(Item(page, entry.control))) << Narrow(entry.name);
            if (ocspBox) {
                EXPECT_EQ(BST_CHECKED, CheckState(Item(page, entry.control)));
            }
        }
        EXPECT_TRUE(IsEnabled(Item(page, IDC_TLS_MAX_SESSIONS)));
        Close(sheet);
    });
    EXPECT_TRUE(::MoveFileW(aside.c_str(), ocsp.c_str()));

    SetKnob(knobs::kAccess, store::kParameters, knobs::kRead);
    RunPage([](HWND sheet, HWND page) {
        for (const applet::TlsSwitch& entry : applet::kTlsSwitches)
            EXPECT_FALSE(IsEnabled(Item(page, entry.control))) << Narrow(entry.name);
        EXPECT_FALSE(IsEnabled(Item(page, IDC_TLS_MAX_SESSIONS)));
        EXPECT_FALSE(IsEnabled(Item(page, IDC_TLS_MAX_CAS)));
        Close(sheet);
    });
}

// The client's legacy cipher suites switch re-registers the CNG module, and the registration
// decides the save; the server's switch leaves the module alone. Each asks for a restart.
TEST_F(TlsPage, TheClientsLegacySwitchReregistersTheCngModule) {
    ASSERT_GE(LOBYTE(LOWORD(::GetVersion())), 6) << "the prefix reports an older Windows";
    auto cng = CngCalls();
    RunPage([&](HWND sheet, HWND page) {
        Click(page, IDC_TLS_CLIENT_NO_LEGACY);
        Apply(sheet);
        MessageBoxInfo question = AnswerMessageBox(IDNO);
        EXPECT_EQ(
            L"Reboot is required to change Vestra CSP operation mode. Do you want to reboot "
            L"now?",
            question.text);
        EXPECT_EQ(static_cast<UINT>(MB_ICONEXCLAMATION), question.icon);
        Flush();
        EXPECT_EQ(1u, Stored(kClientNoLegacy));
        EXPECT_EQ(Plus(cng, 1), CngCalls());

        SetKnob(knobs::kRoot, knobs::kCngUnregisterResult, E_FAIL);
        Click(page, IDC_TLS_CLIENT_NO_LEGACY);
        Apply(sheet);
        AnswerMessageBox(IDNO);  // an unregistration that fails leaves the save as it was
        Flush();
        EXPECT_EQ(0u, Stored(kClientNoLegacy));
        EXPECT_EQ(std::pair(cng.first + 2, cng.second + 1), CngCalls()) << "no registration";
        SetKnob(knobs::kRoot, knobs::kCngUnregisterResult, std::nullopt);

        cng = CngCalls();
        SetKnob(knobs::kRoot, knobs::kCngRegisterResult, E_FAIL);
        Click(page, IDC_TLS_CLIENT_NO_LEGACY);
        Apply(sheet);
        EXPECT_EQ(L"Error saving parameters.", AnswerMessageBox(IDOK).text);
        Flush();
        EXPECT_EQ(1u, Stored(kClientNoLegacy)) << "written before the registration failed";
        EXPECT_EQ(Plus(cng, 1), CngCalls());
        SetKnob(knobs::kRoot, knobs::kCngRegisterResult, std::nullopt);

        cng = CngCalls();
        Click(page, IDC_TLS_SERVER_NO_LEGACY);
        Apply(sheet);
        AnswerMessageBox(IDYES);
        Flush();
        EXPECT_EQ(1u, Stored(kServerNoLegacy));
        EXPECT_EQ(cng, CngCalls()) << "the server's switch is not the module's business";
        EXPECT_EQ(1, g_restarts);
        Close(sheet);
    });
}

// A value the store refuses fails the save, but the others are written all the same.
TEST_F(TlsPage, AFailedWriteIsReportedAfterTheOtherValuesAreWritten) {
    SetKnob(knobs::kAccess, Path(kClientOcsp).c_str(), knobs::kRead);
    RunPage([](HWND sheet, HWND page) {
        Click(page, IDC_TLS_CLIENT_OCSP);
        Click(page, IDC_TLS_CLIENT_NO_REVOCATION);
        SetText(Item(page, IDC_TLS_MAX_SESSIONS), L"80");
        Apply(sheet);
        EXPECT_EQ(L"Error saving parameters.", AnswerMessageBox(IDOK).text)
            << "and no restart question before it";
        Flush();
        EXPECT_TRUE(IsEnabled(SheetButton(sheet, kApply))) << "still modified";
        Close(sheet);
    });
    EXPECT_EQ(std::nullopt, Stored(kClientOcsp));
    EXPECT_EQ(1u, Stored(kClientNoRevocation));
    EXPECT_EQ(80u, Stored(kSessions));
    EXPECT_EQ(0, g_restarts);
}

// On Windows before 6 the switch is written and the restart offered, but the CNG module is not
// touched. The version is read when a process starts, so the check runs in a second one.
TEST_F(TlsPage, BeforeWindowsSixTheCngModuleIsLeftAlone) {
    const std::wstring key = L"Software\\Wine\\AppDefaults\\" + applettest::ProgramName();
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), L"Version", REG_SZ,
                                               L"winxp", sizeof(L"winxp")));
    const std::wstring self = applettest::ProgramPath();
    std::wstring command = L"\"" + self +
                           L"\" --gtest_also_run_disabled_tests "
                           L"--gtest_filter=TlsPage.DISABLED_OnAnOlderWindows";
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    DWORD code = 1;
    if (::CreateProcessW(self.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                         &startup, &process)) {
        ::WaitForSingleObject(process.hProcess, 120000);
        ::GetExitCodeProcess(process.hProcess, &code);
        ::CloseHandle(process.hThread);
        ::CloseHandle(process.hProcess);
    }
    ::RegDeleteKeyW(HKEY_CURRENT_USER, key.c_str());
    EXPECT_EQ(0u, code) << "the check in the second program (its output is above)";
}

TEST_F(TlsPage, DISABLED_OnAnOlderWindows) {
    ASSERT_LT(LOBYTE(LOWORD(::GetVersion())), 6);
    const auto cng = CngCalls();
    RunPage([](HWND sheet, HWND page) {
        Click(page, IDC_TLS_CLIENT_NO_LEGACY);
        Apply(sheet);
        AnswerMessageBox(IDNO);
        Flush();
        Close(sheet);
    });
    EXPECT_EQ(1u, Stored(kClientNoLegacy));
    EXPECT_EQ(cng, CngCalls());
}

}  // namespace
