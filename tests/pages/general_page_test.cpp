// The General page: the language choices against every kind of access to the store, what the
// provider reports, and the page's links as a person clicks them.
#include "applet/installation.h"
#include "applet/static_link.h"
#include "applet/strings.h"
#include "applet_fixture.h"
#include "driver/driver.h"
#include "page_support.h"
#include "pages/general_page.h"
#include "resource.h"
#include "testbed/client.h"
#include "version.h"

#include <gtest/gtest.h>

#include <commctrl.h>

#include <cstdio>
#include <tuple>

namespace {

using namespace driver;
using applet::LanguageSettings;
using applettest::StoredLong;
using testbed::ScopedKnob;
using Texts = std::vector<std::wstring>;
namespace knobs = testbed::knobs;

// What the shell was asked to start ("verb file"); the answer is the test's.
Texts shellCalls;
INT_PTR shellAnswer = 42;

HINSTANCE WINAPI RecordShellCall(HWND, LPCWSTR verb, LPCWSTR file, LPCWSTR, LPCWSTR, INT) {
    shellCalls.push_back(std::wstring(verb) + L" " + file);
    return reinterpret_cast<HINSTANCE>(shellAnswer);
}

class General : public ::testing::Test {
protected:
    void SetUp() override {
        TearDown();
        shellCalls.clear();
        shellAnswer = 42;
    }
    void TearDown() override { applettest::SetLanguages(std::nullopt, std::nullopt); }

    static INT_PTR Run(const std::function<void(HWND sheet, HWND page)>& script) {
        return pagetest::RunPage<applet::CPropPageConfigCSPGeneral>(
            L"General page", script, applettest::AfterScript::kScriptCloses);
    }

