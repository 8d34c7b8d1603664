// Keeps the Wine desktop of the test run alive: Wine's desktop process ends some seconds after
// the last window closes, and the next test to open one would wait for it to start again. This
// program owns one hidden window until the harness stops the run.
#include <windows.h>

#include <cstdio>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    HWND hwnd = ::CreateWindowExW(0, L"STATIC", L"test run desktop keeper", WS_POPUP, 0, 0, 1, 1,
                                  nullptr, nullptr, nullptr, nullptr);
    if (!hwnd) return 1;
    std::printf("ready\n");
    std::fflush(stdout);
    MSG msg;
    while (::GetMessageW(&msg, nullptr, 0, 0) > 0) ::DispatchMessageW(&msg);
    return 0;
}
