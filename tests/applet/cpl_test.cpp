// The Control Panel's messages, as the shell sends them.
#include "applet/application.h"
#include "applet/strings.h"
#include "applet/support.h"
#include "applet_fixture.h"
#include "driver/driver.h"
#include "resource.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using applettest::NewTestSheet;
using applettest::SheetState;

LONG Send(applet::CControlPanelApp& app, UINT message, LPARAM lParam1 = 0, LPARAM lParam2 = 0,
          HWND hwnd = nullptr) {
    return applet::ControlPanelEntry(app, hwnd, message, lParam1, lParam2);
}

HWND WaitForTestSheet() { return WaitForWindow({L"#32770", applettest::kTestSheetCaption}); }

class ControlPanel : public ::testing::Test {
protected:
    void SetUp() override {
        SheetState() = {};
        ASSERT_EQ(1, Send(app, CPL_INIT));
    }
    void TearDown() override { Send(app, CPL_EXIT); }

    applet::CMyControlPanelApp app{NewTestSheet};
};

TEST_F(ControlPanel, AnswersEveryMessageOfTheTable) {
    EXPECT_EQ(1, Send(app, CPL_GETCOUNT));

    CPLINFO info{-1, -1, -1, 0};
    EXPECT_EQ(0, Send(app, CPL_INQUIRE, 0, reinterpret_cast<LPARAM>(&info)));
    EXPECT_EQ(IDI_APPLET, info.idIcon);
    EXPECT_EQ(0, info.idName);  // a dynamic applet: its name comes with CPL_NEWINQUIRE
    EXPECT_EQ(0, info.idInfo);
    EXPECT_NE(0, info.lData);

    NEWCPLINFOW newInfo{};
    EXPECT_EQ(0, Send(app, CPL_NEWINQUIRE, 0, reinterpret_cast<LPARAM>(&newInfo)));
    EXPECT_EQ(476u, newInfo.dwSize);
    EXPECT_EQ(0u, newInfo.dwFlags);
    EXPECT_EQ(info.lData, newInfo.lData);
    EXPECT_STREQ(L"Vestra CSP", newInfo.szName);
    EXPECT_STREQ(L"Vestra CSP Properties", newInfo.szInfo);

    EXPECT_EQ(0, Send(app, CPL_SELECT));
    EXPECT_EQ(0, Send(app, CPL_STOP));
    EXPECT_EQ(0, Send(app, CPL_STARTWPARMSW, 0, reinterpret_cast<LPARAM>(L"1")));
    EXPECT_EQ(1, Send(app, WM_USER + 77));
    EXPECT_EQ(0, SheetState().built) << "only the double click and the start request open a sheet";

    // A position that names no applet is refused, whatever the message.
    EXPECT_EQ(1, Send(app, CPL_INQUIRE, 1, reinterpret_cast<LPARAM>(&info)));
    EXPECT_EQ(1, Send(app, CPL_NEWINQUIRE, 5, reinterpret_cast<LPARAM>(&newInfo)));
    EXPECT_EQ(1, Send(app, CPL_DBLCLK, -1));
    EXPECT_EQ(0, Send(app, CPL_STARTWPARMSA, 2, reinterpret_cast<LPARAM>("1")));
    EXPECT_EQ(0, SheetState().built);

    EXPECT_EQ(0, Send(app, CPL_EXIT));
    EXPECT_EQ(0, Send(app, CPL_GETCOUNT));
}

TEST_F(ControlPanel, DoubleClickOpensTheSheetAndGivesItsParentTheIcon) {
    HWND parent = ::CreateWindowExW(0, L"STATIC", L"control panel", WS_POPUP, 0, 0, 10, 10,
                                    nullptr, nullptr, nullptr, nullptr);
    ASSERT_TRUE(parent);
    LONG result = 1;
    RunModal([&] { return result = Send(app, CPL_DBLCLK, 0, 0, parent); },
             [&] {
                 HWND sheet = WaitForTestSheet();
                 EXPECT_EQ(0, ActivePageIndex(sheet));
                 EXPECT_EQ(parent, ::GetWindow(sheet, GW_OWNER));
                 EXPECT_TRUE(::SendMessageW(parent, WM_GETICON, ICON_BIG, 0));
                 EXPECT_TRUE(::SendMessageW(parent, WM_GETICON, ICON_SMALL, 0));
                 EXPECT_FALSE(::SendMessageW(sheet, WM_GETICON, ICON_BIG, 0));
                 PressSheetButton(sheet, PSBTN_CANCEL);
             });
    EXPECT_EQ(0, result);
    EXPECT_EQ(1, SheetState().built);
    // The sheet has deleted itself; the Control Panel window still shows the icon.
    for (WPARAM size : {ICON_BIG, ICON_SMALL}) {
        auto icon = reinterpret_cast<HICON>(::SendMessageW(parent, WM_GETICON, size, 0));
        ICONINFO info{};
        EXPECT_TRUE(icon && ::GetIconInfo(icon, &info)) << "a live icon of size " << size;
        if (info.hbmColor) ::DeleteObject(info.hbmColor);
        if (info.hbmMask) ::DeleteObject(info.hbmMask);
    }
    ::DestroyWindow(parent);
}

