// Text on the clipboard.
#pragma once

#include <windows.h>

#include <string>

namespace ui {

// Replaces the clipboard's contents by `text` as CF_UNICODETEXT, owned by `owner`; false when
// the clipboard could not be opened or the memory not had.
bool SetClipboardText(HWND owner, const std::wstring& text);

}  // namespace ui
