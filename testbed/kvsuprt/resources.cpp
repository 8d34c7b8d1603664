// Strings and version values of a caller's module, in the product's language.
#include "kvsuprt/guard.h"
#include "kvsuprt/language.h"
#include "kvsuprt/store.h"
#include "testbed/libraries.h"
#include "ui/resources.h"

#include <cwchar>
#include <iterator>
#include <vector>

namespace {

// The version resource of `module` as a block VerQueryValueW can read (it wants a copy it may
// write to).
DWORD LoadVersionBlock(HINSTANCE module, std::vector<BYTE>& block) {
    HRSRC resource = ::FindResourceW(module, MAKEINTRESOURCEW(VS_VERSION_INFO), RT_VERSION);
    HGLOBAL data = resource ? ::LoadResource(module, resource) : nullptr;
    const void* bytes = data ? ::LockResource(data) : nullptr;
    if (!bytes) return ERROR_RESOURCE_TYPE_NOT_FOUND;
    auto begin = static_cast<const BYTE*>(bytes);
    block.assign(begin, begin + ::SizeofResource(module, resource));
    return ERROR_SUCCESS;
}

// A string value of the block's first translation.
DWORD QueryVersionValue(std::vector<BYTE>& block, const wchar_t* name, std::wstring& value) {
    struct Translation {
        WORD language;
        WORD code_page;
    };
    Translation* translation = nullptr;
    UINT size = 0;
    if (!::VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation",
                          reinterpret_cast<void**>(&translation), &size) ||
        size < sizeof(Translation))
        return ERROR_RESOURCE_NAME_NOT_FOUND;
    wchar_t query[300];
    if (std::swprintf(query, std::size(query), L"\\StringFileInfo\\%04x%04x\\%ls",
                      translation->language, translation->code_page, name) < 0)
        return ERROR_INVALID_PARAMETER;
    wchar_t* text = nullptr;
    if (!::VerQueryValueW(block.data(), query, reinterpret_cast<void**>(&text), &size) || !text)
        return ERROR_RESOURCE_NAME_NOT_FOUND;
    value.assign(text, wcsnlen(text, size));
    return ERROR_SUCCESS;
}

}  // namespace

extern "C" {

DWORD support_resource_string(HINSTANCE module, UINT id, wchar_t* buffer, DWORD* length) {
    return kvsuprt::Guarded([&] {
        std::wstring text = ui::LoadTableString(module, id, kvsuprt::CurrentLanguage());
        if (text.empty()) return static_cast<DWORD>(ERROR_RESOURCE_NAME_NOT_FOUND);
        return kvsuprt::CopyText(text, length, buffer);
    });
}

DWORD support_resource_version_string(const wchar_t* name, HINSTANCE module, wchar_t* buffer,
                                      DWORD* length) {
    if (!name) return ERROR_INVALID_PARAMETER;
    return kvsuprt::Guarded([&] {
        std::vector<BYTE> block;
        std::wstring value;
        DWORD error = LoadVersionBlock(module, block);
        if (error == ERROR_SUCCESS) error = QueryVersionValue(block, name, value);
        return error ? error : kvsuprt::CopyText(value, length, buffer);
    });
}

}  // extern "C"
