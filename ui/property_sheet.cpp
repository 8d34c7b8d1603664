#include "ui/property_sheet.h"

#include "ui/callback.h"

#include <algorithm>

namespace ui {

PropertyPage::PropertyPage() {
    header_.dwSize = sizeof(header_);
    header_.pfnDlgProc = DlgProc;
    header_.lParam = reinterpret_cast<LPARAM>(this);
}

void PropertyPage::SetTemplate(const DLGTEMPLATE* tmpl, HMODULE module, LANGID language) {
    SetResourceOrigin(module, language);
    header_.hInstance = module;
    header_.pResource = tmpl;
    header_.dwFlags |= PSP_DLGINDIRECT;
}

void PropertyPage::SetTitle(const std::wstring& title) {
    title_ = title;
    header_.dwFlags |= PSP_USETITLE;
}

void PropertyPage::SetHeaderTitle(const std::wstring& title) {
    headerTitle_ = title;
    header_.dwFlags |= PSP_USEHEADERTITLE;
}

void PropertyPage::SetHeaderSubtitle(const std::wstring& subtitle) {
    headerSubtitle_ = subtitle;
    header_.dwFlags |= PSP_USEHEADERSUBTITLE;
}

void PropertyPage::SetHideHeader() { header_.dwFlags |= PSP_HIDEHEADER; }

PropertyPage::~PropertyPage() {
    if (sheet_) sheet_->Forget(*this);
}

void PropertyPage::SetModified(bool modified) {
    modified_ = modified;
    HWND sheet = SheetWindow();
    if (sheet)
        ::SendMessageW(sheet, modified ? PSM_CHANGED : PSM_UNCHANGED,
                       reinterpret_cast<WPARAM>(hwnd_), 0);
}

HPROPSHEETPAGE PropertyPage::Create() {
    // comctl32 copies the strings, so pointing into the members is enough.
    header_.pszTitle = title_.c_str();
    header_.pszHeaderTitle = headerTitle_.c_str();
    header_.pszHeaderSubTitle = headerSubtitle_.c_str();
    return ::CreatePropertySheetPageW(&header_);
}

void PropertyPage::OnAttached() {
    if (sheet_ && !sheet_->hwnd_) sheet_->Attach(::GetParent(hwnd_));
}

bool PropertyPage::Dispatch(UINT msg, WPARAM wp, LPARAM lp, LRESULT& result) {
    if (msg != WM_NOTIFY) return DialogBase::Dispatch(msg, wp, lp, result);
    switch (reinterpret_cast<const NMHDR*>(lp)->code) {
        case PSN_SETACTIVE:
            result = OnSetActive() ? 0 : -1;
            return true;
        case PSN_KILLACTIVE:
            result = OnKillActive() ? FALSE : TRUE;
            return true;
        case PSN_APPLY:
            // PSNRET_INVALID makes the sheet show the refusing page.
            result = OnApply() ? PSNRET_NOERROR : PSNRET_INVALID;
            return true;
        case PSN_RESET:
            OnReset();
            result = 0;
            return true;
        case PSN_WIZBACK:
            result = OnWizardBack();
            return true;
        case PSN_WIZNEXT:
            result = OnWizardNext();
            return true;
        case PSN_WIZFINISH:
            result = OnWizardFinish() ? FALSE : TRUE;
            return true;
        case PSN_QUERYCANCEL:
            // A sheet that ends with a result of its own is closed through Cancel; nobody
            // may refuse that.
            result = (sheet_ && sheet_->Ending()) || OnQueryCancel() ? FALSE : TRUE;
            return true;
        default:
            return DialogBase::Dispatch(msg, wp, lp, result);
    }
}

INT_PTR CALLBACK PropertyPage::DlgProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) noexcept {
    return Guarded<INT_PTR>(FALSE, [&] {
        DialogBase* self =
            msg == WM_INITDIALOG
                ? reinterpret_cast<PropertyPage*>(reinterpret_cast<PROPSHEETPAGEW*>(lp)->lParam)
                : reinterpret_cast<DialogBase*>(::GetWindowLongPtrW(hwnd, DWLP_USER));
        return Procedure(self, hwnd, msg, wp, lp);
    });
}

PropertySheet::~PropertySheet() {
    if (hwnd_) ::RemoveWindowSubclass(hwnd_, SubclassProc, 0);
    // Pages held as members of a derived sheet are gone by now and have left the list; only
    // pages that outlive the sheet are still in it.
    for (PropertyPage* page : pages_) page->sheet_ = nullptr;
}

void PropertySheet::Forget(PropertyPage& page) {
    pages_.erase(std::remove(pages_.begin(), pages_.end(), &page), pages_.end());
}

void PropertySheet::AddPage(PropertyPage& page) {
    page.sheet_ = this;
    pages_.push_back(&page);
}

void PropertySheet::SetWizard97(HBITMAP watermark, HBITMAP header) {
    flags_ |= PSH_WIZARD97;
    watermark_ = watermark;
    header_ = header;
}

