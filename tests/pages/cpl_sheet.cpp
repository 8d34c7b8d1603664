#include "cpl_sheet.h"

#include "applet_fixture.h"
#include "driver/driver.h"

#include <gtest/gtest.h>

#include <cpl.h>

#include <string>

namespace applettest {

using namespace driver;

void RunSheet(int page, const std::function<void(HWND)>& script,
              const std::function<void()>& before) {
    HMODULE module = ::LoadLibraryW((std::wstring(kProductDir) + L"kvconfig.cpl").c_str());
    ASSERT_TRUE(module);
    auto cpl = reinterpret_cast<APPLET_PROC>(
        reinterpret_cast<void*>(::GetProcAddress(module, "CPlApplet")));
    ASSERT_EQ(1, cpl(nullptr, CPL_INIT, 0, 0));
    const std::string start = std::to_string(page);
    RunModal([&] { return INT_PTR{cpl(nullptr, CPL_STARTWPARMSA, 0, LPARAM(start.c_str()))}; },
             [&] {
                 if (before) before();
                 HWND sheet = nullptr;
                 WaitUntil(
                     [&] {
                         for (HWND hwnd : TopLevelWindows())
                             if (Text(hwnd) == L"Vestra CSP" && !IsMessageBox(hwnd)) sheet = hwnd;
                         return sheet && ActivePageIndex(sheet) == page;
                     },
                     "the sheet on page " + start);
                 script(sheet);
                 PressSheetButton(sheet, PSBTN_CANCEL);
                 WaitUntilGone(sheet);
             });
    cpl(nullptr, CPL_EXIT, 0, 0);
    ::FreeLibrary(module);
}

}  // namespace applettest
