#include "applet/file_version.h"

#include <windows.h>

#include <cwchar>
#include <vector>

namespace applet {

std::wstring FileVersionString(const std::wstring& path) {
    // Only the fixed part at the head of the version block is read: a block cut to this buffer
    // still holds it, and the file is read once instead of once for the size and once for the
    // block.
    std::vector<BYTE> block(4096);
    if (!::GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()))
        return {};
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (!::VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &length) || !info ||
        length < sizeof(VS_FIXEDFILEINFO) ||
        reinterpret_cast<BYTE*>(info) + sizeof(VS_FIXEDFILEINFO) > block.data() + block.size())
        return {};
    wchar_t text[48];
    std::swprintf(text, sizeof(text) / sizeof(text[0]), L"%d.%d.%d.%d",
                  HIWORD(info->dwFileVersionMS), LOWORD(info->dwFileVersionMS),
                  HIWORD(info->dwFileVersionLS), LOWORD(info->dwFileVersionLS));
    return text;
}

}  // namespace applet
