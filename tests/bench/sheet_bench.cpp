// How long the configuration sheet takes to come up: from CPL_DBLCLK to an idle sheet whose
// eight pages have all been shown, against a bare comctl32 sheet of the same eight templates in
// the same process; and, page by page, how long each page takes over its WM_INITDIALOG and over
// its first activation (from PSN_SETACTIVE until the sheet's thread has handled what was posted
// to it and painted), so that a page's own cost is seen where it is.
// Usage: kvbench_sheet APPLET-PATH [RUNS]
#include "bench/timing.h"
#include "driver/driver.h"
#include "ui/property_sheet.h"
#include "ui/resources.h"

#include <cpl.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace driver;

constexpr UINT kTemplates[] = {160, 164, 166, 163, 170, 162, 172, 171};
constexpr const char* kPageNames[] = {"General",    "Hardware", "Service",  "Advanced",
                                      "Algorithms", "Security", "Winlogon", "TLS"};
constexpr int kPages = 8;

// What the sheet's thread saw of one page during one run.
struct PageTimes {
    WNDPROC proc = nullptr;  // the page's own window procedure
    double initMs = -1;
    double activeStart = -1;  // the first PSN_SETACTIVE
};

// Filled on the sheet's thread, read by the script once that thread is idle.
struct RunTimes {
    std::map<HWND, PageTimes> pages;
    HWND firstPage = nullptr;
    double firstPageStart = -1;  // when the first page's WM_INITDIALOG began
    HANDLE firstActivated = nullptr;  // set when the first page's PSN_SETACTIVE has returned
};
RunTimes current;

bool IsSetActive(UINT message, LPARAM lp) {
    return message == WM_NOTIFY && lp && reinterpret_cast<const NMHDR*>(lp)->code == PSN_SETACTIVE;
}

// Each page's messages pass here first. A hook on every sent message would cost a wineserver
// request per message, and so weigh on a page by the number of its messages, not by its work.
LRESULT CALLBACK PageProc(HWND hwnd, UINT message, WPARAM wp, LPARAM lp) {
    PageTimes& page = current.pages[hwnd];
    const WNDPROC proc = page.proc;
    if (message == WM_INITDIALOG && page.initMs < 0) {
        const double start = bench::Now();
        if (hwnd == current.firstPage) current.firstPageStart = start;
        LRESULT result = ::CallWindowProcW(proc, hwnd, message, wp, lp);
        current.pages[hwnd].initMs = bench::Now() - start;
        return result;
    }
    if (IsSetActive(message, lp) && page.activeStart < 0) {
        page.activeStart = bench::Now();
        LRESULT result = ::CallWindowProcW(proc, hwnd, message, wp, lp);
        if (hwnd == current.firstPage) ::SetEvent(current.firstActivated);
        return result;
    }
    return ::CallWindowProcW(proc, hwnd, message, wp, lp);
}

// A page is a dialog created as the child of a top-level window (the sheet): it gets PageProc
// before it sees its first message.
LRESULT CALLBACK OnWindowEvent(int code, WPARAM wp, LPARAM lp) {
    if (code == HCBT_CREATEWND) {
        const auto hwnd = reinterpret_cast<HWND>(wp);
        const CREATESTRUCTW& create = *reinterpret_cast<CBT_CREATEWNDW*>(lp)->lpcs;
        wchar_t name[16] = {};
        if ((create.style & WS_CHILD) && create.hwndParent &&
            !(::GetWindowLongW(create.hwndParent, GWL_STYLE) & WS_CHILD) &&
            ::GetClassNameW(hwnd, name, 16) && std::wstring(name) == L"#32770") {
            if (!current.firstPage) current.firstPage = hwnd;
            current.pages[hwnd].proc = reinterpret_cast<WNDPROC>(::SetWindowLongPtrW(
                hwnd, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&PageProc)));
        }
    }
    return ::CallNextHookEx(nullptr, code, wp, lp);
}

