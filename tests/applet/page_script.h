// Driving one settings page in-process: the page alone in a sheet, Apply, and the applet's seams
// for restarting the computer and starting programs replaced for the length of a test.
#pragma once

#include "applet/page_base.h"
#include "driver/driver.h"
#include "ui/property_sheet.h"

#include <windows.h>

#include <functional>

namespace applettest {

// `page` shown alone in a sheet captioned `caption`. `script` runs once the page is up; the sheet
// is cancelled after it unless the script closes it itself. Returns what the sheet returned.
enum class AfterScript { kCancel, kScriptCloses };
inline INT_PTR RunPageAlone(ui::PropertyPage& page, const wchar_t* caption,
                            const std::function<void(HWND sheet, HWND page)>& script,
                            AfterScript after = AfterScript::kCancel) {
    ui::PropertySheet sheet;
    sheet.SetCaption(caption);
    sheet.AddPage(page);
    return driver::RunModal([&] { return sheet.DoModal(); },
                            [&] {
                                HWND hwnd = driver::WaitForWindow({L"#32770", caption});
                                driver::WaitUntil([&] { return driver::ActivePage(hwnd); },
                                                  "the page");
                                script(hwnd, driver::ActivePage(hwnd));
                                if (after == AfterScript::kScriptCloses) return;
                                driver::PressSheetButton(hwnd, PSBTN_CANCEL);
                                driver::WaitUntilGone(hwnd);
                            });
}

// Presses the sheet's Apply (waiting until the page has enabled it) and lets it be handled.
inline void Apply(HWND sheet) {
    driver::Flush();
    driver::Click(driver::SheetButton(sheet, driver::kApply));
    driver::Flush();
}

// While the object lives, restarts of the computer are recorded instead of made and, when
// `execute` is given, the shell seam goes to it. The previous seams come back however the test
// ends.
struct RestartCalls {
    int count = 0;
    UINT flags = 0;
    DWORD reason = 0;
};

class ScopedSeams {
public:
    explicit ScopedSeams(applet::ShellExecuteFunction execute = nullptr)
        : previousRestart_(applet::SetRestartFunction(RecordRestart)),
          previousShell_(execute ? applet::SetShellExecuteFunction(execute) : nullptr) {
        restarts_ = {};
    }
    ~ScopedSeams() {
        applet::SetRestartFunction(previousRestart_);
        if (previousShell_) applet::SetShellExecuteFunction(previousShell_);
    }
    ScopedSeams(const ScopedSeams&) = delete;
    ScopedSeams& operator=(const ScopedSeams&) = delete;

    // The restarts asked for since the object was made.
    static const RestartCalls& Restarts() { return restarts_; }

private:
    static BOOL WINAPI RecordRestart(UINT flags, DWORD reason) {
        ++restarts_.count;
        restarts_.flags = flags;
        restarts_.reason = reason;
        return TRUE;
    }

    static inline RestartCalls restarts_;
    applet::RestartFunction previousRestart_;
    applet::ShellExecuteFunction previousShell_;
};

}  // namespace applettest
