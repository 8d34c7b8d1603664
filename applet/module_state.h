// What the applet knows about its own module: its handle, file and activation context.
#pragma once

#include <windows.h>

#include <string>

namespace applet {

// The applet's own module (the DLL, or the program it is linked into).
HMODULE Module() noexcept;

// Full long path of the applet's own module; empty on failure or truncation.
std::wstring ModulePath();

// Makes the module's own manifest (resource 123) the active activation context for a scope, so
// that libraries loaded and windows created meanwhile bind to common controls 6. The context is
// created once per process and kept.
class ActivationScope {
public:
    ActivationScope() noexcept;
    ~ActivationScope();
    ActivationScope(const ActivationScope&) = delete;
    ActivationScope& operator=(const ActivationScope&) = delete;

private:
    ULONG_PTR cookie_ = 0;
    bool active_ = false;
};

}  // namespace applet
