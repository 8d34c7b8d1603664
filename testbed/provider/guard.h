// What every entry point of the provider goes through: the failure knobs, the translation of a
// result code into advapi32's BOOL and last error, and no C++ exception leaving the DLL.
#pragma once

#include <windows.h>

#include <new>

namespace kvcsp {

// A parameter number for the failure knobs of the parameter entry points; kNoParam elsewhere.
inline constexpr DWORD kNoParam = ~DWORD{0};

// Counts this call of `entry` ("CPGetProvParam" and, with a parameter, "CPGetProvParam.133")
// in the process's call counters and against the failure knobs; the error to fail with, or 0.
DWORD InjectedFailure(const char* entry, DWORD param) noexcept;

// What an entry point does when its failure knob fires.
enum class OnFailure {
    kSkip,  // fails without doing anything
    // A release: advapi32 forgets the handle whatever the provider answers, so the object goes
    // all the same and only the answer is the failure.
    kRelease,
};

// Runs `body` (returning 0 or an error code) as entry point `entry`.
template <class Body>
BOOL Guarded(const char* entry, DWORD param, Body&& body,
             OnFailure onFailure = OnFailure::kSkip) noexcept {
    const DWORD injected = InjectedFailure(entry, param);
    DWORD error = 0;
    if (!injected || onFailure == OnFailure::kRelease) {
        try {
            error = body();
        } catch (const std::bad_alloc&) {
            error = static_cast<DWORD>(NTE_NO_MEMORY);
        } catch (...) {
            error = static_cast<DWORD>(NTE_FAIL);
        }
    }
    if (injected) error = injected;
    ::SetLastError(error);
    return error == 0;
}

// Live handles of this process, shared by every copy of the DLL loaded into it.
enum class Live { kContexts = 0, kKeys = 1, kHashes = 2 };
void CountLive(Live what, LONG delta) noexcept;

}  // namespace kvcsp
