// The configuration sheet itself: its pages, its caption and its language; the restart seam.
#include "applet/application.h"
#include "applet/lang_bases.h"
#include "applet/module_state.h"
#include "applet/strings.h"
#include "applet_fixture.h"
#include "driver/driver.h"
#include "resource.h"
#include "ui/resources.h"

#include <gtest/gtest.h>

#include <commctrl.h>

namespace {

using namespace driver;

constexpr LANGID kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
constexpr LANGID kRussian = MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT);
constexpr UINT kPageTemplates[] = {IDD_PAGE_GENERAL,    IDD_PAGE_HARDWARE, IDD_PAGE_SERVICE,
                                   IDD_PAGE_ADVANCED,   IDD_PAGE_ALGORITHMS, IDD_PAGE_SECURITY,
                                   IDD_PAGE_WINLOGON,   IDD_PAGE_TLS};

std::vector<std::wstring> TabTitles(HWND sheet) {
    HWND tabs = reinterpret_cast<HWND>(::SendMessageW(sheet, PSM_GETTABCONTROL, 0, 0));
    std::vector<std::wstring> titles;
    int count = static_cast<int>(::SendMessageW(tabs, TCM_GETITEMCOUNT, 0, 0));
    for (int i = 0; i < count; ++i) {
        wchar_t text[128] = {};
        TCITEMW item{};
        item.mask = TCIF_TEXT;
        item.pszText = text;
        item.cchTextMax = 128;
        ::SendMessageW(tabs, TCM_GETITEMW, i, reinterpret_cast<LPARAM>(&item));
        titles.emplace_back(text);
    }
    return titles;
}

// Opens the configuration sheet as the Control Panel does and checks its tabs and a string
// against the resources of `language`.
void ExpectSheetIn(LANGID language) {
    applet::CMyControlPanelApp app;
    ASSERT_EQ(1, applet::ControlPanelEntry(app, nullptr, CPL_INIT, 0, 0));
    std::vector<std::wstring> expected;
    for (UINT id : kPageTemplates)
        expected.push_back(applettest::TemplateCaption(applet::Module(), id, language));
    RunModal([&] { return applet::ControlPanelEntry(app, nullptr, CPL_DBLCLK, 0, 0); },
             [&] {
                 HWND sheet = WaitForWindow({L"#32770", L"Vestra CSP"});
                 EXPECT_EQ(expected, TabTitles(sheet));
                 for (int i = 1; i < 8; ++i) {
                     SetPage(sheet, i);
                     WaitUntil([&] { return ActivePageIndex(sheet) == i; }, "every page");
                 }
                 EXPECT_EQ(ui::LoadTableString(applet::Module(), IDS_ERROR_SAVING, language),
                           applet::LoadStringLang(IDS_ERROR_SAVING));
                 for (auto [button, text] : {std::pair{IDOK, IDS_UI_BUTTON_OK},
                                             std::pair{IDCANCEL, IDS_UI_BUTTON_CANCEL},
                                             std::pair{kApply, IDS_UI_BUTTON_APPLY}})
                     EXPECT_EQ(ui::LoadTableString(applet::Module(), text, language),
                               Text(SheetButton(sheet, button)));
                 PressSheetButton(sheet, PSBTN_CANCEL);
             });
    applet::ControlPanelEntry(app, nullptr, CPL_EXIT, 0, 0);
}

TEST(ConfigurationSheet, ShowsTheEightPagesInTheLanguageOfTheStore) {
    {
        SCOPED_TRACE("no setting: the system's English");
        ExpectSheetIn(kEnglish);
    }
    {
        SCOPED_TRACE("the user's setting");
        applettest::SetLanguages(1049, 1033);
        ExpectSheetIn(kRussian);
    }
    {
        SCOPED_TRACE("the machine's setting");
        applettest::SetLanguages(std::nullopt, 1049);
        ExpectSheetIn(kRussian);
    }
    applettest::SetLanguages(std::nullopt, std::nullopt);
    EXPECT_NE(applettest::TemplateCaption(applet::Module(), IDD_PAGE_GENERAL, kEnglish),
              applettest::TemplateCaption(applet::Module(), IDD_PAGE_GENERAL, kRussian));
}

// A page or a dialog built in the store's language starts from its template in that language:
// the page with the template's list items, the dialog with its caption.
TEST(LanguageBases, PagesAndDialogsStartFromTheirTemplateInTheStoresLanguage) {
    constexpr UINT kTemplate = 9001, kCombo = 1001;  // applet_test.rc
    struct Case {
        DWORD language;
        LANGID id;
        std::vector<std::wstring> items;
    };
    for (const Case& c : {Case{1033, kEnglish, {L"First", L"Second"}},
                          Case{1049, kRussian, {L"Первый", L"Второй"}}}) {
        SCOPED_TRACE(c.language);
        applettest::SetLanguages(c.language, std::nullopt);
        applet::CPropertyPageLang page(kTemplate);
        applettest::RunPageAlone(page, L"Initialisation data", [&](HWND, HWND hwnd) {
            EXPECT_EQ(c.items, ComboItems(Item(hwnd, kCombo)));
        });
        applet::CDialogLang dialog(IDD_SET_TIMEOUT);
        const std::wstring caption =
            applettest::TemplateCaption(applet::Module(), IDD_SET_TIMEOUT, c.id);
        RunModal([&] { return dialog.DoModal(nullptr); },
                 [&] { Click(WaitForWindow({L"#32770", caption}), IDCANCEL); });
    }
    applettest::SetLanguages(std::nullopt, std::nullopt);
    applet::CurrentLanguage();  // the library reads the setting anew for the tests after this
}

}  // namespace
