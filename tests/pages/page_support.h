// What the page tests share: values of HKLM and of the store read and set (for a scope), a page
// run alone in a sheet, and a save that fails as the user sees it.
#pragma once

#include "page_script.h"

#include <windows.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace pagetest {

// REG_SZ and REG_DWORD values of HKLM (the native view unless `view` says otherwise); nullopt
// when absent.
std::optional<std::wstring> RegText(const std::wstring& key, const wchar_t* name, REGSAM view = 0);
std::optional<DWORD> RegNumber(const std::wstring& key, const wchar_t* name);
void SetRegText(const std::wstring& key, const wchar_t* name, const std::wstring& value);
void SetRegNumber(const std::wstring& key, const wchar_t* name, DWORD value);

// A value of HKLM set (or with nullopt removed) for the scope; what was there comes back.
class ScopedRegValue {
public:
    ScopedRegValue(std::wstring key, std::wstring name, std::optional<DWORD> value);
    ~ScopedRegValue();
    ScopedRegValue(const ScopedRegValue&) = delete;
    ScopedRegValue& operator=(const ScopedRegValue&) = delete;

private:
    std::wstring key_, name_;
    DWORD type_ = REG_NONE;
    std::optional<std::vector<BYTE>> saved_;
};

// A value of the product's store read as the applet reads it; nullopt when absent.
std::optional<std::wstring> StoredText(const std::wstring& path);
std::optional<DWORD> StoredNumber(const std::wstring& path);

// `Page` alone in a sheet captioned `caption`, as applettest::RunPageAlone runs it.
template <class Page>
INT_PTR RunPage(const wchar_t* caption, const std::function<void(HWND sheet, HWND page)>& script,
                applettest::AfterScript after = applettest::AfterScript::kCancel) {
    Page page;
    return applettest::RunPageAlone(page, caption, script, after);
}

// Whether each of the controls is enabled.
std::vector<bool> Enabled(HWND window, std::initializer_list<int> ids);

// Apply refused: "Error saving parameters." answered, and the page still shows its changes.
void ApplyFails(HWND sheet);

}  // namespace pagetest
