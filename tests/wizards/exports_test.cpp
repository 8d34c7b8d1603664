// The wizard entry points of the installed applet, called by another program with its window.
#include "driver/driver.h"
#include "resource.h"
#include "wizard_fixture.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;

TEST(Exports, OpenTheirWizardsOverTheCallersWindow) {
    std::wstring path = std::wstring(wiztest::kProductDir) + L"kvconfig.cpl";
    HMODULE applet = ::LoadLibraryW(path.c_str());
    ASSERT_TRUE(applet);
    HWND parent = ::CreateWindowExW(0, L"STATIC", L"caller", WS_POPUP | WS_VISIBLE, 0, 0, 50, 50,
                                    nullptr, nullptr, nullptr, nullptr);
    ASSERT_TRUE(parent);
    struct Case {
        const char* exportName;
        const wchar_t* title;
        int firstPageControl;
    };
    for (Case c :
         {Case{"WizDeleteContainer", L"Delete private key container", IDC_SELECT_NAME},
          Case{"WizChangePassword", L"Change password for private key container", IDC_SELECT_NAME},
          Case{"WizInstallPrivateCertificate", L"Private certificate installation wizard",
               IDC_INSTALL_FILE_NAME},
          Case{"WizViewCertificateInContainer", L"Certificates in private key container",
               IDC_SELECT_NAME}}) {
        SCOPED_TRACE(c.exportName);
        using Entry = void(WINAPI*)(HWND);
        auto entry = reinterpret_cast<Entry>(
            reinterpret_cast<void*>(::GetProcAddress(applet, c.exportName)));
        ASSERT_TRUE(entry);
        RunModal(
            [&] {
                entry(parent);
                return INT_PTR{0};
            },
            [&] {
                WindowQuery query{L"#32770", c.title, parent, true};
                HWND wizard = WaitForWindow(query);
                EXPECT_FALSE(IsEnabled(parent)) << "modal over the caller's window";
                EXPECT_TRUE(IsVisible(Item(ActivePage(wizard), c.firstPageControl)));
                PressSheetButton(wizard, PSBTN_CANCEL);
                WaitUntilGone(wizard);
            });
        EXPECT_TRUE(IsEnabled(parent));
    }
    ::DestroyWindow(parent);
    EXPECT_EQ(0, wiztest::Live().contexts);
}

}  // namespace
