// How long the configuration sheet takes to come up: from CPL_DBLCLK to an idle sheet whose
// eight pages have all been shown, against a bare comctl32 sheet of the same eight templates in
// the same process. Usage: kvbench_sheet APPLET-PATH [RUNS]
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

// Runs `open` modally and returns the milliseconds until every page has been shown and the
// sheet's thread is idle.
double Measure(const std::wstring& title, const std::function<INT_PTR()>& open) {
    double start = 0, ready = 0;
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
    std::vector<double> appletTimes, bareTimes;
    for (int run = 0; run < runs; ++run) {
        appletTimes.push_back(
            Measure(L"Vestra CSP", [&] { return cplApplet(nullptr, CPL_DBLCLK, 0, 0); }));
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
    }
    cplApplet(nullptr, CPL_EXIT, 0, 0);
    double appletMedian = bench::Median(appletTimes), bareMedian = bench::Median(bareTimes);
    std::printf("runs: %d\napplet sheet median: %.1f ms\nbare sheet median:   %.1f ms\nratio: %.2f\n",
                runs, appletMedian, bareMedian, appletMedian / bareMedian);
    return 0;
}
