#include "wizards/check_container.h"

#include "applet/strings.h"
#include "resource.h"
#include "ui/clipboard.h"

#include <cstring>

namespace applet {

CWizPageCheckContainerSelectContainer::CWizPageCheckContainerSelectContainer(
    CWizardCheckContainer& wizard)
    : CWizPageSelectContainer(IDS_WIZARD_CHECK, IDS_WIZARD_CHECK_SUBTITLE, true, true, true),
      wizard_(wizard) {}

LRESULT CWizPageCheckContainerSelectContainer::OnWizardNext() {
    if (CWizPageSelectContainer::OnWizardNext() != 0) return -1;
    ClientWindowScope owner(hwnd());
    return AcquireSelectedContainer(wizard_.context, 0) ? 0 : -1;
}

CWizPageCheckContainerFinish::CWizPageCheckContainerFinish(CWizardCheckContainer& wizard)
    : CWizardPageBase(IDD_CHECK_FINISH, IDS_WIZARD_CHECK, 0, 0), wizard_(wizard) {
    MakeExterior();
}

BOOL CWizPageCheckContainerFinish::OnInitDialog() {
    CWizardPageBase::OnInitDialog();
    list_ = ui::ListView(Item(IDC_CHECK_REPORT));
    list_.SetExtendedStyle(LVS_EX_FULLROWSELECT);
    // Until the first check sizes them to their contents, the columns share the width.
    RECT client{};
    ::GetClientRect(list_.hwnd(), &client);
    list_.InsertColumn(0, std::wstring(), client.right / 2);
    list_.InsertColumn(1, std::wstring(), client.right / 2);
    titleFont_ = SetWizardTitleFont(Item(IDC_CHECK_TITLE));
    return TRUE;
}

BOOL CWizPageCheckContainerFinish::OnSetActive() {
    ::PostMessageW(SheetWindow(), PSM_SETWIZBUTTONS, 0, PSWIZB_BACK | PSWIZB_FINISH);
    ClientWindowScope owner(hwnd());
    RunContainerCheck(wizard_.context.Handle(), Wizard().keySet, *this);
    list_.SetColumnWidth(0, LVSCW_AUTOSIZE);
    list_.SetColumnWidth(1, LVSCW_AUTOSIZE);
    return CWizardPageBase::OnSetActive();
}

void CWizPageCheckContainerFinish::Clear() {
    list_.Clear();
    rowCount_ = 0;
}

void CWizPageCheckContainerFinish::AddRow(const std::wstring& label, const std::wstring& value,
                                          bool onTop) {
    const int item = list_.InsertItem(onTop ? 0 : rowCount_, label);
    ++rowCount_;
    if (item >= 0 && !value.empty()) list_.SetItemText(item, 1, value);
}

std::wstring CWizPageCheckContainerFinish::ClipboardText() const {
    std::vector<ReportRow> rows;
    for (int i = 0, count = list_.Count(); i < count; ++i)
        rows.emplace_back(list_.ItemText(i, 0), list_.ItemText(i, 1));
    return ReportText(rows);
}

bool CWizPageCheckContainerFinish::OnCommand(UINT id, UINT code) {
    if (id != IDC_CHECK_COPY || code != BN_CLICKED) return false;
    ui::SetClipboardText(hwnd(), ClipboardText());
    return true;
}

CWizardCheckContainer::CWizardCheckContainer(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_CHECK, IDB_WIZARD_WATERMARK),
      select_(*this),
      finish_(*this) {
    AddPage(select_);
    AddPage(finish_);
}

}  // namespace applet
