// The Service page's wizards as a person opens them from the installed applet's Control Panel
// sheet, and the container check there: a typed name, the report, the clipboard, Back and Next.
#include "driver/driver.h"
#include "fixtures.h"
#include "resource.h"
#include "testbed/knobs.h"
#include "wizard_fixture.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using namespace wiztest;
using Strings = std::vector<std::wstring>;

const std::wstring kContainer = L"kv-check-wizard";
const std::wstring kTitle = L"Check private key container";

TEST(ServicePage, EachButtonOpensItsOwnWizard) {
    RunServicePage([&](HWND sheet) {
        for (const auto& [button, title] :
             {std::pair{IDC_SERVICE_DELETE, L"Delete private key container"},
              std::pair{IDC_SERVICE_CHANGE_PASSWORD, L"Change password for private key container"}}) {
            Click(Item(ActivePage(sheet), button));
            HWND wizard = WaitForWindow({L"#32770", L"", sheet, true});
            EXPECT_EQ(title, Text(wizard)) << "the wizard of button " << button;
            PressSheetButton(wizard, PSBTN_CANCEL);
            WaitUntilGone(wizard);
        }
    });
}

TEST(CheckWizard, FromTheServicePageToTheReportTheClipboardAndBack) {
    fixtures::ContainerSpec spec;
    spec.name = kContainer;
    spec.chain = true;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec));
    ClearClipboard();

    RunServicePage([&](HWND sheet) {
        Click(Item(ActivePage(sheet), IDC_SERVICE_CHECK));
        HWND wizard = WaitForWindow({L"#32770", kTitle, sheet, true});
        EXPECT_TRUE(IsVisible(Item(wizard, IDC_SELECT_BY_CERTIFICATE)));
        EXPECT_TRUE(IsVisible(Item(wizard, IDC_SELECT_BROWSE)));
        SetText(Item(wizard, IDC_SELECT_NAME), kContainer);
        Click(SheetButton(wizard, kNext));

        // The page turns once the check has written its rows.
        WaitUntil([&] { return ActivePageIndex(wizard) == 1; }, "the report page");
        HWND list = Item(ActivePage(wizard), IDC_CHECK_REPORT);
        std::vector<Strings> rows = ListRows(list);
        ASSERT_GE(rows.size(), 7u);
        EXPECT_EQ((Strings{L"Check container succeed", L"no errors were detected"}), rows[0]);
        EXPECT_EQ((Strings{L"  name", kContainer}), rows[2]);
        EXPECT_EQ((Strings{L"  noncritical", L"1.2.643.2.2.37.3.2"}), rows[rows.size() - 7])
            << "the chain's last extension and its certificate end the report";
        WaitUntil([&] { return IsEnabled(SheetButton(wizard, kFinish)); }, "Finish");
        EXPECT_TRUE(IsEnabled(SheetButton(wizard, kBack)));

        // The text form: each label padded to thirty columns, a tab, the value.
        Click(Item(ActivePage(wizard), IDC_CHECK_COPY));
        std::wstring expected;
        for (const Strings& row : rows) {
            std::wstring label = row.at(0);
            if (label.size() < 30) label.resize(30, L' ');
            expected += label + L" \t" + row.at(1) + L"\r\n";
        }
        WaitUntil([&] { return ClipboardText() == expected; }, "the report on the clipboard");

        // Back, a corrupted container, Next: the whole check runs again.
        PressSheetButton(wizard, PSBTN_BACK);
        WaitUntil([&] { return ActivePageIndex(wizard) == 0; }, "the selection page");
        EXPECT_EQ(kContainer, Text(Item(ActivePage(wizard), IDC_SELECT_NAME)));
        {
            ScopedValue corrupted(HKEY_LOCAL_MACHINE, testbed::knobs::kProvider,
                                  testbed::knobs::kIntegrity, DWORD{1});
            Click(SheetButton(wizard, kNext));
            WaitUntil([&] { return ActivePageIndex(wizard) == 1; }, "the report again");
            rows = ListRows(Item(ActivePage(wizard), IDC_CHECK_REPORT));
        }
        ASSERT_GE(rows.size(), 6u);
        EXPECT_EQ((Strings{L"Check container failed", L""}), rows[0]);
        EXPECT_EQ((Strings{L"  container integrity check", L"corrupted"}), rows[5]);
        Click(SheetButton(wizard, kFinish));
        WaitUntilGone(wizard);
    });
    const LiveHandles live = Live();
    EXPECT_EQ(0, live.contexts + live.keys + live.hashes);
    fixtures::DeleteContainer(kvcsp::kProviderMain, kvcsp::kType2001, false, kContainer);
}

}  // namespace
