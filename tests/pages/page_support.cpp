#include "page_support.h"

#include "applet/support.h"
#include "driver/driver.h"

#include <gtest/gtest.h>

namespace pagetest {

std::optional<std::wstring> RegText(const std::wstring& key, const wchar_t* name, REGSAM view) {
    HKEY hkey = nullptr;
    wchar_t value[260] = {};
    DWORD size = sizeof(value) - sizeof(wchar_t);
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_QUERY_VALUE | view, &hkey))
        return std::nullopt;
    const LSTATUS status = ::RegGetValueW(hkey, nullptr, name, RRF_RT_REG_SZ, nullptr, value, &size);
    ::RegCloseKey(hkey);
    if (status) return std::nullopt;
    return value;
}

std::optional<DWORD> RegNumber(const std::wstring& key, const wchar_t* name) {
    DWORD value = 0, size = sizeof(value);
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_DWORD, nullptr, &value,
                       &size))
        return std::nullopt;
    return value;
}

void SetRegText(const std::wstring& key, const wchar_t* name, const std::wstring& value) {
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ,
                                               value.c_str(),
                                               DWORD((value.size() + 1) * sizeof(wchar_t))));
}

void SetRegNumber(const std::wstring& key, const wchar_t* name, DWORD value) {
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_DWORD,
                                               &value, sizeof(value)));
}

ScopedRegValue::ScopedRegValue(std::wstring key, std::wstring name, std::optional<DWORD> value)
    : key_(std::move(key)), name_(std::move(name)) {
    DWORD size = 0;
    if (!::RegGetValueW(HKEY_LOCAL_MACHINE, key_.c_str(), name_.c_str(), RRF_RT_ANY, &type_,
                        nullptr, &size)) {
        saved_.emplace(size);
        ::RegGetValueW(HKEY_LOCAL_MACHINE, key_.c_str(), name_.c_str(), RRF_RT_ANY, &type_,
                       saved_->data(), &size);
    }
    if (value)
        SetRegNumber(key_, name_.c_str(), *value);
    else
        ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key_.c_str(), name_.c_str());
}

ScopedRegValue::~ScopedRegValue() {
    if (saved_)
        ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key_.c_str(), name_.c_str(), type_, saved_->data(),
                          DWORD(saved_->size()));
    else
        ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key_.c_str(), name_.c_str());
}

std::optional<std::wstring> StoredText(const std::wstring& path) {
    wchar_t text[256] = {};
    DWORD length = 255;
    if (support::support_registry_get_string(path.c_str(), &length, text)) return std::nullopt;
    return text;
}

std::optional<DWORD> StoredNumber(const std::wstring& path) {
    DWORD value = 0;
    if (support::support_registry_get_long(path.c_str(), &value)) return std::nullopt;
    return value;
}

std::vector<bool> Enabled(HWND window, std::initializer_list<int> ids) {
    std::vector<bool> enabled;
    for (int id : ids) enabled.push_back(driver::IsEnabled(driver::Item(window, id)));
    return enabled;
}

void ApplyFails(HWND sheet) {
    HWND apply = driver::SheetButton(sheet, driver::kApply);
    driver::Click(apply);
    driver::MessageBoxInfo box = driver::AnswerMessageBox(IDOK);
    EXPECT_EQ(L"Error saving parameters.", box.text);
    EXPECT_EQ(UINT{MB_ICONERROR}, box.icon);
    driver::Flush();
    EXPECT_TRUE(driver::IsEnabled(apply)) << "still modified";
}

}  // namespace pagetest
