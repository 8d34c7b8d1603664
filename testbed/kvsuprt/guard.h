// The library's functions are called from C: no C++ exception may leave them.
#pragma once

#include <windows.h>

#include <new>

namespace kvsuprt {

template <class F>
DWORD Guarded(F&& f) noexcept {
    try {
        return f();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        return ERROR_INTERNAL_ERROR;
    }
}

}  // namespace kvsuprt
