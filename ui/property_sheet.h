// Property sheets (settings and Wizard97) over comctl32's PropertySheetW.
#pragma once

#include "ui/dialog.h"

#include <windows.h>
#include <commctrl.h>

#include <string>
#include <vector>

namespace ui {

class PropertySheet;

class PropertyPage : public DialogBase {
public:
    PropertyPage();
    ~PropertyPage() override;

    // The page's template, given in memory (PSP_DLGINDIRECT).
    void SetTemplate(const DLGTEMPLATE* tmpl, HMODULE module, LANGID language);
    bool HasTemplate() const { return header_.pResource != nullptr; }
    void SetTitle(const std::wstring& title);                 // PSP_USETITLE
    void SetHeaderTitle(const std::wstring& title);           // Wizard97 interior pages
    void SetHeaderSubtitle(const std::wstring& subtitle);
    void SetHideHeader();                                      // Wizard97 exterior page
    const std::wstring& Title() const { return title_; }
    const std::wstring& HeaderTitle() const { return headerTitle_; }
    const std::wstring& HeaderSubtitle() const { return headerSubtitle_; }
    DWORD Flags() const { return header_.dwFlags; }

    // Tells the sheet that this page has (or no longer has) changes to apply.
    void SetModified(bool modified);
    bool IsModified() const { return modified_; }

    PropertySheet* Sheet() const { return sheet_; }
    HWND SheetWindow() const { return hwnd_ ? ::GetParent(hwnd_) : nullptr; }

protected:
    // Return values follow the framework's usual sense; the base turns them into what
    // comctl32 wants in DWLP_MSGRESULT.
    virtual BOOL OnSetActive() { return TRUE; }          // FALSE: do not show this page
    virtual BOOL OnKillActive() { return UpdateData(true); }  // FALSE: stay on this page
    virtual BOOL OnApply() { return TRUE; }              // FALSE: this page refuses the apply
    virtual void OnReset() {}
    virtual LRESULT OnWizardBack() { return 0; }  // 0: previous page, -1: stay, else a page id
    virtual LRESULT OnWizardNext() { return 0; }  // 0: next page, -1: stay, else a page id
    virtual BOOL OnWizardFinish() { return TRUE; }  // FALSE: stay
    virtual BOOL OnQueryCancel() { return TRUE; }   // FALSE: refuse to cancel

    bool Dispatch(UINT msg, WPARAM wp, LPARAM lp, LRESULT& result) override;
    void OnAttached() override;

private:
    friend class PropertySheet;
    HPROPSHEETPAGE Create();
    static INT_PTR CALLBACK DlgProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) noexcept;

    PROPSHEETPAGEW header_{};
    std::wstring title_, headerTitle_, headerSubtitle_;
    PropertySheet* sheet_ = nullptr;
    bool modified_ = false;
};

// String ids of the sheet's own buttons. Their texts come from the first page's string table,
// so the buttons speak the language of the pages rather than the system's; a missing string
// leaves comctl32's text.
constexpr UINT kIdsButtonOk = 0xF120;
constexpr UINT kIdsButtonCancel = 0xF121;
constexpr UINT kIdsButtonApply = 0xF122;
constexpr UINT kIdsButtonHelp = 0xF123;
constexpr UINT kIdsButtonBack = 0xF124;
constexpr UINT kIdsButtonNext = 0xF125;
constexpr UINT kIdsButtonFinish = 0xF126;

class PropertySheet {
public:
    PropertySheet() = default;
    virtual ~PropertySheet();
    PropertySheet(const PropertySheet&) = delete;
    PropertySheet& operator=(const PropertySheet&) = delete;

    void SetCaption(const std::wstring& caption) { caption_ = caption; }
    const std::wstring& Caption() const { return caption_; }
    void SetParent(HWND parent) { parent_ = parent; }
    HWND Parent() const { return parent_; }
    void SetStartPage(UINT index) { startPage_ = index; }
    UINT StartPage() const { return startPage_; }

    // Pages are not owned: a sheet class holds its pages as members.
    void AddPage(PropertyPage& page);
    int PageCount() const { return static_cast<int>(pages_.size()); }
    PropertyPage& Page(int index) const { return *pages_[index]; }

    // Wizard97 form; either bitmap may be null (exterior pages then have no watermark).
    void SetWizard97(HBITMAP watermark, HBITMAP header);
    bool IsWizard() const { return (flags_ & PSH_WIZARD97) != 0; }

    // Runs the sheet modally. Returns what EndSheet was given, else IDOK (OK or Finish),
    // IDCANCEL, or -1 when the sheet could not be shown. The object may be deleted by
    // PostNcDestroy before this returns.
    INT_PTR DoModal();

    // Ends the sheet with `result`, which DoModal returns. comctl32 only returns its own
    // values, so the result is kept here and the sheet is closed through its Cancel button.
    void EndSheet(INT_PTR result);
    bool Ending() const { return run_ && run_->ending; }

    HWND hwnd() const { return hwnd_; }
    int ActiveIndex() const;
    bool SetActivePage(int index) const;
    void SetWizardButtons(DWORD buttons) const;  // PSWIZB_* flags
    void PressButton(int button) const;          // PSBTN_*

protected:
    // The sheet window exists (its first page is being created).
    virtual void OnInitDialog() {}
    // The sheet window has been destroyed; a self-deleting sheet deletes itself here.
    virtual void PostNcDestroy() {}
    // Messages to the sheet window; true when handled.
    virtual bool OnMessage(UINT /*msg*/, WPARAM, LPARAM, LRESULT& /*result*/) { return false; }

private:
    friend class PropertyPage;
    struct Run {
        bool attached = false;  // the sheet window was created
        bool ending = false;
        INT_PTR result = 0;
    };
    void Attach(HWND hwnd);
    void Forget(PropertyPage& page);
    void TranslateButtons() const;  // a page leaves the sheet when it is destroyed first
    static LRESULT CALLBACK SubclassProc(HWND, UINT, WPARAM, LPARAM, UINT_PTR,
                                         DWORD_PTR) noexcept;

    std::wstring caption_;
    HWND parent_ = nullptr;
    UINT startPage_ = 0;
    DWORD flags_ = 0;
    HBITMAP watermark_ = nullptr;
    HBITMAP header_ = nullptr;
    std::vector<PropertyPage*> pages_;
    HWND hwnd_ = nullptr;
    Run* run_ = nullptr;  // lives on DoModal's stack while the sheet runs
};

}  // namespace ui
