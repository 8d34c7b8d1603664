#include "applet/library_binding.h"

#include "applet/module_state.h"
#include "ui/handles.h"

#include <algorithm>
#include <string>

namespace applet {

namespace {

constexpr wchar_t kAppPathKey[] = L"SOFTWARE\\Kelvane\\Cryptography\\CurrentVersion\\AppPath\\";

// The default value of the AppPath key named after `file`; empty when absent.
std::wstring AppPath(const std::wstring& file) {
    std::wstring key = kAppPathKey + file;
    if (key.size() > 256) return {};
    ui::UniqueHKey hkey;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_QUERY_VALUE, hkey.put()) !=
        ERROR_SUCCESS)
        return {};
    DWORD type = 0, size = 0;
    if (::RegQueryValueExW(hkey.get(), nullptr, nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ) || size < sizeof(wchar_t))
        return {};
    std::wstring value(size / sizeof(wchar_t) + 1, L'\0');
    if (::RegQueryValueExW(hkey.get(), nullptr, nullptr, nullptr,
                           reinterpret_cast<BYTE*>(value.data()), &size) != ERROR_SUCCESS)
        return {};
    value.resize(::wcsnlen(value.c_str(), value.size()));
    return value;
}

bool SamePath(const std::wstring& a, const std::wstring& b) {
    return ::CompareStringW(LOCALE_SYSTEM_DEFAULT, NORM_IGNORECASE, a.c_str(),
                            static_cast<int>(a.size()), b.c_str(),
                            static_cast<int>(b.size())) == CSTR_EQUAL;
}

std::wstring ResolveProductPath(const wchar_t* fileName) {
    std::wstring self = ModulePath();
    if (self.empty()) return {};
    size_t slash = self.find_last_of(L'\\');
    std::wstring selfName = self.substr(slash + 1);
    std::wstring registered = AppPath(selfName);
    if (!registered.empty() && SamePath(registered, self)) {
        std::wstring path = AppPath(fileName);
        if (!path.empty()) return path;
    }
    std::wstring path = self.substr(0, slash + 1) + fileName;
    return path.size() < MAX_PATH ? path : std::wstring();
}

class ErrorModeScope {
public:
    ErrorModeScope() : previous_(::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX)) {}
    ~ErrorModeScope() {
        ui::LastErrorKeeper keep;
        ::SetErrorMode(previous_);
    }

private:
    UINT previous_;
};

}  // namespace

HMODULE LoadProductLibrary(const wchar_t* fileName) {
    std::wstring path = ResolveProductPath(fileName);
    ErrorModeScope errors;
    ActivationScope manifest;
    return ::LoadLibraryW(path.empty() ? fileName : path.c_str());
}

LibraryBinding::LibraryBinding(const wchar_t* fileName, std::vector<const char*> functions)
    : fileName_(fileName), names_(std::move(functions)), entries_(names_.size(), nullptr) {}

DWORD LibraryBinding::AddRef() {
    if (references_ == 0) {
        HMODULE module = LoadProductLibrary(fileName_);
        if (!module) {
            loadError_ = ::GetLastError();
            return kLibraryLoadFailed;
        }
        module_ = module;
    }
    ++references_;
    return 0;
}

void LibraryBinding::Release() {
    if (references_ == 0) return;
    if (--references_ == 0) std::fill(entries_.begin(), entries_.end(), nullptr);
}

DWORD LibraryBinding::Load() {
    // The reference a call takes for its own load is never given back.
    if (module_ || AddRef() == 0) return 0;
    return loadError_ ? loadError_ : kLibraryLoadFailed;
}

FARPROC LibraryBinding::Resolve(size_t slot) {
    if (entries_[slot]) return entries_[slot];
    if (Load() != 0) return nullptr;
    entries_[slot] = ::GetProcAddress(module_, names_[slot]);
    return entries_[slot];
}

}  // namespace applet
