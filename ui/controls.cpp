#include "ui/controls.h"

#include "ui/callback.h"

#include <vector>

namespace ui {

std::wstring GetWindowString(HWND hwnd) {
    int length = ::GetWindowTextLengthW(hwnd);
    if (length <= 0) return {};
    std::wstring text(length + 1, L'\0');
    text.resize(::GetWindowTextW(hwnd, text.data(), length + 1));
    return text;
}

HWND AddToolTips(HWND parent, const std::function<std::wstring(int)>& tip) {
    HWND tips = ::CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_ALWAYSTIP,
                                  CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT,
                                  parent, nullptr, nullptr, nullptr);
    if (!tips) return nullptr;
    // Long texts wrap instead of running across the screen.
    ::SendMessageW(tips, TTM_SETMAXTIPWIDTH, 0, 400);
    for (HWND child = ::GetWindow(parent, GW_CHILD); child;
         child = ::GetWindow(child, GW_HWNDNEXT)) {
        std::wstring text = tip(::GetDlgCtrlID(child));
        if (text.empty()) continue;
        TOOLINFOW info{};
        info.cbSize = sizeof(info);
        info.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
        info.hwnd = parent;
        info.uId = reinterpret_cast<UINT_PTR>(child);
        info.lpszText = text.data();
        ::SendMessageW(tips, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&info));
    }
    return tips;
}

std::wstring ComboBox::ItemText(int index) const {
    LRESULT length = Send(CB_GETLBTEXTLEN, index);
    if (length == CB_ERR) return {};
    std::wstring text(length + 1, L'\0');
    LRESULT copied = Send(CB_GETLBTEXT, index, reinterpret_cast<LPARAM>(text.data()));
    text.resize(copied == CB_ERR ? 0 : copied);
    return text;
}

int ListView::InsertColumn(int index, const std::wstring& title, int width) const {
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_SUBITEM;
    column.pszText = const_cast<LPWSTR>(title.c_str());
    column.cx = width;
    column.iSubItem = index;
    return static_cast<int>(Send(LVM_INSERTCOLUMNW, index, reinterpret_cast<LPARAM>(&column)));
}

int ListView::InsertItem(int index, const std::wstring& text, LPARAM data) const {
    LVITEMW item{};
    item.mask = LVIF_TEXT | LVIF_PARAM;
    item.iItem = index;
    item.pszText = const_cast<LPWSTR>(text.c_str());
    item.lParam = data;
    return static_cast<int>(Send(LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item)));
}

void ListView::SetItemText(int item, int column, const std::wstring& text) const {
    LVITEMW lvi{};
    lvi.iSubItem = column;
    lvi.pszText = const_cast<LPWSTR>(text.c_str());
    Send(LVM_SETITEMTEXTW, item, reinterpret_cast<LPARAM>(&lvi));
}

std::wstring ListView::ItemText(int item, int column) const {
    // LVM_GETITEMTEXT answers with the copied length; a full buffer means it may have been cut.
    std::vector<wchar_t> buffer(256);
    for (;;) {
        LVITEMW lvi{};
        lvi.iSubItem = column;
        lvi.pszText = buffer.data();
        lvi.cchTextMax = static_cast<int>(buffer.size());
        auto n = static_cast<size_t>(Send(LVM_GETITEMTEXTW, item, reinterpret_cast<LPARAM>(&lvi)));
        if (n + 1 < buffer.size() || buffer.size() >= 65536) return std::wstring(buffer.data(), n);
        buffer.resize(buffer.size() * 4);
    }
}

Subclass::~Subclass() { Detach(); }

bool Subclass::Attach(HWND hwnd) {
    Detach();
    if (!::SetWindowSubclass(hwnd, Proc, 0, reinterpret_cast<DWORD_PTR>(this))) return false;
    hwnd_ = hwnd;
    return true;
}

void Subclass::Detach() {
    if (hwnd_) ::RemoveWindowSubclass(hwnd_, Proc, 0);
    hwnd_ = nullptr;
}

LRESULT CALLBACK Subclass::Proc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp, UINT_PTR,
                                DWORD_PTR data) noexcept {
    auto self = reinterpret_cast<Subclass*>(data);
    if (msg == WM_NCDESTROY) {
        self->Detach();
        return ::DefSubclassProc(hwnd, msg, wp, lp);
    }
    return Guarded<LRESULT>(0, [&] {
        LRESULT result = 0;
        if (self->OnMessage(msg, wp, lp, result)) return result;
        return ::DefSubclassProc(hwnd, msg, wp, lp);
    });
}

}  // namespace ui
