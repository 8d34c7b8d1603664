// Data exchange in a modal dialog, with the range message in the template's language.
#include "driver/driver.h"
#include "ui/test_pages.h"
#include "ui/test_resource.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;

struct Case {
    LANGID language;
    const wchar_t* caption;
    const wchar_t* label;
    const wchar_t* rangeMessage;
    const wchar_t* lengthMessage;
};

class NumberDialogTest : public ::testing::TestWithParam<Case> {};

TEST_P(NumberDialogTest, RejectsOutOfRangeAndKeepsTheDialogOpen) {
    const Case& c = GetParam();
    testui::NumberDialog dialog(c.language);
    dialog.number = 10;
    INT_PTR result = RunModal(
        [&] { return dialog.DoModal(nullptr); },
        [&] {
            HWND hwnd = WaitForWindow({L"#32770", c.caption});
            EXPECT_EQ(c.label, Text(Item(hwnd, IDC_TEST_LABEL)));
            HWND number = Item(hwnd, IDC_TEST_NUMBER);
            EXPECT_EQ(L"10", Text(number));

            SetText(number, L"500");
            Click(hwnd, IDOK);
            MessageBoxInfo box = AnswerMessageBox(IDOK);
            EXPECT_EQ(c.rangeMessage, box.text);
            EXPECT_EQ(static_cast<UINT>(MB_ICONEXCLAMATION), box.icon);
            EXPECT_EQ(c.caption, box.caption);
            Flush();
            EXPECT_TRUE(IsVisible(hwnd));
            WaitUntil([&] { return FocusedWindow(hwnd) == number; }, "focus on the number");
            DWORD selection = static_cast<DWORD>(::SendMessageW(number, EM_GETSEL, 0, 0));
            EXPECT_EQ(0u, LOWORD(selection));
            EXPECT_EQ(3u, HIWORD(selection));

            SetText(number, L"-3");
            Click(hwnd, IDOK);
            EXPECT_EQ(c.rangeMessage, AnswerMessageBox(IDOK).text);

            SetText(number, L" 100 ");
            SetText(Item(hwnd, IDC_TEST_NAME), L"twelve chars");  // over the limit of 8
            Click(hwnd, IDOK);
            EXPECT_EQ(c.lengthMessage, AnswerMessageBox(IDOK).text);
            SetText(Item(hwnd, IDC_TEST_NAME), L"eight ch");
            Click(hwnd, IDOK);
            WaitUntilGone(hwnd);
        });
    EXPECT_EQ(IDOK, result);
    EXPECT_EQ(100, dialog.number);
    EXPECT_EQ(L"eight ch", dialog.name);
}

INSTANTIATE_TEST_SUITE_P(
    Languages, NumberDialogTest,
    ::testing::Values(Case{testui::kEnglish, L"Data exchange", L"&Number (1 to 100):",
                           L"Enter a whole number from 1 to 100.",
                           L"Enter no more than 8 characters."},
                      Case{testui::kRussian, L"Обмен данными", L"&Число (от 1 до 100):",
                           L"Введите целое число от 1 до 100.", L"Введите не более 8 символов."}));

// Every kind of control loads its member and saves it back on OK, each page once.
TEST(DataExchange, LoadsAndSavesEveryKindOfControl) {
    testui::SettingsSheet sheet(testui::kEnglish);
    sheet.first.name = L"name";
    sheet.first.flag = true;
    sheet.second.number = 64;
    sheet.second.kind = 1;
    sheet.second.colour = 2;
    INT_PTR result = RunModal(
        [&] { return sheet.DoModal(); },
        [&] {
            HWND hwnd = WaitForWindow({L"#32770", L"Framework Test Properties"});
            EXPECT_EQ(L"name", Text(Item(ActivePage(hwnd), IDC_TEST_NAME)));
            EXPECT_EQ(BST_CHECKED, CheckState(Item(hwnd, IDC_TEST_FLAG)));
            SetText(Item(hwnd, IDC_TEST_NAME), L"beta");
            SetPage(hwnd, 1);
            WaitUntil([&] { return ActivePageIndex(hwnd) == 1; }, "page 2");
            EXPECT_EQ(L"64", Text(Item(hwnd, IDC_TEST_NUMBER)));
            EXPECT_EQ((std::vector<std::wstring>{L"First kind", L"Second kind"}),
                      ComboItems(Item(hwnd, IDC_TEST_COMBO)));
            EXPECT_EQ(1, ComboSelection(Item(hwnd, IDC_TEST_COMBO)));
            EXPECT_EQ(BST_UNCHECKED, CheckState(Item(hwnd, IDC_TEST_RADIO1)));
            EXPECT_EQ(BST_CHECKED, CheckState(Item(hwnd, IDC_TEST_RADIO3)));

            SelectCombo(Item(hwnd, IDC_TEST_COMBO), 0);
            Click(hwnd, IDC_TEST_RADIO1);
            SetText(Item(hwnd, IDC_TEST_NUMBER), L"1");
            Click(hwnd, IDOK);
        });
    EXPECT_EQ(IDOK, result);
    EXPECT_EQ(1, sheet.second.number);
    EXPECT_EQ(0, sheet.second.kind);
    EXPECT_EQ(0, sheet.second.colour);
    EXPECT_TRUE(sheet.first.flag);
    EXPECT_EQ(L"beta", sheet.first.name);
    EXPECT_EQ(1, sheet.first.applyCount);
}

}  // namespace
