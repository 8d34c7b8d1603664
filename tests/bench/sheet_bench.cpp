// How long the configuration sheet takes to come up: from CPL_DBLCLK to an idle sheet whose
// eight pages have all been shown, against a bare comctl32 sheet of the same eight templates in
// the same process; and how long the first page (General) takes over its WM_INITDIALOG, which is
// on the way to the sheet's first paint. Usage: kvbench_sheet APPLET-PATH [RUNS]
#include "bench/timing.h"
#include "driver/driver.h"
#include "ui/property_sheet.h"
#include "ui/resources.h"

#include <cpl.h>

#include <algorithm>
#include <memory>
#include <cstdio>
#include <vector>

namespace {

using namespace driver;

constexpr UINT kTemplates[] = {160, 164, 166, 163, 170, 162, 172, 171};

// The first page's WM_INITDIALOG, timed around its dialog procedure by hooks on this thread.
struct FirstPageInit {
    HWND page = nullptr;
    double start = 0;
    double ms = -1;
};
FirstPageInit firstPage;

bool IsPageInit(UINT message, HWND hwnd) {
    return message == WM_INITDIALOG && (::GetWindowLongW(hwnd, GWL_STYLE) & WS_CHILD);
}

LRESULT CALLBACK BeforeMessage(int code, WPARAM wp, LPARAM lp) {
    const auto& message = *reinterpret_cast<const CWPSTRUCT*>(lp);
    if (code == HC_ACTION && !firstPage.page && IsPageInit(message.message, message.hwnd)) {
        firstPage.page = message.hwnd;
        firstPage.start = bench::Now();
    }
    return ::CallNextHookEx(nullptr, code, wp, lp);
}

LRESULT CALLBACK AfterMessage(int code, WPARAM wp, LPARAM lp) {
    const auto& message = *reinterpret_cast<const CWPRETSTRUCT*>(lp);
    if (code == HC_ACTION && message.hwnd == firstPage.page && firstPage.ms < 0 &&
        message.message == WM_INITDIALOG)
        firstPage.ms = bench::Now() - firstPage.start;
    return ::CallNextHookEx(nullptr, code, wp, lp);
}

// Runs `open` modally and returns the milliseconds until every page has been shown and the
// sheet's thread is idle.
double Measure(const std::wstring& title, const std::function<INT_PTR()>& open) {
    double start = 0, ready = 0;
    firstPage = FirstPageInit{};
    RunModal(
        [&] {
            start = bench::Now();
            return open();
        },
        [&] {
            HWND sheet = WaitForWindow({L"#32770", title});
            for (int i = 1; i < 8; ++i) {
                ::SendMessageW(sheet, PSM_SETCURSEL, i, 0);
                WaitUntil([&] { return ActivePageIndex(sheet) == i; }, "page", 10000);
            }
            DWORD_PTR ignored;
            ::SendMessageTimeoutW(sheet, WM_NULL, 0, 0, SMTO_NORMAL, 10000, &ignored);
            ready = bench::Now();
            PressSheetButton(sheet, PSBTN_CANCEL);
        });
    return ready - start;
}

class BarePage : public ui::PropertyPage {
public:
    BarePage(HMODULE module, UINT id) {
        SetTemplate(ui::FindDialogTemplate(module, id, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US)),
                    module, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
    }
};

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: kvbench_sheet APPLET-PATH [RUNS]\n");
        return 2;
    }
    int runs = argc > 2 ? std::max(1, _wtoi(argv[2])) : 15;
    HMODULE applet = ::LoadLibraryW(argv[1]);
    auto cplApplet = applet ? reinterpret_cast<APPLET_PROC>(
                                  reinterpret_cast<void*>(::GetProcAddress(applet, "CPlApplet")))
                            : nullptr;
    if (!cplApplet) {
        std::fprintf(stderr, "kvbench_sheet: cannot load the applet\n");
        return 1;
    }
    ACTCTXW manifest{};
    manifest.cbSize = sizeof(manifest);
    manifest.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
    manifest.hModule = applet;
    manifest.lpResourceName = MAKEINTRESOURCEW(123);
    HANDLE context = ::CreateActCtxW(&manifest);
    cplApplet(nullptr, CPL_INIT, 0, 0);
    HHOOK before =
        ::SetWindowsHookExW(WH_CALLWNDPROC, BeforeMessage, nullptr, ::GetCurrentThreadId());
    HHOOK after =
        ::SetWindowsHookExW(WH_CALLWNDPROCRET, AfterMessage, nullptr, ::GetCurrentThreadId());
    std::vector<double> appletTimes, bareTimes, appletFirstPage, bareFirstPage;
    for (int run = 0; run < runs; ++run) {
        appletTimes.push_back(
            Measure(L"Vestra CSP", [&] { return cplApplet(nullptr, CPL_DBLCLK, 0, 0); }));
        appletFirstPage.push_back(firstPage.ms);
        bareTimes.push_back(Measure(L"Bare sheet", [&] {
            // Under the applet's manifest, as the Control Panel runs the applet.
            ULONG_PTR cookie = 0;
            bool active = context != INVALID_HANDLE_VALUE && ::ActivateActCtx(context, &cookie);
            std::vector<std::unique_ptr<BarePage>> pages;
            ui::PropertySheet sheet;
            sheet.SetCaption(L"Bare sheet");
            for (UINT id : kTemplates) {
                pages.push_back(std::make_unique<BarePage>(applet, id));
                sheet.AddPage(*pages.back());
            }
            INT_PTR result = sheet.DoModal();
            if (active) ::DeactivateActCtx(0, cookie);
            return result;
        }));
        bareFirstPage.push_back(firstPage.ms);
    }
    if (before) ::UnhookWindowsHookEx(before);
    if (after) ::UnhookWindowsHookEx(after);
    cplApplet(nullptr, CPL_EXIT, 0, 0);
    double appletMedian = bench::Median(appletTimes), bareMedian = bench::Median(bareTimes);
    std::printf("runs: %d\napplet sheet median: %.1f ms\nbare sheet median:   %.1f ms\nratio: %.2f\n",
                runs, appletMedian, bareMedian, appletMedian / bareMedian);
    std::printf("first page initialisation median: %.1f ms (bare page: %.1f ms)\n",
                bench::Median(appletFirstPage), bench::Median(bareFirstPage));
    return 0;
}
