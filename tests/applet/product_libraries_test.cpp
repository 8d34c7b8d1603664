// The product's libraries as an installation leaves them: the applet copied alone into a folder,
// a product language without templates, kvcrypt.dll seen from a program not beside it.
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

// The double click and each wizard export tell the missing library once, over the caller's
// window, and return to it.
TEST(ProductLibraries, TheAppletAloneTellsTheMissingLibraryAndReturns) {
    wchar_t temp[MAX_PATH];
    ASSERT_TRUE(::GetTempPathW(MAX_PATH, temp));
    const std::wstring folder = std::wstring(temp) + L"kv-applet-alone\\";
    ::CreateDirectoryW(folder.c_str(), nullptr);
    ASSERT_TRUE(::CopyFileW((std::wstring(applettest::kProductDir) + L"kvconfig.cpl").c_str(),
                            (folder + L"kvconfig.cpl").c_str(), FALSE));
    HMODULE module = ::LoadLibraryW((folder + L"kvconfig.cpl").c_str());
    HWND caller = ::CreateWindowExW(0, L"STATIC", L"caller", WS_POPUP | WS_VISIBLE, 0, 0, 50, 50,
                                    nullptr, nullptr, nullptr, nullptr);
    auto cpl = reinterpret_cast<APPLET_PROC>(
        reinterpret_cast<void*>(::GetProcAddress(module, "CPlApplet")));
    std::vector<std::function<INT_PTR()>> entries = {
        [&] { return INT_PTR{cpl(caller, CPL_DBLCLK, 0, 0)}; },
        [&] { return INT_PTR{cpl(caller, CPL_STARTWPARMSA, 0, LPARAM("2"))}; }};
    for (const char* name : {"WizDeleteContainer", "WizChangePassword",
                             "WizInstallPrivateCertificate", "WizViewCertificateInContainer"}) {
        auto entry = reinterpret_cast<void(WINAPI*)(HWND)>(
            reinterpret_cast<void*>(::GetProcAddress(module, name)));
        entries.push_back([=] { return entry(caller), INT_PTR{-1}; });
    }
    ASSERT_EQ(1, cpl(caller, CPL_INIT, 0, 0));
    for (size_t i = 0; i < entries.size(); ++i) {
        SCOPED_TRACE(i);
        const INT_PTR result = RunModal(entries[i], [&] {
            MessageBoxInfo box = WaitForMessageBox();
            EXPECT_EQ(caller, ::GetWindow(box.hwnd, GW_OWNER));
            EXPECT_EQ(L"kvsuprt.dll could not be loaded:\n" +
                          applet::ErrorText(ERROR_MOD_NOT_FOUND, 1033) + L"\n\n",
                      box.text.substr(0, box.text.find(L"\n\n") + 2));
            EXPECT_EQ(static_cast<UINT>(MB_ICONERROR), box.icon);
            AnswerMessageBox(IDOK);
        });
        EXPECT_EQ(i == 0 ? 1 : i == 1 ? 0 : -1, result) << "as for a sheet not created";
    }
    cpl(caller, CPL_EXIT, 0, 0);
    ::DestroyWindow(caller);
    ::FreeLibrary(module);
    ::DeleteFileW((folder + L"kvconfig.cpl").c_str());
    ::RemoveDirectoryW(folder.c_str());
}

TEST(ProductLibraries, ALanguageWithoutTemplatesShowsEnglish) {
    applettest::SetLanguages(1058, 1058);
    const DWORD asStored = 1;
    ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, knobs::kRoot, knobs::kLanguageAsStored, REG_DWORD,
                      &asStored, sizeof(asStored));
    applettest::RunSheet(0, [](HWND sheet) {
        EXPECT_EQ((std::vector<std::wstring>{L"<System Default>", L"Russian", L"English"}),
                  ComboItems(Item(ActivePage(sheet), IDC_GENERAL_USER_LANGUAGE)));
    });
    ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, knobs::kRoot, knobs::kLanguageAsStored);
    applettest::SetLanguages(std::nullopt, std::nullopt);
}

TEST(ProductLibraries, KvcryptResetsTheThreadDefaultFromAnyHost) {
    auto calls = [] {
        DWORD value = 0, size = sizeof(value);
        ::RegGetValueW(HKEY_LOCAL_MACHINE, knobs::kCalls, knobs::kCallThreadDefaultProv,
                       RRF_RT_REG_DWORD, nullptr, &value, &size);
        return value;
    };
    const DWORD before = calls();
    { applet::ThreadDefaultProviderScope scope; }
    EXPECT_EQ(before + 1, calls());
}

}  // namespace
