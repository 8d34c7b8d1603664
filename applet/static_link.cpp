#include "applet/static_link.h"

#include "applet/module_state.h"
#include "applet/page_base.h"
#include "applet/strings.h"

namespace applet {

namespace {

// The hand cursor of the common controls in the system directory, copied once per process so
// that the library need not stay loaded; null when it cannot be had.
HCURSOR HandCursor() {
    static const HCURSOR cursor = [] {
        wchar_t windows[MAX_PATH];
        UINT length = ::GetWindowsDirectoryW(windows, MAX_PATH);
        if (!length || length >= MAX_PATH) return HCURSOR{};
        const std::wstring path = std::wstring(windows, length) + L"\\System32\\comctl32.dll";
        ActivationScope scope;
        ui::UniqueHModule library(::LoadLibraryW(path.c_str()));
        if (!library) return HCURSOR{};
        HCURSOR shared = ::LoadCursorW(library.get(), MAKEINTRESOURCEW(108));
        return shared ? static_cast<HCURSOR>(::CopyIcon(shared)) : HCURSOR{};
    }();
    return cursor;
}

bool PlainTextStyle(HWND hwnd) {
    const LONG type = ::GetWindowLongW(hwnd, GWL_STYLE) & SS_TYPEMASK;
    return type == SS_LEFT || type == SS_CENTER || type == SS_RIGHT;
}

}  // namespace

std::wstring CStaticLink::OpenTarget() const {
    if (!target_.empty()) return target_;
    std::wstring target = LoadStringLang(static_cast<UINT>(::GetDlgCtrlID(hwnd())));
    return target.empty() ? ui::GetWindowString(hwnd()) : target;
}

void CStaticLink::Open() {
    if (ShellStart(hwnd(), L"open", OpenTarget(), SW_SHOWNORMAL)) {
        color_ = kVisited;
        ::InvalidateRect(hwnd(), nullptr, TRUE);
    } else {
        ::MessageBeep(0);
    }
}

HBRUSH CStaticLink::OnCtlColor(HDC dc) {
    if (!underlined_) {
        auto font = reinterpret_cast<HFONT>(Default(WM_GETFONT, 0, 0));
        LOGFONTW description{};
        if (!::GetObjectW(font ? font : ::GetStockObject(DEFAULT_GUI_FONT), sizeof(description),
                          &description))
            return nullptr;
        description.lfUnderline = TRUE;
        underlined_.reset(::CreateFontIndirectW(&description));
        // Some static controls select their own font only after asking for colours: the
        // underlined copy becomes that font too, without a repaint of its own.
        Default(WM_SETFONT, reinterpret_cast<WPARAM>(underlined_.get()), FALSE);
    }
    ::SelectObject(dc, underlined_.get());
    ::SetTextColor(dc, color_);
    ::SetBkMode(dc, TRANSPARENT);
    return static_cast<HBRUSH>(::GetStockObject(HOLLOW_BRUSH));
}

bool CStaticLink::OnMessage(UINT msg, WPARAM wp, LPARAM, LRESULT& result) {
    switch (msg) {
        case WM_NCHITTEST:
            result = HTCLIENT;
            return true;
        case ui::kReflectedCtlColorStatic:
            if (!PlainTextStyle(hwnd())) return false;
            result = reinterpret_cast<LRESULT>(OnCtlColor(reinterpret_cast<HDC>(wp)));
            return true;
        case WM_LBUTTONDOWN:
            if (handler_)
                handler_->OnLinkClicked(hwnd());
            else
                Open();
            result = 0;
            return true;
        case WM_SETCURSOR:
            if (HCURSOR hand = HandCursor()) {
                ::SetCursor(hand);
                result = TRUE;
                return true;
            }
            return false;
        default:
            return false;
    }
}

}  // namespace applet
