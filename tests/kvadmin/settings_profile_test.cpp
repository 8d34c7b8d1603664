// A settings profile carried through the installed applet: exported, every page changed through
// the sheet as a person changes it, imported back; the pages then show the profile's values.
#include "admin_run.h"
#include "driver/driver.h"
#include "resource.h"
#include "wizard_fixture.h"

#include <array>
#include <string>
#include <utility>

namespace {

using namespace admintest;
using namespace driver;

constexpr int kGeneral = 0, kAdvanced = 3, kAlgorithms = 4, kSecurity = 5, kWinlogon = 6, kTls = 7;

HWND ShowPage(HWND sheet, int index) {
    SetPage(sheet, index);
    WaitUntil([&] { return ActivePageIndex(sheet) == index; }, "page " + std::to_string(index));
    return ActivePage(sheet);
}

// Pressed once the page has enabled it, and handled.
void Apply(HWND sheet) {
    Flush();
    Click(SheetButton(sheet, kApply));
    Flush();
}

// What the pages show of the values changed below: the user's language (left out before the
// first Apply: a first look at the General page may mark it changed), the hash parameters, the
// removable media switch, the Winlogon switch, a TLS switch and the sessions cache.
using Shown = std::array<std::wstring, 6>;

Shown Look(HWND sheet, bool general = true) {
    Shown shown;
    if (general)
        shown[0] = std::to_wstring(
            ComboSelection(Item(ShowPage(sheet, kGeneral), IDC_GENERAL_USER_LANGUAGE)));
    shown[1] =
        std::to_wstring(ComboSelection(Item(ShowPage(sheet, kAlgorithms), IDC_ALGORITHMS_HASH)));
    shown[2] =
        std::to_wstring(CheckState(Item(ShowPage(sheet, kSecurity), IDC_SECURITY_SAVE_MEDIA_INFO)));
    shown[3] = std::to_wstring(CheckState(Item(ShowPage(sheet, kWinlogon), IDC_WINLOGON_DISABLE)));
    HWND tls = ShowPage(sheet, kTls);
    shown[4] = std::to_wstring(CheckState(Item(tls, IDC_TLS_SERVER_NO_REVOCATION)));
    shown[5] = Text(Item(tls, IDC_TLS_MAX_SESSIONS));
    return shown;
}

// The timeout dialog opened from the Advanced page: whether the user's own timeout is chosen, and
// the system's number.
std::pair<int, std::wstring> Timeouts(HWND sheet, bool change) {
    Click(ShowPage(sheet, kAdvanced), IDC_ADVANCED_TIMEOUT);
    HWND dialog = WaitForWindow({L"#32770", L"User input timeout"});
    const std::pair shown(CheckState(Item(dialog, IDC_TIMEOUT_USER_SET)),
                          Text(Item(dialog, IDC_TIMEOUT_SYSTEM_VALUE)));
    if (change) {
        Click(dialog, IDC_TIMEOUT_USER_SET);
        SetText(Item(dialog, IDC_TIMEOUT_USER_VALUE), L"123");
        Click(dialog, IDC_TIMEOUT_SYSTEM_SET);
        SetText(Item(dialog, IDC_TIMEOUT_SYSTEM_VALUE), shown.second == L"321" ? L"322" : L"321");
    }
    Click(dialog, change ? IDOK : IDCANCEL);  // OK saves
    WaitUntilGone(dialog);
    return shown;
}

TEST(SettingsProfile, ImportBringsBackWhatEveryPageChangedByteForByte) {
    TempFile first(L"kvprofile-first.json"), second(L"kvprofile-second.json");
    const Outcome exported = RunAdmin({L"settings", L"export", first.path});
    ASSERT_EQ(0u, exported.exitCode) << exported.err;

    Shown before, changed;
    std::pair<int, std::wstring> timeouts;
    wiztest::RunSheet(kAdvanced, [&](HWND& sheet) {
        before = Look(sheet, false);
        timeouts = Timeouts(sheet, true);
        HWND hash = Item(ShowPage(sheet, kAlgorithms), IDC_ALGORITHMS_HASH);
        SelectCombo(hash, (std::stoi(before[1]) + 1) % static_cast<int>(ComboItems(hash).size()));
        Click(ShowPage(sheet, kSecurity), IDC_SECURITY_SAVE_MEDIA_INFO);
        Click(ShowPage(sheet, kWinlogon), IDC_WINLOGON_DISABLE);
        HWND tls = ShowPage(sheet, kTls);
        Click(tls, IDC_TLS_SERVER_NO_REVOCATION);
        SetText(Item(tls, IDC_TLS_MAX_SESSIONS), before[5] == L"77" ? L"78" : L"77");
        Apply(sheet);
        AnswerMessageBox(IDNO);  // the restart the TLS switch asks for

        // Another language has the sheet built anew.
        HWND language = Item(ShowPage(sheet, kGeneral), IDC_GENERAL_USER_LANGUAGE);
        before[0] = std::to_wstring(ComboSelection(language));
        SelectCombo(language, before[0] == L"2" ? 1 : 2);
        Apply(sheet);
        WaitUntilGone(sheet);
        sheet = WaitForWindow({L"#32770", L"Vestra CSP"});
        changed = Look(sheet);
    });
    for (size_t i = 0; i < before.size(); ++i)
        EXPECT_NE(before[i], changed[i]) << "value " << i << " changed through its page";

    const Outcome imported = RunAdmin({L"settings", L"import", first.path});
    EXPECT_EQ(0u, imported.exitCode) << imported.out << imported.err;
    const Outcome again = RunAdmin({L"settings", L"export", second.path});
    EXPECT_EQ(0u, again.exitCode) << again.err;
    EXPECT_EQ(first.Read(), second.Read());

    wiztest::RunSheet(kAdvanced, [&](HWND& sheet) {
        EXPECT_EQ(timeouts, Timeouts(sheet, false));
        EXPECT_EQ(before, Look(sheet));
    });
}

}  // namespace