TEST_F(ControlPanel, StartRequestOpensTheAskedPage) {
    struct Case {
        const char* parameters;
        int page;
    };
    for (Case c : {Case{"2", 2}, Case{"x7", 0}, Case{"", 0}, Case{"-4", 0}}) {
        SCOPED_TRACE(c.parameters);
        LONG result = 0;
        RunModal([&] {
            return result = Send(app, CPL_STARTWPARMSA, 0, reinterpret_cast<LPARAM>(c.parameters));
        },
                 [&] {
                     HWND sheet = WaitForTestSheet();
                     EXPECT_EQ(c.page, ActivePageIndex(sheet));
                     PressSheetButton(sheet, PSBTN_CANCEL);
                 });
        EXPECT_EQ(1, result);
    }
}

TEST_F(ControlPanel, SaveAskingForARebuildReopensTheSheetOnTheStartPage) {
    SheetState().saveResults[2] = applet::CPropPageConfigBase::kSavedRebuild;
    LONG result = 0;
    RunModal([&] {
        return result = Send(app, CPL_STARTWPARMSA, 0, reinterpret_cast<LPARAM>("1"));
    },
             [&] {
                 HWND sheet = WaitForTestSheet();
                 SetPage(sheet, 2);
                 WaitUntil([&] { return ActivePageIndex(sheet) == 2; }, "the third page");
                 Click(sheet, IDOK);
                 WaitUntilGone(sheet);
                 WaitUntil([&] { return SheetState().built == 2; }, "a second sheet");
                 HWND rebuilt = WaitForTestSheet();
                 EXPECT_EQ(1, ActivePageIndex(rebuilt)) << "the start page, not the last one";
                 SheetState().saveResults[2] = applet::CPropPageConfigBase::kSaved;
                 PressSheetButton(rebuilt, PSBTN_CANCEL);
             });
    EXPECT_EQ(1, result);
    EXPECT_EQ(2, SheetState().built);
}

TEST_F(ControlPanel, FailedSaveKeepsTheSheetOpenOnThatPage) {
    SheetState().saveResults[2] = applet::CPropPageConfigBase::kSaveFailed;
    RunModal([&] { return Send(app, CPL_DBLCLK); },
             [&] {
                 HWND sheet = WaitForTestSheet();
                 SetPage(sheet, 2);
                 WaitUntil([&] { return ActivePageIndex(sheet) == 2; }, "the third page");
                 DWORD_PTR ignored = 0;
                 ASSERT_TRUE(::SendMessageTimeoutW(sheet, PSM_CHANGED,
                                                   reinterpret_cast<WPARAM>(ActivePage(sheet)), 0,
                                                   SMTO_ABORTIFHUNG, kTimeoutMs, &ignored));
                 SetPage(sheet, 0);
                 WaitUntil([&] { return ActivePageIndex(sheet) == 0; }, "the first page");
                 Click(sheet, IDOK);
                 MessageBoxInfo box = AnswerMessageBox(IDOK);
                 EXPECT_EQ(L"Error saving parameters.", box.text);
                 EXPECT_EQ(static_cast<UINT>(MB_ICONERROR), box.icon);
                 EXPECT_EQ(L"Vestra CSP", box.caption);
                 WaitUntil([&] { return ActivePageIndex(sheet) == 2; }, "the failing page shown");
                 Flush();
                 EXPECT_TRUE(IsVisible(sheet));
                 EXPECT_TRUE(IsEnabled(SheetButton(sheet, kApply))) << "still modified";
                 EXPECT_EQ(1, SheetState().saves[2]);
                 PressSheetButton(sheet, PSBTN_CANCEL);
             });
    EXPECT_EQ(1, SheetState().built);
}

}  // namespace
