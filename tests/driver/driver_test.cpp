// The driver's promises that the UI tests build on: Flush waits for work that handled messages
// posted in turn, and a click waits for its button, which comctl32 enables before it shows it.
#include "driver/driver.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;

constexpr UINT kChain = WM_APP + 1;  // wParam: how many more links to post, each a moment's work
constexpr UINT kAsk = WM_APP + 2;    // shows a message box
constexpr int kButton = 100;
constexpr UINT_PTR kEnableTimer = 1, kShowTimer = 2;

struct Seen {
    int links = 0;
    int clicks = 0;
};
Seen g_seen;

LRESULT CALLBACK Proc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
    case kChain:
        ++g_seen.links;
        ::Sleep(10);
        if (wp > 0) ::PostMessageW(hwnd, kChain, wp - 1, 0);
        return 0;
    case kAsk:
        ::MessageBoxW(hwnd, L"Go on?", L"Driver test", MB_OK);
        return 0;
    case WM_TIMER:
        ::KillTimer(hwnd, wp);
        if (wp == kEnableTimer) ::EnableWindow(::GetDlgItem(hwnd, kButton), TRUE);
        if (wp == kShowTimer) ::ShowWindow(::GetDlgItem(hwnd, kButton), SW_SHOW);
        return 0;
    case WM_COMMAND:
        if (LOWORD(wp) == kButton && HIWORD(wp) == BN_CLICKED) ++g_seen.clicks;
        if (LOWORD(wp) == IDCANCEL) ::DestroyWindow(hwnd);  // how the driver closes what is left
        return 0;
    }
    return ::DefWindowProcW(hwnd, msg, wp, lp);
}

// A window with a hidden, disabled button, run in its own message loop while `script` drives it.
void WithWindow(const std::function<void(HWND)>& script) {
    g_seen = {};
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = Proc;
    windowClass.hInstance = ::GetModuleHandleW(nullptr);
    windowClass.lpszClassName = L"driver test";
    ::RegisterClassW(&windowClass);
    HWND hwnd = ::CreateWindowExW(0, windowClass.lpszClassName, L"Driver test",
                                  WS_POPUP | WS_VISIBLE, 0, 0, 200, 100, nullptr, nullptr,
                                  windowClass.hInstance, nullptr);
    ASSERT_TRUE(hwnd);
    ::CreateWindowExW(0, L"BUTTON", L"Press", WS_CHILD | WS_DISABLED | BS_PUSHBUTTON, 10, 10, 80,
                      24, hwnd, reinterpret_cast<HMENU>(kButton), nullptr, nullptr);
    RunModal(
        [&] {
            MSG msg;
            while (::IsWindow(hwnd) && ::GetMessageW(&msg, nullptr, 0, 0) > 0)
                ::DispatchMessageW(&msg);
            return INT_PTR{0};
        },
        [&] {
            script(hwnd);
            ::PostMessageW(hwnd, WM_CLOSE, 0, 0);
        });
}

TEST(Driver, FlushWaitsForWhatHandledMessagesPostedAndForModalLoops) {
    WithWindow([](HWND hwnd) {
        ::PostMessageW(hwnd, kChain, 9, 0);
        Flush();
        EXPECT_EQ(10, g_seen.links) << "every link, not only the first";

        ::PostMessageW(hwnd, kAsk, 0, 0);
        Flush();
        bool shown = false;
        for (HWND window : TopLevelWindows()) shown = shown || IsMessageBox(window);
        EXPECT_TRUE(shown) << "the box is on the screen once its loop runs";
        AnswerMessageBox(IDOK);
    });
}

TEST(Driver, ClickWaitsForItsButtonToShowAndTakeInput) {
    WithWindow([](HWND hwnd) {
        ::SetTimer(hwnd, kEnableTimer, 100, nullptr);
        ::SetTimer(hwnd, kShowTimer, 300, nullptr);
        Click(hwnd, kButton);
        Flush();
        EXPECT_EQ(1, g_seen.clicks);
    });
}

}  // namespace
