#include "applet/file_version.h"

#include <windows.h>

#include <cwchar>
#include <vector>

namespace applet {

std::wstring FileVersionString(const std::wstring& path) {
    DWORD ignored = 0;
    const DWORD size = ::GetFileVersionInfoSizeW(path.c_str(), &ignored);
    if (size == 0) return {};
    std::vector<BYTE> block(size);
    if (!::GetFileVersionInfoW(path.c_str(), 0, size, block.data())) return {};
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (!::VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &length) || !info ||
        length < sizeof(VS_FIXEDFILEINFO))
        return {};
    wchar_t text[48];
    std::swprintf(text, sizeof(text) / sizeof(text[0]), L"%d.%d.%d.%d",
                  HIWORD(info->dwFileVersionMS), LOWORD(info->dwFileVersionMS),
                  HIWORD(info->dwFileVersionLS), LOWORD(info->dwFileVersionLS));
    return text;
}

}  // namespace applet
