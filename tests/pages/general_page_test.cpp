// The General page: the language choices against every kind of access to the store, what the
// installation and the provider report, and the page's links as a person clicks them.
#include "applet/installation.h"
#include "applet/support.h"
#include "applet_fixture.h"
#include "driver/driver.h"
#include "pages/general_page.h"
#include "resource.h"
#include "testbed/client.h"
#include "testbed/knobs.h"
#include "version.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <vector>

namespace {

using namespace driver;
using applet::LanguageSettings;
using applettest::StoredLong;
using testbed::ScopedKnob;
namespace knobs = testbed::knobs;

constexpr int kRebuild = applet::CPropPageConfigBase::kSavedRebuild;
constexpr int kFailed = applet::CPropPageConfigBase::kSaveFailed;

// What the shell was asked to start ("verb file", in lower case); the answer is the test's.
std::vector<std::wstring> shellCalls;
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
        applettest::SetLanguages(std::nullopt, std::nullopt);
        shellCalls.clear();
        shellAnswer = 42;
    }
    void TearDown() override { applettest::SetLanguages(std::nullopt, std::nullopt); }

    applettest::ScopedSeams seams_{RecordShellCall};
};

TEST_F(General, LanguageSaveInEveryCombinationOfAccess) {
    struct Case {
        const char* what;
        DWORD config, local, configValue, localValue;  // rights granted
        int result;
        std::optional<DWORD> machine, user;
    };
    constexpr DWORD kAll = knobs::kRead | knobs::kWrite | knobs::kRemove;
    constexpr DWORD kRead = knobs::kRead;
    const Case cases[] = {
        {"both may be written", kAll, kAll, kAll, kAll, kRebuild, 1049, 1033},
        {"only the user's", kRead, kAll, kRead, kAll, kRebuild, std::nullopt, 1033},
        {"only the machine's", kAll, kRead, kAll, kRead, kRebuild, 1049, std::nullopt},
        {"the machine's write fails, the user's still rebuilds", kAll, kAll, kRead, kAll, kRebuild,
         std::nullopt, 1033},
        {"the machine's write fails and the user may not write", kAll, kRead, kRead, kRead, kFailed,
         std::nullopt, std::nullopt},
        {"the user's write fails", kAll, kAll, kAll, kRead, kFailed, 1049, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        applettest::SetLanguages(std::nullopt, std::nullopt);
        ScopedKnob config(knobs::kAccess, L"\\config", c.config);
        ScopedKnob local(knobs::kAccess, L"\\local", c.local);
        ScopedKnob configValue(knobs::kAccess, L"\\config\\Language", c.configValue);
        ScopedKnob localValue(knobs::kAccess, L"\\local\\Language", c.localValue);
        LanguageSettings settings = applet::ReadLanguageSettings();
        EXPECT_EQ(LanguageSettings::kMachineEnglish, settings.machineIndex) << "nothing stored";
        EXPECT_EQ(c.config == kAll, settings.forceModified);
        EXPECT_EQ(c.config == kAll, settings.Modified()) << "only a value the user may write";
        settings.machineIndex = LanguageSettings::kMachineRussian;
        settings.userIndex = LanguageSettings::kUserEnglish;
        EXPECT_EQ(c.result, applet::SaveLanguageSettings(settings));
        EXPECT_EQ(c.machine, StoredLong(store::kConfigLanguage));
        EXPECT_EQ(c.user, StoredLong(store::kLocalLanguage));
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
    EXPECT_EQ(L"Kelvane Vestra CSP", provider);
    const wchar_t* const classes[] = {L"KC1", L"KC2", L"KC3", L"KB1", L"KB2", L"KA1", L""};
    for (DWORD protection = 1; protection <= 7; ++protection) {
        ScopedKnob knob(knobs::kProvider, knobs::kProtectionClass, protection);
        EXPECT_EQ(ExpectedVersion(classes[protection - 1]), applet::CoreVersionText(provider));
    }
    {
        ScopedKnob unanswered(knobs::kProvider, knobs::kProtectionClass, 0);
        ScopedKnob debug(knobs::kProvider, knobs::kDebugBuild, 1);
        EXPECT_EQ(ExpectedVersion(L" Debug"), applet::CoreVersionText(provider));
    }
    EXPECT_EQ(L"", applet::CoreVersionText(L"No such provider"));
}

const std::wstring kConsole = std::wstring(applettest::kProductDir) + L"kvpki.exe";
const std::wstring kOldConsole = std::wstring(applettest::kProductDir) + L"kvpkiold.exe";

HWND OpenPage(HWND& sheet) {
    sheet = WaitForWindow({L"#32770", L"General page"});
    WaitUntil([&] { return ActivePage(sheet) != nullptr; }, "the page");
    return ActivePage(sheet);
}

// The link's text colour, as the page gives it to the static when it paints.
COLORREF LinkColor(HWND page, int id) {
    HDC dc = ::CreateCompatibleDC(nullptr);
    ::SendMessageW(page, WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(dc),
                   reinterpret_cast<LPARAM>(Item(page, id)));
    COLORREF color = ::GetTextColor(dc);
    ::DeleteDC(dc);
    return color;
}

void ClickLink(HWND page, int id) {
    HWND link = Item(page, id);
    WaitUntil([&] { return IsVisible(link); }, "the link");
    ::PostMessageW(link, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(2, 2));
    Flush();
}

INT_PTR RunPage(const std::function<void()>& script) {
    applet::CPropPageConfigCSPGeneral page;
    ui::PropertySheet sheet;
    sheet.SetCaption(L"General page");
    sheet.AddPage(page);
    return RunModal([&] { return sheet.DoModal(); }, script);
}

TEST_F(General, PageShowsTheInstallationAndOpensItsLinks) {
    INT_PTR result = RunPage([&] {
        HWND sheet = nullptr;
        HWND page = OpenPage(sheet);
        EXPECT_EQ(ExpectedVersion(L"KC1"), Text(Item(page, IDC_GENERAL_CORE_VERSION)));
        EXPECT_EQ(TEXT(KV_TESTBED_VERSION_TEXT), Text(Item(page, IDC_GENERAL_PRODUCT_VERSION)));
        EXPECT_EQ(L"Vestra CSP", Text(Item(page, IDC_GENERAL_PRODUCT_NAME)));
        EXPECT_EQ(L"Copyright (C) 2026 Kelvane. All rights reserved.",
                  Text(Item(page, IDC_GENERAL_NOTICE)));
        EXPECT_EQ((std::vector<std::wstring>{L"<System Default>", L"Russian", L"English"}),
                  ComboItems(Item(page, IDC_GENERAL_USER_LANGUAGE)));
        EXPECT_FALSE(IsVisible(Item(page, IDC_GENERAL_RUN_AS_ADMIN)));
        EXPECT_FALSE(IsVisible(Item(page, IDC_GENERAL_SHIELD)));

        // A failed open beeps and stays blue; a successful one turns the link purple.
        EXPECT_EQ(RGB(0, 0, 255), LinkColor(page, IDC_GENERAL_NOTICE));
        shellAnswer = 2;
        ClickLink(page, IDC_GENERAL_NOTICE);
        EXPECT_EQ(RGB(0, 0, 255), LinkColor(page, IDC_GENERAL_NOTICE));
        shellAnswer = 42;
        ClickLink(page, IDC_GENERAL_NOTICE);
        EXPECT_EQ(RGB(128, 0, 128), LinkColor(page, IDC_GENERAL_NOTICE));
        ClickLink(page, IDC_GENERAL_PRODUCT_NAME);

        // The console from either of its components, else the message.
        ClickLink(page, IDC_GENERAL_PKI_CONSOLE);
        {
            applettest::HiddenFile hidden(kConsole);
            ClickLink(page, IDC_GENERAL_PKI_CONSOLE);
            applettest::HiddenFile old(kOldConsole);
            ClickLink(page, IDC_GENERAL_PKI_CONSOLE);
            MessageBoxInfo box = AnswerMessageBox(IDOK);
            EXPECT_EQ(L"Failed to start \"Vestra PKI\" console", box.text);
            EXPECT_EQ(static_cast<UINT>(MB_ICONERROR), box.icon);
        }
        PressSheetButton(sheet, PSBTN_CANCEL);
    });
    EXPECT_EQ(IDCANCEL, result);
    const std::wstring about = L"open https://www.kelvane.example/vestra-csp";
    EXPECT_EQ(
        (std::vector<std::wstring>{about, about, about + L"/updates", Lower(L"open " + kConsole),
                                   Lower(L"open " + kOldConsole)}),
        shellCalls);
}

// A user who may not change the machine's settings, with an invalid language of his own and a
// default provider that another type stands in for.
TEST_F(General, RestrictedUserRestartsAsAdministratorOrSavesHisOwnLanguage) {
    applettest::SetLanguages(1058, 1033);
    ScopedKnob config(knobs::kAccess, L"\\config", knobs::kRead);
    ScopedKnob intercepted(knobs::kProvider, knobs::kReportedType, 71);
    INT_PTR result = RunPage([&] {
        MessageBoxInfo box = AnswerMessageBox(IDOK);
        EXPECT_EQ(
            L"Fatal error. Default system cryptoprovider intercepted. System may not "
            L"function properly.",
            box.text);
        EXPECT_EQ(static_cast<UINT>(MB_ICONERROR), box.icon);
        HWND sheet = nullptr;
        HWND page = OpenPage(sheet);
        EXPECT_FALSE(IsEnabled(Item(page, IDC_GENERAL_MACHINE_LANGUAGE)));
        EXPECT_TRUE(IsEnabled(Item(page, IDC_GENERAL_USER_LANGUAGE)));
        EXPECT_TRUE(IsVisible(Item(page, IDC_GENERAL_SHIELD)));
        EXPECT_EQ(0, ComboSelection(Item(page, IDC_GENERAL_USER_LANGUAGE)));
        WaitUntil([&] { return IsEnabled(SheetButton(sheet, kApply)); }, "Apply offered");

        shellAnswer = 0;
        ClickLink(page, IDC_GENERAL_RUN_AS_ADMIN);
        EXPECT_EQ(L"Couldn't run control panel with administrative privileges.",
                  AnswerMessageBox(IDOK).text);
        Click(sheet, kApply);
        WaitUntilGone(sheet);
    });
    EXPECT_EQ(IDRETRY, result) << "the sheet is built again in the new language";
    EXPECT_EQ(std::nullopt, StoredLong(store::kLocalLanguage)) << "the invalid value is removed";
    EXPECT_EQ(1033u, StoredLong(store::kConfigLanguage));

    shellAnswer = 42;
    result = RunPage([&] {
        AnswerMessageBox(IDOK);
        HWND sheet = nullptr;
        HWND page = OpenPage(sheet);
        ClickLink(page, IDC_GENERAL_RUN_AS_ADMIN);
        WaitUntilGone(sheet);
    });
    EXPECT_EQ(IDCANCEL, result) << "the elevated copy takes over";
    EXPECT_EQ(Lower(L"runas " + applettest::ProgramPath()), shellCalls.back());
}

}  // namespace
