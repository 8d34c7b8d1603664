// The installed applet loaded into the test program the way the Control Panel loads it, its
// configuration sheet opened on a chosen page and driven from the driver's thread.
#pragma once

#include <windows.h>

#include <cpl.h>

#include <functional>

namespace pagetest {

class InstalledApplet {
public:
    InstalledApplet();  // loaded and initialised, or the test has failed
    ~InstalledApplet();
    InstalledApplet(const InstalledApplet&) = delete;
    InstalledApplet& operator=(const InstalledApplet&) = delete;

    // Opens the sheet on `page`, runs `beforeSheet` (what comes up while the page starts),
    // then `script` with the sheet once the page is shown, and cancels the sheet if the script
    // left it open.
    void RunSheet(int page, const std::function<void(HWND sheet)>& script,
                  const std::function<void()>& beforeSheet = {});

private:
    HMODULE module_ = nullptr;
    APPLET_PROC cpl_ = nullptr;
};

// No message box is open once the UI thread has handled what was posted to it.
bool NoMessageBox();

}  // namespace pagetest
