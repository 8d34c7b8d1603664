#include "ui/test_pages.h"

#include "ui/controls.h"
#include "ui/data_exchange.h"
#include "ui/resources.h"
#include "ui/test_resource.h"
#include "resource.h"

namespace testui {

HMODULE Module() { return ::GetModuleHandleW(nullptr); }

SettingsPage::SettingsPage(UINT templateId, LANGID language) {
    SetTemplate(ui::FindDialogTemplate(Module(), templateId, language), Module(), language);
}

BOOL SettingsPage::OnInitDialog() {
    ui::ComboBox combo(Item(IDC_TEST_COMBO));
    if (combo.hwnd()) {
        combo.Add(LoadText(IDS_TEST_COMBO_FIRST));
        combo.Add(LoadText(IDS_TEST_COMBO_SECOND));
    }
    return PropertyPage::OnInitDialog();
}

void SettingsPage::DoDataExchange(ui::DataExchange& dx) {
    dx.Text(IDC_TEST_NAME, name, 20);
    dx.Check(IDC_TEST_FLAG, flag);
    dx.Number(IDC_TEST_NUMBER, number, 1, 100);
    dx.ComboIndex(IDC_TEST_COMBO, kind);
    dx.Radio(IDC_TEST_RADIO1, colour);
}

bool SettingsPage::OnCommand(UINT, UINT code) {
    if (code == EN_CHANGE || code == BN_CLICKED || code == CBN_SELCHANGE) {
        SetModified(true);
        return true;
    }
    return false;
}

BOOL SettingsPage::OnApply() {
    ++applyCount;
    if (vetoApply) return FALSE;
    if (endWith) Sheet()->EndSheet(endWith);
    return TRUE;
}

SettingsSheet::SettingsSheet(LANGID language)
    : first(IDD_TEST_SETTINGS1, language), second(IDD_TEST_SETTINGS2, language) {
    SetCaption(ui::LoadTableString(Module(), IDS_TEST_SHEET, language));
    AddPage(first);
    AddPage(second);
}

WizardPage::WizardPage(UINT templateId, LANGID language, UINT titleId, UINT subtitleId,
                       DWORD buttons)
    : buttons_(buttons) {
    SetTemplate(ui::FindDialogTemplate(Module(), templateId, language), Module(), language);
    SetTitle(ui::LoadTableString(Module(), IDS_TEST_WIZARD, language));
    if (titleId) {
        SetHeaderTitle(ui::LoadTableString(Module(), titleId, language));
        SetHeaderSubtitle(ui::LoadTableString(Module(), subtitleId, language));
    } else {
        SetHideHeader();
    }
}

BOOL WizardPage::OnSetActive() {
    Sheet()->SetWizardButtons(buttons_);
    return TRUE;
}

void WizardPage::DoDataExchange(ui::DataExchange& dx) { dx.Number(IDC_TEST_NUMBER, number, 1, 100); }

LRESULT WizardPage::OnWizardNext() { return UpdateData(true) ? 0 : -1; }

Wizard::Wizard(LANGID language, DWORD secondPageButtons)
    : first(IDD_TEST_WIZARD1, language, IDS_TEST_WIZARD1_TITLE, IDS_TEST_WIZARD1_SUB, PSWIZB_NEXT),
      second(IDD_TEST_WIZARD2, language, IDS_TEST_WIZARD2_TITLE, IDS_TEST_WIZARD2_SUB,
             secondPageButtons),
      last(IDD_TEST_WIZARD3, language, 0, 0, PSWIZB_BACK | PSWIZB_FINISH),
      watermark_(::LoadBitmapW(Module(), MAKEINTRESOURCEW(IDB_WIZARD_WATERMARK))),
      header_(::LoadBitmapW(Module(), MAKEINTRESOURCEW(IDB_WIZARD_HEADER))) {
    SetCaption(ui::LoadTableString(Module(), IDS_TEST_WIZARD, language));
    SetWizard97(watermark_.get(), header_.get());
    AddPage(first);
    AddPage(second);
    AddPage(last);
}

NumberDialog::NumberDialog(LANGID language) {
    SetTemplate(ui::FindDialogTemplate(Module(), IDD_TEST_DIALOG, language), Module(), language);
}

void NumberDialog::DoDataExchange(ui::DataExchange& dx) {
    dx.Number(IDC_TEST_NUMBER, number, 1, 100);
    dx.Text(IDC_TEST_NAME, name, 8);
}

}  // namespace testui
