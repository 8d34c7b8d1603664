// Every function that user32, comctl32 or the shell calls back goes through Guarded(): a C++
// exception (in practice std::bad_alloc) must never unwind through system frames.
#pragma once

#include <utility>

namespace ui {

template <class R, class F>
R Guarded(R fallback, F&& body) noexcept {
    try {
        return std::forward<F>(body)();
    } catch (...) {
        return fallback;
    }
}

template <class F>
void Guarded(F&& body) noexcept {
    try {
        std::forward<F>(body)();
    } catch (...) {
    }
}

}  // namespace ui
