// The General page: the language choices against every kind of access to the store, what the
// installation and the provider report, and the page's links as a person clicks them.
#include "applet/installation.h"
#include "applet/static_link.h"
#include "applet/strings.h"
#include "applet/support.h"
#include "applet_fixture.h"
#include "driver/driver.h"
#include "pages/general_page.h"
#include "resource.h"
#include "testbed/client.h"
#include "version.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <tuple>
#include <vector>

namespace {

using namespace driver;
using applet::LanguageSettings;
using applettest::StoredLong;
using testbed::ScopedKnob;
using Texts = std::vector<std::wstring>;
namespace knobs = testbed::knobs;

// What the shell was asked to start ("verb file", in lower case); the answer is the test's.
Texts shellCalls;
INT_PTR shellAnswer = 42;

std::wstring Lower(std::wstring text) {
    ::CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

HINSTANCE WINAPI RecordShellCall(HWND, LPCWSTR verb, LPCWSTR file, LPCWSTR, LPCWSTR, INT) {
    shellCalls.push_back(Lower(std::wstring(verb) + L" " + file));
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
        EXPECT_EQ(config == kAll, settings.forceModified);
        EXPECT_EQ(config == kAll, settings.Modified()) << "only a value the user may write";
        settings.machineIndex = LanguageSettings::kMachineRussian;
        settings.userIndex = LanguageSettings::kUserEnglish;
        EXPECT_EQ(result, applet::SaveLanguageSettings(settings));
        EXPECT_EQ(machine, StoredLong(store::kConfigLanguage));
        EXPECT_EQ(user, StoredLong(store::kLocalLanguage));
    }
}

std::wstring ExpectedVersion(const wchar_t* rest) {
    const WORD version[] = {KV_TESTBED_VERSION};
    wchar_t text[64];
    std::swprintf(text, 64, L"%u.%u.%04u %ls", version[0], version[1], version[3], rest);
    return text;
}

TEST_F(General, CoreVersionNamesTheProtectionClassAndADebugBuild) {
    const std::wstring provider = applet::ProductProviderName(applet::InstallationProductCode());
    {
        ScopedKnob knob(knobs::kProvider, knobs::kProtectionClass, 5);
        EXPECT_EQ(ExpectedVersion(L"KB2"), applet::CoreVersionText(provider));
    }
    ScopedKnob unanswered(knobs::kProvider, knobs::kProtectionClass, 0);
    ScopedKnob debug(knobs::kProvider, knobs::kDebugBuild, 1);
    EXPECT_EQ(ExpectedVersion(L" Debug"), applet::CoreVersionText(provider));
    EXPECT_EQ(L"", applet::CoreVersionText(L"No such provider"));
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

// The page in a sheet: `script` gets the sheet and the page once it shows, after `before` has
// answered what comes up while it starts; the script closes the sheet.
INT_PTR RunPage(const std::function<void(HWND sheet, HWND page)>& script,
                const std::function<void()>& before = [] {}) {
    applet::CPropPageConfigCSPGeneral page;
    ui::PropertySheet sheet;
    sheet.SetCaption(L"General page");
    sheet.AddPage(page);
    return RunModal([&] { return sheet.DoModal(); }, [&] {
        before();
        HWND hwnd = WaitForWindow({L"#32770", L"General page"});
        WaitUntil([&] { return ActivePage(hwnd) != nullptr; }, "the page");
        script(hwnd, ActivePage(hwnd));
    });
}

// A failed open beeps and stays blue, a successful one turns the link purple; the console starts
// from either of its files, else says so.
TEST_F(General, PageShowsTheInstallationAndOpensItsLinks) {
    const std::wstring console = std::wstring(applettest::kProductDir) + L"kvpki.exe";
    const std::wstring oldConsole = std::wstring(applettest::kProductDir) + L"kvpkiold.exe";
    RunPage([&](HWND sheet, HWND page) {
        EXPECT_EQ(ExpectedVersion(L"KC1"), Text(Item(page, IDC_GENERAL_CORE_VERSION)));
        EXPECT_EQ(TEXT(KV_TESTBED_VERSION_TEXT), Text(Item(page, IDC_GENERAL_PRODUCT_VERSION)));
        EXPECT_EQ(L"Copyright (C) 2026 Kelvane. All rights reserved.",
                  Text(Item(page, IDC_GENERAL_NOTICE)));
        EXPECT_FALSE(IsVisible(Item(page, IDC_GENERAL_RUN_AS_ADMIN)));
        shellAnswer = 2;
        ClickLink(page, IDC_GENERAL_NOTICE);
        EXPECT_EQ(RGB(0, 0, 255), LinkColor(page, IDC_GENERAL_NOTICE));
        shellAnswer = 42;
        ClickLink(page, IDC_GENERAL_NOTICE);
        EXPECT_EQ(RGB(128, 0, 128), LinkColor(page, IDC_GENERAL_NOTICE));
        ClickLink(page, IDC_GENERAL_PRODUCT_NAME);
        ClickLink(page, IDC_GENERAL_PKI_CONSOLE);
        applettest::HiddenFile hidden(console);
        ClickLink(page, IDC_GENERAL_PKI_CONSOLE);
        applettest::HiddenFile old(oldConsole);
        ClickLink(page, IDC_GENERAL_PKI_CONSOLE);
        EXPECT_EQ(L"Failed to start \"Vestra PKI\" console", AnswerMessageBox(IDOK).text);
        PressSheetButton(sheet, PSBTN_CANCEL);
    });
    const std::wstring about = L"open https://www.kelvane.example/vestra-csp";
    EXPECT_EQ((Texts{about, about, about + L"/updates", Lower(L"open " + console),
                     Lower(L"open " + oldConsole)}),
              shellCalls);
}

// A user who may not change the machine's settings, with an invalid language of his own and a
// default provider that another type stands in for.
TEST_F(General, RestrictedUserRestartsAsAdministratorOrSavesHisOwnLanguage) {
    applettest::SetLanguages(1058, 1033);
    ScopedKnob config(knobs::kAccess, L"\\config", knobs::kRead);
    ScopedKnob intercepted(knobs::kProvider, knobs::kReportedType, 71);
    const auto intercept = [] {
        EXPECT_EQ(L"Fatal error. Default system cryptoprovider intercepted. System may not "
                  L"function properly.",
                  AnswerMessageBox(IDOK).text);
    };
    INT_PTR result = RunPage(
        [&](HWND sheet, HWND page) {
            EXPECT_FALSE(IsEnabled(Item(page, IDC_GENERAL_MACHINE_LANGUAGE)));
            EXPECT_TRUE(IsVisible(Item(page, IDC_GENERAL_SHIELD)));
            EXPECT_EQ(0, ComboSelection(Item(page, IDC_GENERAL_USER_LANGUAGE)));
            shellAnswer = 0;
            ClickLink(page, IDC_GENERAL_RUN_AS_ADMIN);
            EXPECT_EQ(L"Couldn't run control panel with administrative privileges.",
                      AnswerMessageBox(IDOK).text);
            Click(sheet, kApply);
            WaitUntilGone(sheet);
        },
        intercept);
    EXPECT_EQ(IDRETRY, result) << "the sheet is built again in the new language";
    EXPECT_EQ(std::nullopt, StoredLong(store::kLocalLanguage)) << "the invalid value is removed";
    EXPECT_EQ(1033u, StoredLong(store::kConfigLanguage));

    shellAnswer = 42;
    result = RunPage(
        [&](HWND sheet, HWND page) {
            ClickLink(page, IDC_GENERAL_RUN_AS_ADMIN);
            WaitUntilGone(sheet);
        },
        intercept);
    EXPECT_EQ(IDCANCEL, result) << "the elevated copy takes over";
    EXPECT_EQ(Lower(L"runas " + applettest::ProgramPath()), shellCalls.back());
}

}  // namespace
