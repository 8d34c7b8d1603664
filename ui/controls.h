// Non-owning views of child controls with typed helpers, and window subclassing.
#pragma once

#include <windows.h>
#include <commctrl.h>

#include <functional>
#include <string>

namespace ui {

std::wstring GetWindowString(HWND hwnd);

// Tool tips for the child controls of `parent`: each control for which `tip` gives a text shows
// it while the mouse rests on it. The tip window is owned by `parent` and goes with it.
HWND AddToolTips(HWND parent, const std::function<std::wstring(int controlId)>& tip);

// WM_CTLCOLORSTATIC as a dialog passes it on to the static it is about, so that a control can
// choose its own colours; a nonzero answer is the brush.
constexpr UINT kReflectedCtlColorStatic = WM_USER + 0x1C00 + WM_CTLCOLORSTATIC;

class Control {
public:
    Control() = default;
    explicit Control(HWND hwnd) : hwnd_(hwnd) {}
    HWND hwnd() const { return hwnd_; }
    int Id() const { return ::GetDlgCtrlID(hwnd_); }
    std::wstring Text() const { return GetWindowString(hwnd_); }
    void SetText(const std::wstring& text) const { ::SetWindowTextW(hwnd_, text.c_str()); }
    bool IsEnabled() const { return ::IsWindowEnabled(hwnd_) != FALSE; }
    void Enable(bool enable) const { ::EnableWindow(hwnd_, enable); }
    void Show(bool show) const { ::ShowWindow(hwnd_, show ? SW_SHOW : SW_HIDE); }
    void Focus() const { ::SetFocus(hwnd_); }
    LRESULT Send(UINT msg, WPARAM wp = 0, LPARAM lp = 0) const {
        return ::SendMessageW(hwnd_, msg, wp, lp);
    }

protected:
    HWND hwnd_ = nullptr;
};

class Button : public Control {
public:
    using Control::Control;
    int Check() const { return static_cast<int>(Send(BM_GETCHECK)); }
    bool IsChecked() const { return Check() == BST_CHECKED; }
    void SetCheck(int state) const { Send(BM_SETCHECK, state); }
    void SetCheck(bool checked) const { SetCheck(checked ? BST_CHECKED : BST_UNCHECKED); }
};

class Edit : public Control {
public:
    using Control::Control;
    void LimitText(int chars) const { Send(EM_LIMITTEXT, chars); }
    void SelectAll() const { Send(EM_SETSEL, 0, -1); }
    void SetReadOnly(bool readOnly) const { Send(EM_SETREADONLY, readOnly); }
};

class Static : public Control {
public:
    using Control::Control;
    void SetIcon(HICON icon) const { Send(STM_SETICON, reinterpret_cast<WPARAM>(icon)); }
};

class ComboBox : public Control {
public:
    using Control::Control;
    int Count() const { return static_cast<int>(Send(CB_GETCOUNT)); }
    int Add(const std::wstring& text) const {
        return static_cast<int>(Send(CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str())));
    }
    void Clear() const { Send(CB_RESETCONTENT); }
    int Selection() const { return static_cast<int>(Send(CB_GETCURSEL)); }
    void Select(int index) const { Send(CB_SETCURSEL, index); }
    int Find(const std::wstring& text) const {
        return static_cast<int>(
            Send(CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(text.c_str())));
    }
    std::wstring ItemText(int index) const;
    LPARAM ItemData(int index) const { return Send(CB_GETITEMDATA, index); }
    void SetItemData(int index, LPARAM data) const { Send(CB_SETITEMDATA, index, data); }
};

class UpDown : public Control {
public:
    using Control::Control;
    void SetRange(int low, int high) const { Send(UDM_SETRANGE32, low, high); }
    void SetPos(int pos) const { Send(UDM_SETPOS32, 0, pos); }
    int Pos() const { return static_cast<int>(Send(UDM_GETPOS32)); }
};

class ListView : public Control {
public:
    using Control::Control;
    void SetExtendedStyle(DWORD style) const { Send(LVM_SETEXTENDEDLISTVIEWSTYLE, style, style); }
    int InsertColumn(int index, const std::wstring& title, int width) const;
    int InsertItem(int index, const std::wstring& text, LPARAM data = 0) const;
    void SetItemText(int item, int column, const std::wstring& text) const;
    std::wstring ItemText(int item, int column) const;
    int Count() const { return static_cast<int>(Send(LVM_GETITEMCOUNT)); }
    void Clear() const { Send(LVM_DELETEALLITEMS); }
    void SetColumnWidth(int column, int width) const { Send(LVM_SETCOLUMNWIDTH, column, width); }
    int ColumnWidth(int column) const { return static_cast<int>(Send(LVM_GETCOLUMNWIDTH, column)); }
    int SelectedItem() const {
        return static_cast<int>(Send(LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED));
    }
};

// Subclassing through comctl32's SetWindowSubclass; the object is the subclass reference data.
// Detaches itself when the window is destroyed.
class Subclass {
public:
    Subclass() = default;
    virtual ~Subclass();
    Subclass(const Subclass&) = delete;
    Subclass& operator=(const Subclass&) = delete;

    bool Attach(HWND hwnd);
    void Detach();
    HWND hwnd() const { return hwnd_; }

protected:
    // Return true when handled, with the result in `result`; unhandled messages reach the
    // window's own procedure.
    virtual bool OnMessage(UINT msg, WPARAM wp, LPARAM lp, LRESULT& result) = 0;
    LRESULT Default(UINT msg, WPARAM wp, LPARAM lp) { return ::DefSubclassProc(hwnd_, msg, wp, lp); }

private:
    static LRESULT CALLBACK Proc(HWND, UINT, WPARAM, LPARAM, UINT_PTR, DWORD_PTR) noexcept;
    HWND hwnd_ = nullptr;
};

}  // namespace ui
