// Pixels of windows on the screen, for screenshots and for checks of what is drawn.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace driver {

struct Image {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels;  // 0x00RRGGBB, top row first
    uint32_t At(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }
};

// The window as it is on the screen, frame included, after it has repainted.
Image CaptureWindow(HWND hwnd);
// The part of the screen in `screen` coordinates.
Image CaptureScreenRect(const RECT& screen);
bool SaveBmp(const Image& image, const std::wstring& path);

}  // namespace driver