// Returns once the sheet's thread has handled what was posted to it and painted what was due.
double Idle(HWND sheet) {
    Flush();
    ::RedrawWindow(sheet, nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
    Flush();
    return bench::Now();
}

struct Run {
    double total = 0;
    double beforePages = -1;  // from the start to the first page's WM_INITDIALOG
    std::array<double, kPages> init{}, activation{};
};

// Runs `open` modally and measures until every page has been shown and the sheet's thread is
// idle, page by page.
Run Measure(const std::wstring& title, const std::function<INT_PTR()>& open) {
    Run run;
    run.init.fill(-1);
    run.activation.fill(-1);
    double start = 0, ready = 0;
    current.pages.clear();
    current.firstPage = nullptr;
    current.firstPageStart = -1;
    ::ResetEvent(current.firstActivated);
    std::array<double, kPages> idle{};
    std::array<HWND, kPages> pageWindows{};
    RunModal(
        [&] {
            start = bench::Now();
            return open();
        },
        [&] {
            if (::WaitForSingleObject(current.firstActivated, kTimeoutMs) != WAIT_OBJECT_0)
                throw Failure("the first page was not activated");
            HWND sheet = WaitForWindow({L"#32770", title});
            idle[0] = Idle(sheet);
            pageWindows[0] = ActivePage(sheet);
            for (int i = 1; i < kPages; ++i) {
                ::SendMessageW(sheet, PSM_SETCURSEL, i, 0);
                WaitUntil([&] { return ActivePageIndex(sheet) == i; }, "page", 10000);
                idle[i] = Idle(sheet);
                pageWindows[i] = ActivePage(sheet);
            }
            ready = bench::Now();
            PressSheetButton(sheet, PSBTN_CANCEL);
        });
    run.total = ready - start;
    if (current.firstPageStart >= 0) run.beforePages = current.firstPageStart - start;
    for (int i = 0; i < kPages; ++i) {
        auto page = current.pages.find(pageWindows[i]);
        if (page == current.pages.end()) continue;
        run.init[i] = page->second.initMs;
        if (page->second.activeStart >= 0) run.activation[i] = idle[i] - page->second.activeStart;
    }
    return run;
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
    current.firstActivated = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HHOOK hook = ::SetWindowsHookExW(WH_CBT, OnWindowEvent, nullptr, ::GetCurrentThreadId());
    std::vector<Run> appletRuns, bareRuns;
    for (int run = 0; run < runs; ++run) {
        appletRuns.push_back(
            Measure(L"Vestra CSP", [&] { return cplApplet(nullptr, CPL_DBLCLK, 0, 0); }));
        bareRuns.push_back(Measure(L"Bare sheet", [&] {
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
    }
    if (hook) ::UnhookWindowsHookEx(hook);
    ::CloseHandle(current.firstActivated);
    cplApplet(nullptr, CPL_EXIT, 0, 0);

    auto median = [](const std::vector<Run>& runs, auto field) {
        std::vector<double> values;
        for (const Run& run : runs) values.push_back(field(run));
        return bench::Median(values);
    };
    double appletMedian = median(appletRuns, [](const Run& r) { return r.total; });
    double bareMedian = median(bareRuns, [](const Run& r) { return r.total; });
    std::printf("runs: %d\napplet sheet median: %.1f ms\nbare sheet median:   %.1f ms\nratio: %.2f\n",
                runs, appletMedian, bareMedian, appletMedian / bareMedian);
    std::printf("each run, applet/bare ms:");
    for (size_t i = 0; i < appletRuns.size(); ++i)
        std::printf(" %.0f/%.0f", appletRuns[i].total, bareRuns[i].total);
    std::printf("\n");
    std::printf("first page initialisation median: %.1f ms (bare page: %.1f ms)\n",
                median(appletRuns, [](const Run& r) { return r.init[0]; }),
                median(bareRuns, [](const Run& r) { return r.init[0]; }));
    std::printf("sheet up to its first page median: %.1f ms (bare sheet: %.1f ms)\n",
                median(appletRuns, [](const Run& r) { return r.beforePages; }),
                median(bareRuns, [](const Run& r) { return r.beforePages; }));
    // A page's own work: what the applet's page takes over both beyond the bare page.
    std::printf("\nmedians, ms      WM_INITDIALOG      first activation   own work\n"
                "page             applet     bare    applet     bare    applet-bare\n");
    for (int i = 0; i < kPages; ++i) {
        const double ai = median(appletRuns, [i](const Run& r) { return r.init[i]; });
        const double bi = median(bareRuns, [i](const Run& r) { return r.init[i]; });
        const double aa = median(appletRuns, [i](const Run& r) { return r.activation[i]; });
        const double ba = median(bareRuns, [i](const Run& r) { return r.activation[i]; });
        const double own = median(appletRuns, [i](const Run& r) { return r.init[i] + r.activation[i]; }) -
                           median(bareRuns, [i](const Run& r) { return r.init[i] + r.activation[i]; });
        std::printf("%-12s %10.1f %8.1f %9.1f %8.1f %12.1f\n", kPageNames[i], ai, bi, aa, ba, own);
    }
    return 0;
}
