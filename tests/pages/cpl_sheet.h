// The installed applet's sheet opened on one page, as the Control Panel opens it.
#pragma once

#include <windows.h>

#include <functional>

namespace applettest {

// `before` answers what comes up while the page starts; `script` gets the sheet once the page
// shows, and the sheet is cancelled after it.
void RunSheet(int page, const std::function<void(HWND)>& script,
              const std::function<void()>& before = {});

}  // namespace applettest
