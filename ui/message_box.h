#pragma once

#include <windows.h>

#include <string>

namespace ui {

// A message box whose F1 help reaches the owner as WM_HELP with `helpId` (0: none).
int MessageBox(HWND owner, const std::wstring& text, const std::wstring& caption, UINT type,
               DWORD helpId = 0);

}  // namespace ui
