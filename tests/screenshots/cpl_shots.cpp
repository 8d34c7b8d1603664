// Photographs the configuration sheet that another process (the Control Panel) shows: waits for
// it, shows each page in turn, saves each as a BMP, then cancels the sheet.
// Usage: kvcplshots TITLE OUTPUT-DIRECTORY NAME-PREFIX
#include "driver/capture.h"
#include "driver/driver.h"

#include <commctrl.h>

#include <cstdio>
#include <string>

int wmain(int argc, wchar_t** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: kvcplshots TITLE OUTPUT-DIRECTORY NAME-PREFIX\n");
        return 2;
    }
    using namespace driver;
    const std::wstring directory = argv[2], prefix = argv[3];
    try {
        WindowQuery query{L"#32770", argv[1]};
        query.anyProcess = true;
        HWND sheet = WaitForWindow(query, 60000);
        int pages = static_cast<int>(::SendMessageW(
            reinterpret_cast<HWND>(::SendMessageW(sheet, PSM_GETTABCONTROL, 0, 0)),
            TCM_GETITEMCOUNT, 0, 0));
        for (int i = 0; i < pages; ++i) {
            SetPage(sheet, i);
            WaitUntil([&] { return ActivePageIndex(sheet) == i; }, "page " + std::to_string(i));
            std::wstring path = directory + L"\\" + prefix + L"-" + std::to_wstring(i + 1) + L".bmp";
            if (!SaveBmp(CaptureWindow(sheet), path)) {
                std::fprintf(stderr, "kvcplshots: cannot write %s\n", Narrow(path).c_str());
                return 1;
            }
        }
        PressSheetButton(sheet, PSBTN_CANCEL);
        WaitUntilGone(sheet);
        std::printf("kvcplshots: %d pages\n", pages);
        return pages > 0 ? 0 : 1;
    } catch (const Failure& failure) {
        std::fprintf(stderr, "kvcplshots: %s\n", failure.what());
        return 1;
    }
}
