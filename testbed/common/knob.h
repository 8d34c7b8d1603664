// What every stand-in library shares: reading knobs, counting calls, the modal window.
#pragma once

#include <windows.h>

namespace testbed {

// A REG_DWORD value of HKLM\`key`; `fallback` when it is missing or of another type.
DWORD ReadKnob(const wchar_t* key, const wchar_t* name, DWORD fallback) noexcept;

// Writes a REG_QWORD value of HKLM\`key`, creating the key.
void WriteKnob(const wchar_t* key, const wchar_t* name, ULONGLONG value) noexcept;

// Adds one to the counter `name` under knobs::kCalls.
void CountCall(const wchar_t* name) noexcept;

// The module (DLL or program) this code is linked into.
HINSTANCE ThisModule() noexcept;

// Runs dialog `id` of this module modally, owned by `parent`, until OK or Cancel closes it.
// 0 when it ran, the window manager's error when it could not be shown.
DWORD ShowModalWindow(WORD id, HWND parent) noexcept;

}  // namespace testbed