INT_PTR PropertySheet::DoModal() {
    std::vector<HPROPSHEETPAGE> handles;
    for (PropertyPage* page : pages_) {
        HPROPSHEETPAGE handle = page->Create();
        if (!handle) {
            for (HPROPSHEETPAGE created : handles) ::DestroyPropertySheetPage(created);
            return -1;
        }
        handles.push_back(handle);
    }

    PROPSHEETHEADERW header{};
    header.dwSize = sizeof(header);
    header.dwFlags = flags_;
    // Modal over the whole window the parent belongs to: comctl32 disables only the window it
    // is given, and a page or a control as parent would leave its sheet usable.
    header.hwndParent = parent_ ? ::GetAncestor(parent_, GA_ROOT) : nullptr;
    header.pszCaption = caption_.c_str();
    header.nPages = static_cast<UINT>(handles.size());
    header.nStartPage = handles.empty() ? 0 : std::min<UINT>(startPage_, header.nPages - 1);
    header.phpage = handles.data();
    if (IsWizard()) {
        if (watermark_) {
            header.dwFlags |= PSH_WATERMARK | PSH_USEHBMWATERMARK;
            header.hbmWatermark = watermark_;
        }
        if (header_) {
            header.dwFlags |= PSH_HEADER | PSH_USEHBMHEADER;
            header.hbmHeader = header_;
        }
    }

    Run run;
    run_ = &run;
    INT_PTR result = ::PropertySheetW(&header);
    // Once the window existed, WM_NCDESTROY has cleared run_ and may have deleted this object:
    // from here on only locals are used.
    if (!run.attached) run_ = nullptr;
    if (run.ending) return run.result;
    return result > 0 ? IDOK : result == 0 ? IDCANCEL : -1;
}

void PropertySheet::EndSheet(INT_PTR result) {
    if (!run_ || !hwnd_) return;
    run_->ending = true;
    run_->result = result;
    ::PostMessageW(hwnd_, PSM_PRESSBUTTON, PSBTN_CANCEL, 0);
}

int PropertySheet::ActiveIndex() const {
    auto page = ::SendMessageW(hwnd_, PSM_GETCURRENTPAGEHWND, 0, 0);
    return static_cast<int>(::SendMessageW(hwnd_, PSM_HWNDTOINDEX, page, 0));
}

bool PropertySheet::SetActivePage(int index) const {
    return ::SendMessageW(hwnd_, PSM_SETCURSEL, index, 0) != 0;
}

void PropertySheet::SetWizardButtons(DWORD buttons) const {
    ::SendMessageW(hwnd_, PSM_SETWIZBUTTONS, 0, buttons);
}

void PropertySheet::PressButton(int button) const {
    ::PostMessageW(hwnd_, PSM_PRESSBUTTON, button, 0);
}

void PropertySheet::Attach(HWND hwnd) {
    hwnd_ = hwnd;
    if (run_) run_->attached = true;
    ::SetWindowSubclass(hwnd, SubclassProc, 0, reinterpret_cast<DWORD_PTR>(this));
    TranslateButtons();
    OnInitDialog();
}

void PropertySheet::TranslateButtons() const {
    // comctl32's ids of the Apply, Back, Next and Finish buttons.
    constexpr int kApply = 0x3021, kBack = 0x3023, kNext = 0x3024, kFinish = 0x3025;
    static const struct {
        int button;
        UINT text;
    } buttons[] = {{IDOK, kIdsButtonOk},     {IDCANCEL, kIdsButtonCancel},
                   {kApply, kIdsButtonApply}, {IDHELP, kIdsButtonHelp},
                   {kBack, kIdsButtonBack},   {kNext, kIdsButtonNext},
                   {kFinish, kIdsButtonFinish}};
    if (pages_.empty()) return;
    for (const auto& b : buttons) {
        HWND button = ::GetDlgItem(hwnd_, b.button);
        std::wstring text = button ? pages_.front()->LoadText(b.text) : std::wstring();
        if (!text.empty()) ::SetWindowTextW(button, text.c_str());
    }
}

LRESULT CALLBACK PropertySheet::SubclassProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp, UINT_PTR,
                                             DWORD_PTR data) noexcept {
    auto self = reinterpret_cast<PropertySheet*>(data);
    if (msg == WM_NCDESTROY) {
        LRESULT result = ::DefSubclassProc(hwnd, msg, wp, lp);
        ::RemoveWindowSubclass(hwnd, SubclassProc, 0);
        self->hwnd_ = nullptr;
        self->run_ = nullptr;
        Guarded([&] { self->PostNcDestroy(); });
        return result;
    }
    return Guarded<LRESULT>(0, [&] {
        LRESULT result = 0;
        if (self->OnMessage(msg, wp, lp, result)) return result;
        return ::DefSubclassProc(hwnd, msg, wp, lp);
    });
}

}  // namespace ui
