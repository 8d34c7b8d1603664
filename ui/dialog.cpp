#include "ui/dialog.h"

#include "ui/callback.h"
#include "ui/controls.h"
#include "ui/data_exchange.h"
#include "ui/message_box.h"
#include "ui/resources.h"

namespace ui {

namespace {

// Messages whose result is the dialog procedure's return value rather than DWLP_MSGRESULT.
bool ReturnsDirectly(UINT msg) {
    switch (msg) {
        case WM_CTLCOLORMSGBOX:
        case WM_CTLCOLOREDIT:
        case WM_CTLCOLORLISTBOX:
        case WM_CTLCOLORBTN:
        case WM_CTLCOLORDLG:
        case WM_CTLCOLORSCROLLBAR:
        case WM_CTLCOLORSTATIC:
        case WM_COMPAREITEM:
        case WM_VKEYTOITEM:
        case WM_CHARTOITEM:
        case WM_QUERYDRAGICON:
        case WM_INITDIALOG:
            return true;
        default:
            return false;
    }
}

}  // namespace

bool DialogBase::UpdateData(bool save) {
    DataExchange dx(*this, save);
    DoDataExchange(dx);
    return !dx.Failed();
}

std::wstring DialogBase::LoadText(UINT id) const { return LoadTableString(module_, id, language_); }

std::wstring DialogBase::MessageCaption() const {
    HWND root = hwnd_ ? ::GetAncestor(hwnd_, GA_ROOT) : nullptr;
    return root ? GetWindowString(root) : std::wstring();
}

int DialogBase::MessageBox(const std::wstring& text, UINT type, DWORD helpId) const {
    return ui::MessageBox(hwnd_, text, MessageCaption(), type, helpId);
}

BOOL DialogBase::OnInitDialog() {
    UpdateData(false);
    return TRUE;
}

bool DialogBase::Dispatch(UINT msg, WPARAM wp, LPARAM lp, LRESULT& result) {
    switch (msg) {
        case WM_INITDIALOG:
            result = OnInitDialog();
            return true;
        case WM_COMMAND:
            return OnCommand(LOWORD(wp), HIWORD(wp));
        case WM_NOTIFY:
            return OnNotify(*reinterpret_cast<const NMHDR*>(lp), result);
        case WM_CTLCOLORSTATIC:
            result = ::SendMessageW(reinterpret_cast<HWND>(lp), kReflectedCtlColorStatic, wp, lp);
            return result != 0 || OnMessage(msg, wp, lp, result);
        default:
            return OnMessage(msg, wp, lp, result);
    }
}

INT_PTR DialogBase::Procedure(DialogBase* self, HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_INITDIALOG) {
        ::SetWindowLongPtrW(hwnd, DWLP_USER, reinterpret_cast<LONG_PTR>(self));
        self->hwnd_ = hwnd;
        self->OnAttached();
        ApplyDialogInit(hwnd, self->init_);
    }
    if (!self) return FALSE;
    LRESULT result = 0;
    bool handled = self->Dispatch(msg, wp, lp, result);
    if (msg == WM_NCDESTROY) {
        ::SetWindowLongPtrW(hwnd, DWLP_USER, 0);
        self->hwnd_ = nullptr;
    }
    if (ReturnsDirectly(msg)) return handled ? result : FALSE;
    if (!handled) return FALSE;
    ::SetWindowLongPtrW(hwnd, DWLP_MSGRESULT, result);
    return TRUE;
}

void Dialog::SetTemplate(const DLGTEMPLATE* tmpl, HMODULE module, LANGID language) {
    template_ = tmpl;
    SetResourceOrigin(module, language);
}

INT_PTR Dialog::DoModal(HWND owner) {
    if (!template_) return -1;
    // Modal over the top-level window, as for sheets.
    return ::DialogBoxIndirectParamW(ResourceModule(), template_,
                                     owner ? ::GetAncestor(owner, GA_ROOT) : nullptr, DlgProc,
                                     reinterpret_cast<LPARAM>(this));
}

void Dialog::OnOK() {
    if (UpdateData(true)) EndDialog(IDOK);
}

void Dialog::OnCancel() { EndDialog(IDCANCEL); }

bool Dialog::Dispatch(UINT msg, WPARAM wp, LPARAM lp, LRESULT& result) {
    if (msg == WM_COMMAND && HIWORD(wp) == BN_CLICKED) {
        if (LOWORD(wp) == IDOK) {
            OnOK();
            return true;
        }
        if (LOWORD(wp) == IDCANCEL) {
            OnCancel();
            return true;
        }
    }
    return DialogBase::Dispatch(msg, wp, lp, result);
}

INT_PTR CALLBACK Dialog::DlgProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) noexcept {
    return Guarded<INT_PTR>(FALSE, [&] {
        auto self = msg == WM_INITDIALOG
                        ? reinterpret_cast<DialogBase*>(lp)
                        : reinterpret_cast<DialogBase*>(::GetWindowLongPtrW(hwnd, DWLP_USER));
        return Procedure(self, hwnd, msg, wp, lp);
    });
}

}  // namespace ui
