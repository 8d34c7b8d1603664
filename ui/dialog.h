// Dialogs and property pages from in-memory templates. The object is found from the window
// through DWLP_USER, stored at WM_INITDIALOG: no window map, no thunks.
#pragma once

#include "ui/resources.h"

#include <windows.h>

#include <string>

namespace ui {

class DataExchange;

// What dialogs and property pages share: the window, its template's origin, data exchange and
// the routing of messages to virtual handlers.
class DialogBase {
public:
    DialogBase() = default;
    virtual ~DialogBase() = default;
    DialogBase(const DialogBase&) = delete;
    DialogBase& operator=(const DialogBase&) = delete;

    HWND hwnd() const { return hwnd_; }
    HWND Item(int id) const { return ::GetDlgItem(hwnd_, id); }

    // Moves member values to the controls (save = false) or validates and moves them back.
    // Returns false when a control failed validation; its message has been shown.
    bool UpdateData(bool save);

    // The module and language that the template came from; framework texts come from there.
    HMODULE ResourceModule() const { return module_; }
    LANGID Language() const { return language_; }

    // A string of this window's string table.
    virtual std::wstring LoadText(UINT id) const;
    // The caption of message boxes that this window shows.
    virtual std::wstring MessageCaption() const;
    int MessageBox(const std::wstring& text, UINT type, DWORD helpId = 0) const;

protected:
    virtual BOOL OnInitDialog();  // default: UpdateData(false); TRUE = default focus
    virtual void DoDataExchange(DataExchange&) {}
    virtual bool OnCommand(UINT /*id*/, UINT /*code*/) { return false; }
    virtual bool OnNotify(const NMHDR& /*header*/, LRESULT& /*result*/) { return false; }
    // Any other message; return true when handled, with the result in `result`.
    virtual bool OnMessage(UINT /*msg*/, WPARAM, LPARAM, LRESULT& /*result*/) { return false; }

    void SetResourceOrigin(HMODULE module, LANGID language) {
        module_ = module;
        language_ = language;
    }
    // List and combo box items that the window starts with (the template's initialisation
    // data); sent to the controls before OnInitDialog.
    void SetInitData(const DialogInit& init) { init_ = init; }

    // Called once the window exists and before OnInitDialog; `hwnd_` is set.
    virtual void OnAttached() {}
    // Routes one message; true when handled.
    virtual bool Dispatch(UINT msg, WPARAM wp, LPARAM lp, LRESULT& result);

    // The dialog procedure of both kinds; `self` is found in DWLP_USER after WM_INITDIALOG.
    static INT_PTR Procedure(DialogBase* self, HWND hwnd, UINT msg, WPARAM wp, LPARAM lp);

    HWND hwnd_ = nullptr;

private:
    HMODULE module_ = nullptr;
    LANGID language_ = 0;
    DialogInit init_;
};

// A modal dialog.
class Dialog : public DialogBase {
public:
    Dialog() = default;
    void SetTemplate(const DLGTEMPLATE* tmpl, HMODULE module, LANGID language);
    bool HasTemplate() const { return template_ != nullptr; }

    // IDOK, IDCANCEL or what EndDialog was given; -1 when there is no template or no window.
    INT_PTR DoModal(HWND owner);
    void EndDialog(INT_PTR result) { ::EndDialog(hwnd_, result); }

protected:
    virtual void OnOK();      // UpdateData(true), then EndDialog(IDOK)
    virtual void OnCancel();  // EndDialog(IDCANCEL)
    bool Dispatch(UINT msg, WPARAM wp, LPARAM lp, LRESULT& result) override;

private:
    static INT_PTR CALLBACK DlgProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) noexcept;
    const DLGTEMPLATE* template_ = nullptr;
};

}  // namespace ui
