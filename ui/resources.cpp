#include "ui/resources.h"

#include <cstdarg>
#include <cwchar>
#include <vector>

namespace ui {

HMODULE ModuleOf(const void* address) noexcept {
    HMODULE module = nullptr;
    ::GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        static_cast<LPCWSTR>(address), &module);
    return module;
}

const DLGTEMPLATE* FindDialogTemplate(HMODULE module, UINT id, LANGID lang) noexcept {
    HRSRC res = ::FindResourceExW(module, RT_DIALOG, MAKEINTRESOURCEW(id), lang);
    if (!res) return nullptr;
    HGLOBAL data = ::LoadResource(module, res);
    return data ? static_cast<const DLGTEMPLATE*>(::LockResource(data)) : nullptr;
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

std::wstring Printf(const wchar_t* format, ...) {
    std::vector<wchar_t> buffer(256);
    for (;;) {
        va_list args;
        va_start(args, format);
        int n = std::vswprintf(buffer.data(), buffer.size(), format, args);
        va_end(args);
        if (n >= 0 && static_cast<size_t>(n) < buffer.size()) return std::wstring(buffer.data(), n);
        // -1 means "too small" or "bad format"; the bound ends the second case.
        if (buffer.size() >= 65536) return {};
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace ui
