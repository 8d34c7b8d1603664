// The Hardware page: the product's reader and random number windows opened from the sheet, and
// what the page says when the reader library is not there.
#include "applet_fixture.h"
#include "client.h"
#include "driver/driver.h"
#include "installed_applet.h"
#include "resource.h"
#include "testbed/knobs.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
namespace knobs = testbed::knobs;

constexpr int kHardwarePage = 1;

// Presses `button` on the page and closes the library window that opens, owned by the sheet
// (the page is a child window: the sheet owns what the page owns) and keeping it disabled.
void OpenAndClose(HWND sheet, int button, const wchar_t* title) {
    Click(Item(ActivePage(sheet), button));
    HWND window = WaitForWindow({L"#32770", title, sheet, true});
    EXPECT_FALSE(IsEnabled(sheet)) << Narrow(title) << " is modal";
    Click(Item(window, IDCANCEL));
    WaitUntilGone(window);
}

TEST(HardwarePage, EachButtonOpensItsLibrarysWindowAndTheReaderLibraryStaysLoaded) {
    const DWORD readers = testbed::CallCount(knobs::kCallReaders);
    const DWORD carriers = testbed::CallCount(knobs::kCallCarriers);
    const DWORD rng = testbed::CallCount(knobs::kCallRng);
    pagetest::InstalledApplet applet;
    applet.RunSheet(kHardwarePage, [&](HWND sheet) {
        OpenAndClose(sheet, IDC_HARDWARE_READERS, knobs::kTitleReaders);
        HMODULE library = ::GetModuleHandleW(L"kvrdr.dll");
        EXPECT_TRUE(library) << "the reader library stays loaded after its window";
        OpenAndClose(sheet, IDC_HARDWARE_READERS, knobs::kTitleReaders);
        EXPECT_EQ(library, ::GetModuleHandleW(L"kvrdr.dll"));
        OpenAndClose(sheet, IDC_HARDWARE_CARRIERS, knobs::kTitleCarriers);
        OpenAndClose(sheet, IDC_HARDWARE_RNG, knobs::kTitleRng);
        EXPECT_TRUE(pagetest::NoMessageBox());
    });
    EXPECT_EQ(readers + 2, testbed::CallCount(knobs::kCallReaders));
    EXPECT_EQ(carriers + 1, testbed::CallCount(knobs::kCallCarriers));
    EXPECT_EQ(rng + 1, testbed::CallCount(knobs::kCallRng));
}

TEST(HardwarePage, WithoutTheReaderLibraryBothReaderButtonsSaySoAndTheRngStillOpens) {
    const std::wstring installed = testbed::InstalledPath(L"kvrdr.dll");
    ASSERT_FALSE(installed.empty());
    applettest::SetAppPath(L"kvrdr.dll",
                           std::wstring(applettest::kProductDir) + L"gone\\kvrdr.dll");
    const DWORD readers = testbed::CallCount(knobs::kCallReaders);
    const DWORD carriers = testbed::CallCount(knobs::kCallCarriers);
    pagetest::InstalledApplet applet;
    applet.RunSheet(kHardwarePage, [&](HWND sheet) {
        for (int button : {IDC_HARDWARE_READERS, IDC_HARDWARE_CARRIERS}) {
            Click(Item(ActivePage(sheet), button));
            MessageBoxInfo box = AnswerMessageBox(IDOK);
            EXPECT_EQ(L"RDR library does not available", box.text);
            EXPECT_EQ(static_cast<UINT>(MB_ICONERROR), box.icon);
        }
        OpenAndClose(sheet, IDC_HARDWARE_RNG, knobs::kTitleRng);
    });
    applettest::SetAppPath(L"kvrdr.dll", installed);
    EXPECT_EQ(readers, testbed::CallCount(knobs::kCallReaders));
    EXPECT_EQ(carriers, testbed::CallCount(knobs::kCallCarriers));
}

}  // namespace
