// Resource lookups that name the language explicitly: the applet shows the language its settings
// choose, never the thread's.
#pragma once

#include <windows.h>

#include <cstdarg>
#include <string>

namespace ui {

// The module that holds `address` (a function or variable of that module).
HMODULE ModuleOf(const void* address) noexcept;

// The dialog template `id` in exactly `lang` (no fallback), locked in memory; nullptr when absent.
const DLGTEMPLATE* FindDialogTemplate(HMODULE module, UINT id, LANGID lang) noexcept;

// Initialisation data of dialog `id` (resource type 240, RT_DLGINIT) in exactly `lang`: the
// items that the template's list and combo boxes start with.
struct DialogInit {
    const BYTE* data = nullptr;
    DWORD size = 0;
};
DialogInit FindDialogInit(HMODULE module, UINT id, LANGID lang) noexcept;

// Sends the records of `init` to the controls of `dialog`: list and combo box strings
// (LB_ADDSTRING, CB_ADDSTRING, CBEM_INSERTITEM). The strings are UTF-8, the code page of every
// resource script of the applet. Reading stops at the end record or at a record that would run
// past the resource.
void ApplyDialogInit(HWND dialog, const DialogInit& init);

// String `id` of the string table in exactly `lang`; empty when absent.
std::wstring LoadTableString(HMODULE module, UINT id, LANGID lang);

// Replaces the inserts "%1" to "%9" by the arguments; an insert without an argument stays as it is.
std::wstring FormatInserts(const std::wstring& pattern, std::initializer_list<std::wstring> args);

// Formats like the system's wsprintf family: "%s" takes a wide string ("%hs" a narrow one), as
// the format strings of the string tables expect.
std::wstring Printf(const wchar_t* format, ...);
std::wstring VPrintf(const wchar_t* format, va_list args);

}  // namespace ui
