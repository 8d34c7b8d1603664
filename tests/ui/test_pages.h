// Pages, sheets and a dialog built on the framework layer from the test templates.
#pragma once

#include "ui/dialog.h"
#include "ui/handles.h"
#include "ui/property_sheet.h"

#include <string>

namespace testui {

constexpr LANGID kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
constexpr LANGID kRussian = MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT);

HMODULE Module();

// A settings page; every control that its template has takes part in the data exchange.
class SettingsPage : public ui::PropertyPage {
public:
    SettingsPage(UINT templateId, LANGID language);

    std::wstring name;
    bool flag = false;
    int number = 5;
    int kind = 0;
    int colour = 1;

    bool vetoApply = false;  // OnApply refuses
    INT_PTR endWith = 0;     // OnApply ends the sheet with this result
    int applyCount = 0;

protected:
    BOOL OnInitDialog() override;
    void DoDataExchange(ui::DataExchange& dx) override;
    bool OnCommand(UINT id, UINT code) override;
    BOOL OnApply() override;
};

class SettingsSheet : public ui::PropertySheet {
public:
    explicit SettingsSheet(LANGID language);
    SettingsPage first;
    SettingsPage second;
};

class WizardPage : public ui::PropertyPage {
public:
    WizardPage(UINT templateId, LANGID language, UINT titleId, UINT subtitleId, DWORD buttons);
    int number = 5;

protected:
    BOOL OnSetActive() override;
    void DoDataExchange(ui::DataExchange& dx) override;
    LRESULT OnWizardNext() override;

private:
    DWORD buttons_;
};

class Wizard : public ui::PropertySheet {
public:
    explicit Wizard(LANGID language, DWORD secondPageButtons = PSWIZB_BACK | PSWIZB_NEXT);
    WizardPage first;
    WizardPage second;
    WizardPage last;  // exterior

private:
    ui::UniqueHBitmap watermark_;
    ui::UniqueHBitmap header_;
};

class NumberDialog : public ui::Dialog {
public:
    explicit NumberDialog(LANGID language);
    int number = 5;
    std::wstring name;

protected:
    void DoDataExchange(ui::DataExchange& dx) override;
};

}  // namespace testui
