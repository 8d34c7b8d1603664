#include "ui/clipboard.h"

#include "ui/handles.h"

#include <cstring>

namespace ui {

bool SetClipboardText(HWND owner, const std::wstring& text) {
    const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    UniqueHGlobal memory(::GlobalAlloc(GMEM_MOVEABLE, bytes));
    if (!memory) return false;
    void* target = ::GlobalLock(memory.get());
    if (!target) return false;
    std::memcpy(target, text.c_str(), bytes);
    ::GlobalUnlock(memory.get());
    if (!::OpenClipboard(owner)) return false;
    ::EmptyClipboard();
    // The clipboard owns the memory once it has taken it.
    const bool taken = ::SetClipboardData(CF_UNICODETEXT, memory.get()) != nullptr;
    if (taken) memory.release();
    ::CloseClipboard();
    return taken;
}

}  // namespace ui
