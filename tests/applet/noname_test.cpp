// An applet whose version resource has no "ProductName".
#include "applet/application.h"
#include "applet_fixture.h"
#include "driver/driver.h"

#include <gtest/gtest.h>

namespace {

TEST(WithoutProductName, TheControlPanelAndTheSheetUseTheStringTable) {
    applet::CMyControlPanelApp app;
    ASSERT_EQ(1, applet::ControlPanelEntry(app, nullptr, CPL_INIT, 0, 0));
    NEWCPLINFOW info{};
    EXPECT_EQ(0, applet::ControlPanelEntry(app, nullptr, CPL_NEWINQUIRE, 0,
                                           reinterpret_cast<LPARAM>(&info)));
    EXPECT_STREQ(L"Vestra CSP", info.szName);
    EXPECT_STREQ(L"Vestra CSP Properties", info.szInfo);

    driver::RunModal(
        [&] { return applet::ControlPanelEntry(app, nullptr, CPL_DBLCLK, 0, 0); },
        [&] {
            HWND sheet = driver::WaitForWindow({L"#32770", L"Vestra CSP Properties"});
            driver::PressSheetButton(sheet, PSBTN_CANCEL);
        });
    applet::ControlPanelEntry(app, nullptr, CPL_EXIT, 0, 0);
}

}  // namespace
