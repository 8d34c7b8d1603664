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

// The window, frame included, once it has painted itself anew (bounded: a window that does not
// paint fails). Settle a window of RunModal with Flush first when it has just been told to change.
Image CaptureWindow(HWND hwnd);
// The part of the screen in `screen` coordinates, as X has it now: a window's latest paint may not
// be there yet.
Image CaptureScreenRect(const RECT& screen);
bool SaveBmp(const Image& image, const std::wstring& path);

}  // namespace driver
