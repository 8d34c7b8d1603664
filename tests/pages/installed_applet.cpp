#include "installed_applet.h"

#include "applet_fixture.h"
#include "driver/driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace pagetest {

InstalledApplet::InstalledApplet() {
    module_ = ::LoadLibraryW((std::wstring(applettest::kProductDir) + L"kvconfig.cpl").c_str());
    EXPECT_TRUE(module_);
    if (!module_) return;
    cpl_ = reinterpret_cast<APPLET_PROC>(
        reinterpret_cast<void*>(::GetProcAddress(module_, "CPlApplet")));
    EXPECT_TRUE(cpl_);
    if (cpl_ && cpl_(nullptr, CPL_INIT, 0, 0) != 1) {
        ADD_FAILURE() << "CPL_INIT";
        cpl_ = nullptr;
    }
}

InstalledApplet::~InstalledApplet() {
    if (cpl_) cpl_(nullptr, CPL_EXIT, 0, 0);
    if (module_) ::FreeLibrary(module_);
}

namespace {

// The configuration sheet, once shown, and not a message box that has the same caption.
HWND WaitForSheet() {
    HWND sheet = nullptr;
    driver::WaitUntil(
        [&] {
            for (HWND hwnd : driver::TopLevelWindows())
                if (driver::Text(hwnd) == L"Vestra CSP" && !driver::IsMessageBox(hwnd)) {
                    sheet = hwnd;
                    return true;
                }
            return false;
        },
        "the configuration sheet");
    return sheet;
}

}  // namespace

void InstalledApplet::RunSheet(int page, const std::function<void(HWND sheet)>& script,
                               const std::function<void()>& beforeSheet) {
    ASSERT_TRUE(cpl_);
    const std::string start = std::to_string(page);
    driver::RunModal(
        [&] {
            return INT_PTR{
                cpl_(nullptr, CPL_STARTWPARMSA, 0, reinterpret_cast<LPARAM>(start.c_str()))};
        },
        [&] {
            if (beforeSheet) beforeSheet();
            HWND sheet = WaitForSheet();
            driver::WaitUntil([&] { return driver::ActivePageIndex(sheet) == page; },
                              "page " + start);
            script(sheet);
            if (::IsWindow(sheet) && driver::IsVisible(sheet)) {
                driver::PressSheetButton(sheet, PSBTN_CANCEL);
                driver::WaitUntilGone(sheet);
            }
        });
}

bool NoMessageBox() {
    driver::Flush();
    const std::vector<HWND> windows = driver::TopLevelWindows();
    return std::none_of(windows.begin(), windows.end(), driver::IsMessageBox);
}

}  // namespace pagetest
