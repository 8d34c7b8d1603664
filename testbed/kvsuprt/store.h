// The configuration store, kept in the registry below the testbed's key:
//     \config, \global, \cryptography  ->  HKLM\Software\Kelvane\Testbed\Store\<scope>
//     \local                           ->  HKCU\Software\Kelvane\Testbed\Store\local
// A store path "\scope\A\B\C" names the section (key) A\B\C when that key exists, otherwise the
// parameter (value) C of section A\B. Every store function goes through Resolve.
#pragma once

#include <windows.h>

#include <string>

namespace kvsuprt {

// The installer writes its entries below this key too.
inline constexpr wchar_t kStoreKey[] = L"Software\\Kelvane\\Testbed\\Store";

// What a store path names, after the access check.
struct Target {
    HKEY hive = nullptr;
    std::wstring path;     // the path as given, without a trailing backslash
    std::wstring key;      // the registry key of the path taken as a section
    std::wstring parent;   // the registry key of the section that holds it
    std::wstring name;     // its last component (the scope's name for a scope itself)
    bool scope = false;    // the path is a scope: "\config", "\local", ...
    bool section = false;  // the key exists: the path names a section
};

// Parses `path`, checks that the knobs grant every bit of `rights` there and finds out whether it
// names a section. ERROR_INVALID_PARAMETER for a malformed path or an unknown scope,
// ERROR_ACCESS_DENIED when a right is missing.
DWORD Resolve(const wchar_t* path, DWORD rights, Target& target);

// The rights that the knobs grant on a resolved path.
DWORD GrantedRights(const Target& target) noexcept;

// One entry of the store: a section, a number or a text.
struct Entry {
    enum class Kind { kSection, kNumber, kText } kind = Kind::kSection;
    std::wstring name;
    DWORD number = 0;
    std::wstring text;
};

// Reads the parameter `name` of the open section `key`. ERROR_FILE_NOT_FOUND when it is missing,
// ERROR_INVALID_DATATYPE when it is neither a number nor a text.
DWORD ReadParameter(HKEY key, const std::wstring& name, Entry& entry);

// Reads what a resolved path names: a section or a parameter.
DWORD ReadEntry(const Target& target, Entry& entry);

// Hands `text` out through the in/out length protocol of the library's functions.
DWORD CopyText(const std::wstring& text, DWORD* length, wchar_t* buffer) noexcept;

}  // namespace kvsuprt
