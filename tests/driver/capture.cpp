#include "driver/capture.h"

#include "ui/handles.h"

#include <cstdio>

namespace driver {

Image CaptureScreenRect(const RECT& screen) {
    Image image;
    image.width = screen.right - screen.left;
    image.height = screen.bottom - screen.top;
    if (image.width <= 0 || image.height <= 0) return {};

    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = image.width;
    info.bmiHeader.biHeight = -image.height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;

    HDC screenDc = ::GetDC(nullptr);
    HDC memory = ::CreateCompatibleDC(screenDc);
    void* bits = nullptr;
    ui::UniqueHBitmap bitmap(::CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    if (bitmap) {
        HGDIOBJ old = ::SelectObject(memory, bitmap.get());
        ::BitBlt(memory, 0, 0, image.width, image.height, screenDc, screen.left, screen.top, SRCCOPY);
        ::GdiFlush();
        auto p = static_cast<const uint32_t*>(bits);
        image.pixels.assign(p, p + static_cast<size_t>(image.width) * image.height);
        for (uint32_t& px : image.pixels) px &= 0x00FFFFFF;
        ::SelectObject(memory, old);
    }
    ::DeleteDC(memory);
    ::ReleaseDC(nullptr, screenDc);
    return bitmap ? image : Image{};
}

Image CaptureWindow(HWND hwnd) {
    ::RedrawWindow(hwnd, nullptr, nullptr,
                   RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN | RDW_UPDATENOW);
    ::Sleep(300);  // the window's own thread paints; give it the moment it needs
    RECT rect{};
    ::GetWindowRect(hwnd, &rect);
    return CaptureScreenRect(rect);
}

bool SaveBmp(const Image& image, const std::wstring& path) {
    if (image.pixels.empty()) return false;
    BITMAPFILEHEADER file{};
    BITMAPINFOHEADER info{};
    DWORD size = static_cast<DWORD>(image.pixels.size() * 4);
    file.bfType = 0x4D42;
    file.bfOffBits = sizeof(file) + sizeof(info);
    file.bfSize = file.bfOffBits + size;
    info.biSize = sizeof(info);
    info.biWidth = image.width;
    info.biHeight = -image.height;
    info.biPlanes = 1;
    info.biBitCount = 32;
    info.biCompression = BI_RGB;
    info.biSizeImage = size;
    FILE* out = _wfopen(path.c_str(), L"wb");
    if (!out) return false;
    bool ok = std::fwrite(&file, sizeof(file), 1, out) == 1 &&
              std::fwrite(&info, sizeof(info), 1, out) == 1 &&
              std::fwrite(image.pixels.data(), size, 1, out) == 1;
    return std::fclose(out) == 0 && ok;
}

}  // namespace driver
