#include "pages/module_list.h"

#include "applet/file_version.h"
#include "ui/handles.h"

#include <imagehlp.h>

namespace applet {

namespace {

constexpr const wchar_t* kSystemModules[] = {L"advapi32.dll", L"crypt32.dll",  L"inetcomm.dll",
                                             L"wininet.dll",  L"schannel.dll", L"security.dll",
                                             L"secur32.dll"};

std::wstring Directory(UINT(WINAPI* get)(LPWSTR, UINT)) {
    wchar_t buffer[MAX_PATH];
    const UINT length = get(buffer, MAX_PATH);
    return length > 0 && length < MAX_PATH ? std::wstring(buffer, length) : std::wstring();
}

std::wstring ImageType(const std::wstring& path) {
    std::wstring type = L"32 bit";
    // The image helper takes only narrow names.
    const int size =
        ::WideCharToMultiByte(CP_ACP, 0, path.c_str(), -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return type;
    std::string narrow(size, '\0');
    ::WideCharToMultiByte(CP_ACP, 0, path.c_str(), -1, narrow.data(), size, nullptr, nullptr);
    LOADED_IMAGE image{};
    if (!::MapAndLoad(narrow.c_str(), nullptr, &image, FALSE, TRUE)) return type;
    // The file header is laid out alike in 32- and 64-bit images.
    const IMAGE_FILE_HEADER& header = image.FileHeader->FileHeader;
    type = (header.Characteristics & IMAGE_FILE_32BIT_MACHINE) ? L"32 bit" : L"64 bit";
    switch (header.Machine) {
        case IMAGE_FILE_MACHINE_I386:
            type = L"x86";
            break;
        case IMAGE_FILE_MACHINE_IA64:
            type = L"ia64";
            break;
        case IMAGE_FILE_MACHINE_AMD64:
            type = L"x64";
            break;
        default:
            break;
    }
    ::UnMapAndLoad(&image);
    return type;
}

std::wstring RegistryPath(HKEY key) {
    DWORD type = 0, bytes = 0;
    if (::RegQueryValueExW(key, L"Path", nullptr, &type, nullptr, &bytes) != ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ))
        return {};
    std::wstring value(bytes / sizeof(wchar_t) + 1, L'\0');
    if (::RegQueryValueExW(key, L"Path", nullptr, &type, reinterpret_cast<BYTE*>(value.data()),
                           &bytes) != ERROR_SUCCESS)
        return {};
    value.resize(::wcsnlen(value.c_str(), bytes / sizeof(wchar_t)));
    return value;
}

// The order in which the columns decide, for each sort column.
constexpr int kTieBreaks[kColumnCount][kColumnCount + 1] = {
    {kColumnName, kColumnVersion, kColumnType, kColumnPath, -1},
    {kColumnVersion, kColumnName, kColumnType, kColumnPath, -1},
    {kColumnType, kColumnName, kColumnVersion, kColumnPath, -1},
    {kColumnPath, -1},
};

const std::wstring& Field(const ModuleRow& row, int column) {
    switch (column) {
        case kColumnName:
            return row.name;
        case kColumnVersion:
            return row.version;
        case kColumnType:
            return row.type;
        default:
            return row.path;
    }
}

void AppendPadded(std::wstring& text, const std::wstring& field, size_t width, bool left) {
    const size_t pad = field.size() < width ? width - field.size() : 0;
    if (!left) text.append(pad, L' ');
    text += field;
    if (left) text.append(pad, L' ');
}

}  // namespace

std::optional<ModuleRow> DescribeModule(const std::wstring& path) {
    ModuleRow row;
    row.path = path;
    const HANDLE opened = ::CreateFileW(path.c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened != INVALID_HANDLE_VALUE) {
        ui::UniqueHandleW file(opened);
        wchar_t full[MAX_PATH];
        wchar_t* name = nullptr;
        const DWORD length = ::GetFullPathNameW(path.c_str(), MAX_PATH, full, &name);
        if (length > 0 && length < MAX_PATH) {
            row.path = full;
            if (name) row.name = name;
        }
    }
    row.version = FileVersionString(row.path);
    if (row.path.empty() && row.version.empty() && row.name.empty()) return std::nullopt;
    row.type = ImageType(row.path);
    return row;
}

std::vector<std::wstring> SystemModulePaths() {
    const std::wstring system = Directory(::GetSystemDirectoryW);
    const std::wstring wow64 = Directory(::GetSystemWow64DirectoryW);
    std::vector<std::wstring> paths;
    for (const wchar_t* module : kSystemModules) {
        paths.push_back(system + L'\\' + module);
        paths.push_back(wow64 + L'\\' + module);
    }
    return paths;
}

std::vector<std::wstring> IntegrityModulePaths() {
    std::vector<std::wstring> paths;
    ui::UniqueHKey list;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kIntegrityKey, 0, KEY_ENUMERATE_SUB_KEYS, list.put()) !=
        ERROR_SUCCESS)
        return paths;
    wchar_t name[MAX_PATH + 1];
    for (DWORD index = 0; ::RegEnumKeyW(list.get(), index, name, MAX_PATH + 1) == ERROR_SUCCESS;
         ++index) {
        ui::UniqueHKey module;
        if (::RegOpenKeyExW(list.get(), name, 0, KEY_READ, module.put()) != ERROR_SUCCESS) continue;
        paths.push_back(RegistryPath(module.get()));
    }
    return paths;
}

std::vector<ModuleRow> ListInstalledModules() {
    std::vector<std::wstring> paths = SystemModulePaths();
    for (std::wstring& path : IntegrityModulePaths()) paths.push_back(std::move(path));
    std::vector<ModuleRow> rows;
    for (const std::wstring& path : paths)
        if (std::optional<ModuleRow> row = DescribeModule(path)) rows.push_back(std::move(*row));
    return rows;
}

int CompareModuleRows(const ModuleRow& a, const ModuleRow& b, int column, bool descending) {
    if (column < 0 || column >= kColumnCount) return 0;
    int result = 0;
    for (const int* field = kTieBreaks[column]; *field >= 0 && result == 0; ++field)
        result = ::_wcsicmp(Field(a, *field).c_str(), Field(b, *field).c_str());
    return descending ? -result : result;
}

std::wstring ModuleListText(const std::vector<ModuleRow>& rows) {
    std::wstring text;
    // "%-12s %16s %2s %s\r\n": a field longer than its width widens its column on that line.
    for (const ModuleRow& row : rows) {
        AppendPadded(text, row.name, 12, true);
        text += L' ';
        AppendPadded(text, row.version, 16, false);
        text += L' ';
        AppendPadded(text, row.type, 2, false);
        text += L' ';
        text += row.path;
        text += L"\r\n";
    }
    return text;
}

}  // namespace applet
