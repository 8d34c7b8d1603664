// A three-page Wizard97: button states, validation on Next, the exterior last page.
#include "driver/driver.h"
#include "ui/test_pages.h"
#include "ui/resources.h"
#include "ui/test_resource.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using testui::kEnglish;

HWND WaitForWizard() { return WaitForWindow({L"#32770", L"Framework test wizard"}); }

bool Shows(HWND sheet, int button) { return IsVisible(SheetButton(sheet, button)); }
bool Enabled(HWND sheet, int button) {
    HWND hwnd = SheetButton(sheet, button);
    return IsVisible(hwnd) && IsEnabled(hwnd);
}

// The page shown, and the buttons as its activation set them (comctl32 posts that).
void WaitForPage(HWND sheet, int index) {
    WaitUntil([&] { return ActivePageIndex(sheet) == index; }, "page " + std::to_string(index));
    Flush();
}

TEST(Wizard97, ButtonsHeadersAndExteriorPage) {
    testui::Wizard wizard(kEnglish);
    INT_PTR result = RunModal(
        [&] { return wizard.DoModal(); },
        [&] {
            HWND hwnd = WaitForWizard();
            WaitForPage(hwnd, 0);
            EXPECT_TRUE(Enabled(hwnd, kNext));
            EXPECT_FALSE(Enabled(hwnd, kBack));
            EXPECT_FALSE(Shows(hwnd, kFinish));

            Click(SheetButton(hwnd, kNext));
            WaitForPage(hwnd, 1);
            EXPECT_TRUE(Enabled(hwnd, kBack));
            EXPECT_TRUE(Enabled(hwnd, kNext));
            SetText(Item(hwnd, IDC_TEST_NUMBER), L"0");
            Click(SheetButton(hwnd, kNext));
            EXPECT_EQ(L"Enter a whole number from 1 to 100.", AnswerMessageBox(IDOK).text);
            Flush();
            EXPECT_EQ(1, ActivePageIndex(hwnd));
            SetText(Item(hwnd, IDC_TEST_NUMBER), L"42");
            Click(SheetButton(hwnd, kNext));
            WaitForPage(hwnd, 2);

            EXPECT_TRUE(Enabled(hwnd, kFinish));
            EXPECT_FALSE(Shows(hwnd, kNext));
            EXPECT_TRUE(Enabled(hwnd, kBack));
            RECT page{}, sheet{};
            ::GetWindowRect(ActivePage(hwnd), &page);
            ::GetClientRect(hwnd, &sheet);
            POINT origin{0, 0};
            ::ClientToScreen(hwnd, &origin);
            EXPECT_LE(page.top - origin.y, 2) << "the exterior page starts at the top";
            Click(SheetButton(hwnd, kFinish));
        });
    EXPECT_EQ(IDOK, result);
    EXPECT_EQ(42, wizard.second.number);
}

// A Finish shown disabled, Back and Cancel; the sheet's own buttons follow the pages' language,
// not the system's.
TEST(Wizard97, DisabledFinishAndCancelInThePagesLanguage) {
    testui::Wizard wizard(testui::kRussian, PSWIZB_BACK | PSWIZB_DISABLEDFINISH);
    INT_PTR result = RunModal(
        [&] { return wizard.DoModal(); },
        [&] {
            HWND hwnd = WaitForWindow(
                {L"#32770",
                 ui::LoadTableString(testui::Module(), IDS_TEST_WIZARD, testui::kRussian)});
            EXPECT_EQ(L"&Далее >", Text(SheetButton(hwnd, kNext)));
            EXPECT_EQ(L"Отмена", Text(SheetButton(hwnd, IDCANCEL)));
            Click(SheetButton(hwnd, kNext));
            WaitForPage(hwnd, 1);
            EXPECT_EQ(L"< &Назад", Text(SheetButton(hwnd, kBack)));
            EXPECT_EQ(L"Готово", Text(SheetButton(hwnd, kFinish)));
            EXPECT_TRUE(Shows(hwnd, kFinish));
            EXPECT_FALSE(IsEnabled(SheetButton(hwnd, kFinish)));
            EXPECT_FALSE(Shows(hwnd, kNext));
            Click(SheetButton(hwnd, kBack));
            WaitForPage(hwnd, 0);
            Click(SheetButton(hwnd, IDCANCEL));
        });
    EXPECT_EQ(IDCANCEL, result);
}

}  // namespace