    applettest::ScopedSeams seams_{RecordShellCall};
};

// Rights on \config, \local and their Language values; what saving Russian for the machine
// and English for the user returns and stores.
TEST_F(General, LanguageSaveInEveryCombinationOfAccess) {
    constexpr DWORD kAll = knobs::kRead | knobs::kWrite | knobs::kRemove, kRead = knobs::kRead;
    constexpr int kRebuild = applet::CPropPageConfigBase::kSavedRebuild;
    constexpr int kFailed = applet::CPropPageConfigBase::kSaveFailed;
    const std::optional<DWORD> kNone, kRussian = 1049, kEnglish = 1033;
    const std::tuple<DWORD, DWORD, DWORD, DWORD, int, std::optional<DWORD>, std::optional<DWORD>>
        cases[] = {{kAll, kAll, kAll, kAll, kRebuild, kRussian, kEnglish},
                   {kRead, kAll, kRead, kAll, kRebuild, kNone, kEnglish},
                   {kAll, kAll, kRead, kAll, kRebuild, kNone, kEnglish},
                   {kAll, kRead, kRead, kRead, kFailed, kNone, kNone},
                   {kAll, kAll, kAll, kRead, kFailed, kRussian, kNone}};
    for (const auto& [config, local, configValue, localValue, result, machine, user] : cases) {
        applettest::SetLanguages(std::nullopt, std::nullopt);
        ScopedKnob c(knobs::kAccess, L"\\config", config), l(knobs::kAccess, L"\\local", local);
        ScopedKnob cv(knobs::kAccess, L"\\config\\Language", configValue);
        ScopedKnob lv(knobs::kAccess, L"\\local\\Language", localValue);
        LanguageSettings settings = applet::ReadLanguageSettings();
        EXPECT_EQ(config == kAll, settings.Modified()) << "only a value the user may write";
        settings.machineIndex = LanguageSettings::kMachineRussian;
        settings.userIndex = LanguageSettings::kUserEnglish;
        EXPECT_EQ(result, applet::SaveLanguageSettings(settings));
        EXPECT_EQ(machine, StoredLong(store::kConfigLanguage));
        EXPECT_EQ(user, StoredLong(store::kLocalLanguage));
    }
}

TEST_F(General, CoreVersionNamesADebugBuild) {
    const std::wstring provider = applet::ProductProviderName(applet::InstallationProductCode());
    ScopedKnob unanswered(knobs::kProvider, knobs::kProtectionClass, 0);
    ScopedKnob debug(knobs::kProvider, knobs::kDebugBuild, 1);
    const WORD version[] = {KV_TESTBED_VERSION};
    wchar_t text[64];
    std::swprintf(text, 64, L"%u.%u.%04u  Debug", version[0], version[1], version[3]);
    EXPECT_EQ(text, applet::CoreVersionText(provider));
}

// A link with neither a target nor a string of its own id opens its text.
TEST_F(General, ALinkWithoutATargetOpensItsCaption) {
    constexpr int kId = 0x7FF0;
    ASSERT_EQ(L"", applet::LoadStringLang(kId));
    HWND parent = ::CreateWindowW(L"STATIC", L"", WS_POPUP, 0, 0, 99, 9, nullptr, nullptr,
                                  nullptr, nullptr);
    HWND text = ::CreateWindowW(L"STATIC", L"https://help.kelvane.example", WS_CHILD | SS_NOTIFY,
                                0, 0, 99, 9, parent, reinterpret_cast<HMENU>(kId), nullptr, nullptr);
    applet::CStaticLink link;
    ASSERT_TRUE(link.Attach(text));
    ::SendMessageW(text, WM_LBUTTONDOWN, MK_LBUTTON, 0);
    EXPECT_EQ(Texts{L"open https://help.kelvane.example"}, shellCalls);
    link.Detach();
    ::DestroyWindow(parent);
}

// The link's text colour, as the page gives it to the static when it paints.
COLORREF LinkColor(HWND page, int id) {
    HDC dc = ::CreateCompatibleDC(nullptr);
    ::SendMessageW(page, WM_CTLCOLORSTATIC, WPARAM(dc), LPARAM(Item(page, id)));
    const COLORREF color = ::GetTextColor(dc);
    ::DeleteDC(dc);
    return color;
}

void ClickLink(HWND page, int id) {
    HWND link = Item(page, id);
    WaitUntil([&] { return IsVisible(link); }, "the link");
    ::PostMessageW(link, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(2, 2));
    Flush();
}

// The tip that one of this program's tip windows has for control `id` of `page`.
std::wstring Tip(HWND page, int id) {
    wchar_t text[256] = {};
    TOOLINFOW info{};
    info.cbSize = sizeof(info);
    info.hwnd = page;
    info.uId = reinterpret_cast<UINT_PTR>(Item(page, id));
    info.lpszText = text;
    for (HWND tips = nullptr; (tips = ::FindWindowExW(nullptr, tips, TOOLTIPS_CLASSW, nullptr));) {
        DWORD process = 0;
        ::GetWindowThreadProcessId(tips, &process);
        if (process == ::GetCurrentProcessId()) ::SendMessageW(tips, TTM_GETTEXTW, 256, LPARAM(&info));
    }
    return text;
}

// A failed open stays blue, a successful one turns the link purple.
TEST_F(General, LinksShowTheirTipsAndTurnPurpleOnceOpened) {
    Run([&](HWND sheet, HWND page) {
        EXPECT_EQ(L"About the product on the web", Tip(page, IDC_GENERAL_NOTICE));
        shellAnswer = 2;
        ClickLink(page, IDC_GENERAL_NOTICE);
        EXPECT_EQ(RGB(0, 0, 255), LinkColor(page, IDC_GENERAL_NOTICE));
        shellAnswer = 42;
        ClickLink(page, IDC_GENERAL_NOTICE);
        EXPECT_EQ(RGB(128, 0, 128), LinkColor(page, IDC_GENERAL_NOTICE));
        PressSheetButton(sheet, PSBTN_CANCEL);
        WaitUntilGone(sheet);
    });
}

// A user who may not change the machine's settings, with an invalid language of his own.
TEST_F(General, RestrictedUserSavesHisOwnLanguageAndTheSheetIsRebuilt) {
    applettest::SetLanguages(1058, 1033);
    ScopedKnob config(knobs::kAccess, L"\\config", knobs::kRead);
    const INT_PTR result = Run([&](HWND sheet, HWND page) {
        EXPECT_FALSE(IsEnabled(Item(page, IDC_GENERAL_MACHINE_LANGUAGE)));
        Click(sheet, kApply);
        WaitUntilGone(sheet);
    });
    EXPECT_EQ(IDRETRY, result) << "the sheet is built again in the new language";
    EXPECT_EQ(std::nullopt, StoredLong(store::kLocalLanguage)) << "the invalid value is removed";
    EXPECT_EQ(1033u, StoredLong(store::kConfigLanguage));
}

}  // namespace
