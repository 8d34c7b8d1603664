#include "ui/resources.h"

#include <commctrl.h>

#include <cstdarg>
#include <cstring>
#include <cwchar>
#include <vector>

namespace ui {

HMODULE ModuleOf(const void* address) noexcept {
    HMODULE module = nullptr;
    if (::GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            static_cast<LPCWSTR>(address), &module))
        return module;
    // A module's handle is its allocation base.
    MEMORY_BASIC_INFORMATION info{};
    if (::VirtualQuery(address, &info, sizeof(info)) == 0) return nullptr;
    return static_cast<HMODULE>(info.AllocationBase);
}

const DLGTEMPLATE* FindDialogTemplate(HMODULE module, UINT id, LANGID lang) noexcept {
    HRSRC res = ::FindResourceExW(module, RT_DIALOG, MAKEINTRESOURCEW(id), lang);
    if (!res) return nullptr;
    HGLOBAL data = ::LoadResource(module, res);
    return data ? static_cast<const DLGTEMPLATE*>(::LockResource(data)) : nullptr;
}

DialogInit FindDialogInit(HMODULE module, UINT id, LANGID lang) noexcept {
    constexpr WORD kDialogInitType = 240;
    HRSRC res =
        ::FindResourceExW(module, MAKEINTRESOURCEW(kDialogInitType), MAKEINTRESOURCEW(id), lang);
    if (!res) return {};
    HGLOBAL data = ::LoadResource(module, res);
    auto bytes = data ? static_cast<const BYTE*>(::LockResource(data)) : nullptr;
    return bytes ? DialogInit{bytes, ::SizeofResource(module, res)} : DialogInit{};
}

void ApplyDialogInit(HWND dialog, const DialogInit& init) {
    // The record's message is the 16-bit value that resource compilers write.
    constexpr WORD kListAdd16 = 0x0401, kComboAdd16 = 0x0403, kComboExAdd = 0x1234;
    const BYTE* p = init.data;
    const BYTE* end = init.data ? init.data + init.size : nullptr;
    while (p && end - p >= 2) {
        WORD control, message;
        DWORD length;
        std::memcpy(&control, p, 2);
        if (control == 0 || end - p < 8) break;
        std::memcpy(&message, p + 2, 2);
        std::memcpy(&length, p + 4, 4);
        p += 8;
        if (length > static_cast<DWORD>(end - p)) break;
        const char* text = reinterpret_cast<const char*>(p);
        const int bytes = static_cast<int>(::strnlen(text, length));
        std::wstring item(::MultiByteToWideChar(CP_UTF8, 0, text, bytes, nullptr, 0), L'\0');
        ::MultiByteToWideChar(CP_UTF8, 0, text, bytes, item.data(), static_cast<int>(item.size()));
        p += length;
        HWND hwnd = ::GetDlgItem(dialog, control);
        if (!hwnd) continue;
        switch (message) {
            case kListAdd16:
                ::SendMessageW(hwnd, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(item.c_str()));
                break;
            case kComboAdd16:
                ::SendMessageW(hwnd, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(item.c_str()));
                break;
            case kComboExAdd: {
                COMBOBOXEXITEMW entry{};
                entry.mask = CBEIF_TEXT;
                entry.iItem = -1;
                entry.pszText = item.data();
                ::SendMessageW(hwnd, CBEM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&entry));
                break;
            }
        }
    }
}

std::wstring LoadTableString(HMODULE module, UINT id, LANGID lang) {
    // A string table block holds 16 counted strings; block n carries ids (n - 1) * 16 to n * 16 - 1.
    HRSRC res = ::FindResourceExW(module, RT_STRING, MAKEINTRESOURCEW(id / 16 + 1), lang);
    if (!res) return {};
    HGLOBAL data = ::LoadResource(module, res);
    auto p = data ? static_cast<const WCHAR*>(::LockResource(data)) : nullptr;
    if (!p) return {};
    for (UINT i = 0; i < id % 16; ++i) p += 1 + *p;
    return std::wstring(p + 1, *p);
}

std::wstring FormatInserts(const std::wstring& pattern, std::initializer_list<std::wstring> args) {
    std::wstring out;
    out.reserve(pattern.size());
    for (size_t i = 0; i < pattern.size(); ++i) {
        wchar_t c = pattern[i];
        if (c == L'%' && i + 1 < pattern.size() && pattern[i + 1] >= L'1' &&
            pattern[i + 1] <= L'9') {
            size_t n = pattern[i + 1] - L'1';
            if (n < args.size()) {
                out += *(args.begin() + n);
                ++i;
                continue;
            }
        }
        out += c;
    }
    return out;
}

std::wstring VPrintf(const wchar_t* format, va_list args) {
    std::vector<wchar_t> buffer(256);
    for (;;) {
        va_list copy;
        va_copy(copy, args);
        // msvcrt's own formatter: MinGW's C99 one would read "%s" as a narrow string.
        int n = ::_vsnwprintf(buffer.data(), buffer.size(), format, copy);
        va_end(copy);
        if (n >= 0 && static_cast<size_t>(n) < buffer.size()) return std::wstring(buffer.data(), n);
        // -1 means "too small" or "bad format"; the bound ends the second case.
        if (buffer.size() >= 65536) return {};
        buffer.resize(buffer.size() * 2);
    }
}

std::wstring Printf(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    std::wstring text = VPrintf(format, args);
    va_end(args);
    return text;
}

}  // namespace ui
