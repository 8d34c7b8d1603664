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

    // Runs the sheet opened on `page` until `script` has closed it.
    void RunSheet(int page, const std::function<void()>& script);

private:
    HMODULE module_ = nullptr;
    APPLET_PROC cpl_ = nullptr;
};

// The configuration sheet, once shown, and not a message box that has the same caption.
HWND WaitForSheet();
// No message box is open once the UI thread has handled what was posted to it.
bool NoMessageBox();

}  // namespace pagetest
