// What every entry point of the provider goes through: the failure knobs, the translation of a
// result code into advapi32's BOOL and last error, and no C++ exception leaving the DLL.
#pragma once

#include <windows.h>

#include <new>

namespace kvcsp {

// A parameter number for the failure knobs of the parameter entry points; kNoParam elsewhere.
inline constexpr DWORD kNoParam = ~DWORD{0};

// Counts this call of `entry` against the failure knobs ("CPGetProvParam" and, with a
// parameter, "CPGetProvParam.133"); the error to fail with, or 0.
DWORD InjectedFailure(const char* entry, DWORD param) noexcept;

// Runs `body` (returning 0 or an error code) as entry point `entry`.
template <class Body>
BOOL Guarded(const char* entry, DWORD param, Body&& body) noexcept {
    DWORD error = InjectedFailure(entry, param);
    if (!error) {
        try {
            error = body();
        } catch (const std::bad_alloc&) {
            error = static_cast<DWORD>(NTE_NO_MEMORY);
        } catch (...) {
            error = static_cast<DWORD>(NTE_FAIL);
        }
    }
    ::SetLastError(error);
    return error == 0;
}

// Live handles of this process, shared by every copy of the DLL loaded into it.
enum class Live { kContexts = 0, kKeys = 1, kHashes = 2 };
void CountLive(Live what, LONG delta) noexcept;

}  // namespace kvcsp
