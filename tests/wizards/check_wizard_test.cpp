// The container check as a person runs it: the installed applet's Control Panel sheet, the
// Service page's "C&heck...", a typed name, the report, the clipboard, Back and Next, Finish.
#include "driver/driver.h"
#include "fixtures.h"
#include "resource.h"
#include "testbed/knobs.h"
#include "wizard_fixture.h"
#include "wizards/check_container.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using namespace wiztest;

const std::wstring kContainer = L"kv-check-wizard";
const std::wstring kTitle = L"Check private key container";

// The report's text form, written out from the rows on the screen.
std::wstring Expected(const std::vector<std::vector<std::wstring>>& rows) {
    std::wstring text;
    for (const auto& row : rows) {
        std::wstring label = row.at(0);
        if (label.size() < 30) label.resize(30, L' ');
        text += label + L" \t" + row.at(1) + L"\r\n";
    }
    return text;
}

// The report list of the page now showing (the selection page's name edit has the same id).
HWND ReportList(HWND wizard) {
    return Item(ActivePage(wizard), IDC_CHECK_REPORT);
}

std::vector<std::vector<std::wstring>> WaitForReport(HWND wizard) {
    WaitUntil([&] { return ActivePageIndex(wizard) == 1; }, "the report page");
    HWND list = ReportList(wizard);
    WaitUntil([&] { return ::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0) > 0; }, "report rows");
    return ListRows(list);
}

TEST(CheckWizard, FromTheServicePageToTheReportTheClipboardAndBack) {
    fixtures::ContainerSpec spec;
    spec.name = kContainer;
    spec.chain = true;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec));
    ClearClipboard();

    RunServicePage([&](HWND sheet) {
        Click(Item(ActivePage(sheet), IDC_SERVICE_CHECK));

        WindowQuery query{L"#32770", kTitle, sheet, true};
        HWND wizard = WaitForWindow(query);
        EXPECT_TRUE(IsVisible(Item(wizard, IDC_SELECT_BY_CERTIFICATE)));
        EXPECT_TRUE(IsVisible(Item(wizard, IDC_SELECT_BROWSE)));
        SetText(Item(wizard, IDC_SELECT_NAME), kContainer);
        Click(SheetButton(wizard, kNext));

        std::vector<std::vector<std::wstring>> rows = WaitForReport(wizard);
        ASSERT_GE(rows.size(), 3u);
        EXPECT_EQ(
            (std::vector<std::wstring>{L"Check container succeed", L"no errors were detected"}),
            rows[0]);
        EXPECT_EQ((std::vector<std::wstring>{L"  name", kContainer}), rows[2]);
        EXPECT_EQ((std::vector<std::wstring>{L"  noncritical", L"1.2.643.2.2.37.3.2"}),
                  rows[rows.size() - 7])
            << "the chain's last extension and its certificate end the report";
        WaitUntil([&] { return IsEnabled(SheetButton(wizard, kFinish)); }, "Finish");
        EXPECT_TRUE(IsEnabled(SheetButton(wizard, kBack)));
        HFONT font = reinterpret_cast<HFONT>(
            ::SendMessageW(Item(ActivePage(wizard), IDC_CHECK_TITLE), WM_GETFONT, 0, 0));
        LOGFONTW title{};
        ASSERT_TRUE(font && ::GetObjectW(font, sizeof(title), &title));
        EXPECT_EQ(FW_BOLD, title.lfWeight);

        Click(Item(ActivePage(wizard), IDC_CHECK_COPY));
        const std::wstring expected = Expected(rows);
        WaitUntil([&] { return ClipboardText() == expected; }, "the report on the clipboard");

        // Back, a corrupted container, Next: the whole check runs again.
        PressSheetButton(wizard, PSBTN_BACK);
        WaitUntil([&] { return ActivePageIndex(wizard) == 0; }, "the selection page");
        EXPECT_EQ(kContainer, Text(Item(ActivePage(wizard), IDC_SELECT_NAME)));
        {
            ScopedValue corrupted(HKEY_LOCAL_MACHINE, ProviderKnobKey(), testbed::knobs::kIntegrity,
                                  DWORD{1});
            Click(SheetButton(wizard, kNext));
            // The page turns once the check has written its rows.
            WaitUntil([&] { return ActivePageIndex(wizard) == 1; }, "the report again");
            rows = ListRows(ReportList(wizard));
        }
        ASSERT_FALSE(rows.empty());
        EXPECT_EQ((std::vector<std::wstring>{L"Check container failed", L""}), rows[0]);
        EXPECT_EQ((std::vector<std::wstring>{L"  container integrity check", L"corrupted"}),
                  rows[5]);

        Click(SheetButton(wizard, kFinish));
        WaitUntilGone(wizard);
        WaitUntil([] { return Live().contexts == 0; }, "the wizard's container released");
    });

    LiveHandles live = Live();
    EXPECT_EQ(0, live.contexts);
    EXPECT_EQ(0, live.keys);
    EXPECT_EQ(0, live.hashes);
    fixtures::DeleteContainer(kvcsp::kProviderMain, kvcsp::kType2001, false, kContainer);
}

TEST(CheckWizard, AContainerThatCannotBeOpenedKeepsTheSelectionPage) {
    applet::CWizardCheckContainer wizard(nullptr);
    RunModal([&] { return wizard.DoModal(); },
             [&] {
                 HWND hwnd = WaitForWindow({L"#32770", kTitle});
                 SetText(Item(hwnd, IDC_SELECT_NAME), L"kv-check-missing");
                 Click(SheetButton(hwnd, kNext));
                 MessageBoxInfo box = AnswerMessageBox(IDOK);
                 const std::wstring head =
                     L"Access private key container 'kv-check-missing' error:\nError 0x80090016 ";
                 EXPECT_EQ(head, box.text.substr(0, head.size()));
                 EXPECT_EQ(static_cast<UINT>(MB_ICONERROR), box.icon);
                 Flush();
                 EXPECT_EQ(0, ActivePageIndex(hwnd)) << "the report is not shown";
                 PressSheetButton(hwnd, PSBTN_CANCEL);
                 WaitUntilGone(hwnd);
             });
    EXPECT_EQ(0, Live().contexts);
}

}  // namespace
