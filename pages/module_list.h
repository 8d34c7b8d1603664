// What the Advanced page lists: the system's security modules and the provider's own modules,
// each with its version and the kind of image it is, and the list's order and text form.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace applet {

struct ModuleRow {
    std::wstring name;  // empty when the file could not be opened
    std::wstring version;
    std::wstring type;  // "x86", "x64", "ia64", or the bitness of another machine
    std::wstring path;
};

// The columns, in the list's order.
enum ModuleColumn { kColumnName, kColumnVersion, kColumnType, kColumnPath, kColumnCount };

// Where the provider's installer registers its modules (HKEY_LOCAL_MACHINE).
constexpr wchar_t kIntegrityKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\KvexIntegrity\\kvcsp";

// The row of the file at `path`; nullopt when there is nothing to show.
std::optional<ModuleRow> DescribeModule(const std::wstring& path);

// The system modules, each from the system directory and then from the 32-bit one.
std::vector<std::wstring> SystemModulePaths();
// The "Path" of every module registered under kIntegrityKey, in the key's order.
std::vector<std::wstring> IntegrityModulePaths();
// The rows of both, system modules first.
std::vector<ModuleRow> ListInstalledModules();

// Case-insensitive, by `column` and then by the column's tie-breakers; negative when `a` goes
// before `b`.
int CompareModuleRows(const ModuleRow& a, const ModuleRow& b, int column, bool descending);

// The rows as text, one line each, in the order given.
std::wstring ModuleListText(const std::vector<ModuleRow>& rows);

}  // namespace applet
