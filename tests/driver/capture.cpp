#include "driver/capture.h"

#include "driver/driver.h"
#include "ui/handles.h"

#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>
#include <utility>

namespace driver {

namespace {

constexpr DWORD kSettleMs = 100;

// The pixels of `source` from (x, y) on.
Image Copy(HDC source, int x, int y, int width, int height) {
    Image image;
    image.width = width;
    image.height = height;
    if (width <= 0 || height <= 0) return {};

    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;

    HDC memory = ::CreateCompatibleDC(source);
    void* bits = nullptr;
    ui::UniqueHBitmap bitmap(::CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    if (bitmap) {
        HGDIOBJ old = ::SelectObject(memory, bitmap.get());
        ::BitBlt(memory, 0, 0, width, height, source, x, y, SRCCOPY);
        ::GdiFlush();
        auto p = static_cast<const uint32_t*>(bits);
        image.pixels.assign(p, p + static_cast<size_t>(width) * height);
        for (uint32_t& px : image.pixels) px &= 0x00FFFFFF;
        ::SelectObject(memory, old);
    }
    ::DeleteDC(memory);
    return bitmap ? image : Image{};
}

// RDW_UPDATENOW has the window's own thread paint it before RedrawWindow returns, and waits for
// that without a bound; on a thread of its own it cannot hang the capture of a window that never
// paints, which then fails.
void Paint(HWND hwnd) {
    auto painted = std::make_shared<std::atomic<bool>>(false);
    std::thread([hwnd, painted] {
        ::RedrawWindow(hwnd, nullptr, nullptr,
                       RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN | RDW_UPDATENOW);
        *painted = true;
    }).detach();
    WaitUntil([&] { return painted->load(); }, "'" + Narrow(Text(hwnd)) + "' to paint");
}

}  // namespace

Image CaptureScreenRect(const RECT& screen) {
    HDC screenDc = ::GetDC(nullptr);
    Image image = Copy(screenDc, screen.left, screen.top, screen.right - screen.left,
                       screen.bottom - screen.top);
    ::ReleaseDC(nullptr, screenDc);
    return image;
}

Image CaptureWindow(HWND hwnd) {
    Paint(hwnd);
    // Under Wine the DC of a window of this process reads the window's surface, which holds the
    // paint at once. X, and with it the screen and the windows of other processes, gets the
    // surface when the painting thread goes idle, or within about 50 ms while it is busy: so the
    // capture is taken again until two in a row agree.
    RECT rect{};
    ::GetWindowRect(hwnd, &rect);
    auto read = [&] {
        HDC dc = ::GetWindowDC(hwnd);
        Image image = Copy(dc, 0, 0, rect.right - rect.left, rect.bottom - rect.top);
        ::ReleaseDC(hwnd, dc);
        return image;
    };
    Image image = read();
    WaitUntil(
        [&] {
            ::Sleep(kSettleMs);
            Image previous = std::exchange(image, read());
            return previous.pixels == image.pixels;
        },
        "'" + Narrow(Text(hwnd)) + "' to look the same twice in a row");
    return image;
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
