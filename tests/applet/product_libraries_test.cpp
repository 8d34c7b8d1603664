// The product's libraries as an installation leaves them, or fails to: the applet copied out of
// the product's folder, a product that speaks a language the applet has no templates for, and
// kvcrypt.dll reached from a program that does not live beside it.
#include "applet/strings.h"
#include "applet_fixture.h"
#include "driver/driver.h"
#include "resource.h"
#include "testbed/knobs.h"
#include "wizards/certificate_on_container.h"

#include <gtest/gtest.h>

#include <cpl.h>

namespace {

using namespace driver;
namespace knobs = testbed::knobs;

using Entry = void(WINAPI*)(HWND);
const char* const kExports[] = {"WizDeleteContainer", "WizChangePassword",
                                "WizInstallPrivateCertificate", "WizViewCertificateInContainer"};

DWORD Calls(const wchar_t* name) {
    DWORD value = 0, size = sizeof(value);
    ::RegGetValueW(HKEY_LOCAL_MACHINE, knobs::kCalls, name, RRF_RT_REG_DWORD, nullptr, &value,
                   &size);
    return value;
}

TEST(SupportLibraryFailure, NamesTheLibraryAndItsErrorInTheWindowsLanguage) {
    const std::wstring english = L"kvsuprt.dll could not be loaded:\n";
    const std::wstring russian = L"Не удалось загрузить kvsuprt.dll:\n";
    struct Case {
        LANGID windows;
        const std::wstring& start;
        LANGID own;
    };
    for (Case c : {Case{1049, russian, 1049}, Case{0x0819, russian, 1049},
                   Case{1033, english, 1033}, Case{1058, english, 1033}}) {
        SCOPED_TRACE(c.windows);
        const std::wstring text = applet::SupportLibraryFailureText(ERROR_MOD_NOT_FOUND, c.windows);
        EXPECT_EQ(c.start, text.substr(0, c.start.size()));
        EXPECT_NE(std::wstring::npos,
                  text.find(applet::ErrorText(ERROR_MOD_NOT_FOUND, c.own) + L"\n\n"));
    }
}

// kvconfig.cpl alone in a folder of its own: the double click and each wizard export say which
// library is missing, once, and give control back to their caller.
TEST(AppletAlone, EveryEntryPointTellsTheMissingLibraryAndReturns) {
    wchar_t temp[MAX_PATH];
    ASSERT_TRUE(::GetTempPathW(MAX_PATH, temp));
    const std::wstring folder = std::wstring(temp) + L"kv-applet-alone\\";
    const std::wstring copy = folder + L"kvconfig.cpl";
    ::CreateDirectoryW(folder.c_str(), nullptr);
    ASSERT_TRUE(::CopyFileW((std::wstring(applettest::kProductDir) + L"kvconfig.cpl").c_str(),
                            copy.c_str(), FALSE));
    HMODULE module = ::LoadLibraryW(copy.c_str());
    ASSERT_TRUE(module);
    HWND caller = ::CreateWindowExW(0, L"STATIC", L"caller", WS_POPUP | WS_VISIBLE, 0, 0, 50, 50,
                                    nullptr, nullptr, nullptr, nullptr);
    const std::wstring expected =
        applet::SupportLibraryFailureText(ERROR_MOD_NOT_FOUND, ::GetUserDefaultUILanguage());
    auto answer = [&] {
        MessageBoxInfo box = WaitForMessageBox();
        EXPECT_EQ(caller, ::GetWindow(box.hwnd, GW_OWNER));
        EXPECT_EQ(expected, box.text);
        EXPECT_EQ(static_cast<UINT>(MB_ICONERROR), box.icon);
        EXPECT_EQ(L"Vestra CSP", box.caption);
        AnswerMessageBox(IDOK);
    };

    auto cpl = reinterpret_cast<APPLET_PROC>(
        reinterpret_cast<void*>(::GetProcAddress(module, "CPlApplet")));
    ASSERT_TRUE(cpl);
    ASSERT_EQ(1, cpl(caller, CPL_INIT, 0, 0));
    EXPECT_EQ(1, RunModal([&] { return INT_PTR{cpl(caller, CPL_DBLCLK, 0, 0)}; }, answer))
        << "as for a sheet that could not be created";
    EXPECT_EQ(0, RunModal([&] { return INT_PTR{cpl(caller, CPL_STARTWPARMSA, 0, LPARAM("2"))}; },
                          answer));
    cpl(caller, CPL_EXIT, 0, 0);
    for (const char* name : kExports) {
        SCOPED_TRACE(name);
        auto entry =
            reinterpret_cast<Entry>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
        ASSERT_TRUE(entry);
        RunModal(
            [&] {
                entry(caller);
                return INT_PTR{0};
            },
            answer);
        EXPECT_TRUE(IsEnabled(caller)) << "the caller goes on";
    }
    ::DestroyWindow(caller);
    ::FreeLibrary(module);
    ::DeleteFileW(copy.c_str());
    ::RemoveDirectoryW(folder.c_str());
}

// A product that reports Ukrainian, which the applet has no templates or texts for: the sheet
// and the wizards show in English rather than empty.
TEST(UnknownLanguage, SheetAndWizardsShowInEnglish) {
    applettest::SetLanguages(1058, 1058);
    const DWORD asStored = 1;
    ASSERT_EQ(ERROR_SUCCESS,
              ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, knobs::kRoot, knobs::kLanguageAsStored,
                                REG_DWORD, &asStored, sizeof(asStored)));
    applettest::RunSheet(0, [](HWND sheet) {
        EXPECT_EQ((std::vector<std::wstring>{L"<System Default>", L"Russian", L"English"}),
                  ComboItems(Item(ActivePage(sheet), IDC_GENERAL_USER_LANGUAGE)));
    });
    HMODULE module =
        ::LoadLibraryW((std::wstring(applettest::kProductDir) + L"kvconfig.cpl").c_str());
    auto entry = reinterpret_cast<Entry>(
        reinterpret_cast<void*>(::GetProcAddress(module, "WizDeleteContainer")));
    ASSERT_TRUE(entry);
    RunModal(
        [&] {
            entry(nullptr);
            return INT_PTR{0};
        },
        [] {
            HWND wizard = WaitForWindow({L"#32770", L"Delete private key container"});
            WaitUntil([&] { return IsVisible(Item(ActivePage(wizard), IDC_SELECT_NAME)); },
                      "the container page");
            PressSheetButton(wizard, PSBTN_CANCEL);
            WaitUntilGone(wizard);
        });
    ::FreeLibrary(module);
    ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, knobs::kRoot, knobs::kLanguageAsStored);
    applettest::SetLanguages(std::nullopt, std::nullopt);
}

// This program lives in the build tree, not beside kvcrypt.dll: the library is found through
// the product's registration, as every product library is, and the reset reaches it.
TEST(ThreadDefaultProvider, IsResetThroughTheProductsKvcrypt) {
    const DWORD before = Calls(knobs::kCallThreadDefaultProv);
    { applet::ThreadDefaultProviderScope scope; }
    EXPECT_EQ(before + 1, Calls(knobs::kCallThreadDefaultProv));
}

}  // namespace
