// A two-page settings sheet driven as a user would drive it.
#include "driver/driver.h"
#include "ui/test_pages.h"
#include "ui/test_resource.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using testui::kEnglish;

HWND WaitForSheet() { return WaitForWindow({L"#32770", L"Framework Test Properties"}); }

TEST(SettingsSheet, SetModifiedEnablesApply) {
    testui::SettingsSheet sheet(kEnglish);
    RunModal([&] { return sheet.DoModal(); },
             [&] {
                 HWND hwnd = WaitForSheet();
                 HWND apply = SheetButton(hwnd, kApply);
                 EXPECT_FALSE(IsEnabled(apply));
                 Click(hwnd, IDC_TEST_FLAG);
                 WaitUntil([&] { return IsEnabled(apply); }, "Apply enabled");
                 EXPECT_TRUE(sheet.first.IsModified());
                 Click(apply);
                 WaitUntil([&] { return !IsEnabled(apply); }, "Apply disabled after applying");
                 EXPECT_EQ(1, sheet.first.applyCount);
                 EXPECT_TRUE(sheet.first.flag);
                 PressSheetButton(hwnd, PSBTN_CANCEL);
             });
}

TEST(SettingsSheet, ApplyVetoKeepsTheSheetOpenOnTheVetoingPage) {
    testui::SettingsSheet sheet(kEnglish);
    sheet.second.vetoApply = true;
    INT_PTR result = RunModal(
        [&] { return sheet.DoModal(); },
        [&] {
            HWND hwnd = WaitForSheet();
            SetPage(hwnd, 1);  // the page must exist to be asked
            WaitUntil([&] { return ActivePageIndex(hwnd) == 1; }, "page 2");
            SetPage(hwnd, 0);
            WaitUntil([&] { return ActivePageIndex(hwnd) == 0; }, "page 1");
            Click(hwnd, IDC_TEST_FLAG);
            Click(hwnd, IDOK);
            WaitUntil([&] { return sheet.second.applyCount == 1; }, "the second page asked");
            WaitUntil([&] { return ActivePageIndex(hwnd) == 1; }, "the vetoing page shown");
            Flush();
            EXPECT_TRUE(IsVisible(hwnd));
            EXPECT_TRUE(IsEnabled(SheetButton(hwnd, kApply)));
            sheet.second.vetoApply = false;
            Click(hwnd, IDOK);
        });
    EXPECT_EQ(IDOK, result);
    EXPECT_EQ(2, sheet.second.applyCount);
}

TEST(SettingsSheet, InvalidNumberStopsThePageChange) {
    testui::SettingsSheet sheet(kEnglish);
    sheet.second.number = 7;
    RunModal([&] { return sheet.DoModal(); },
             [&] {
                 HWND hwnd = WaitForSheet();
                 SetPage(hwnd, 1);
                 WaitUntil([&] { return ActivePageIndex(hwnd) == 1; }, "page 2");
                 SetText(Item(hwnd, IDC_TEST_NUMBER), L"abc");
                 SetPage(hwnd, 0);
                 MessageBoxInfo box = AnswerMessageBox(IDOK);
                 EXPECT_EQ(L"Enter a whole number from 1 to 100.", box.text);
                 Flush();
                 EXPECT_EQ(1, ActivePageIndex(hwnd));
                 EXPECT_EQ(7, sheet.second.number);
                 PressSheetButton(hwnd, PSBTN_CANCEL);
             });
}

}  // namespace
