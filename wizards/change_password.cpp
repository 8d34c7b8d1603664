#include "wizards/change_password.h"

#include "applet/provider_params.h"
#include "applet/strings.h"
#include "resource.h"

namespace applet {

namespace {

// Kind 4 with no value: the provider runs the change through its own dialogs.
struct ChangePasswordRequest {
    BYTE kind = 4;
    void* value = nullptr;
};

}  // namespace

CWizPageChangePasswordSelectContainer::CWizPageChangePasswordSelectContainer(
    CWizardChangePassword& wizard)
    : CWizPageSelectContainer(IDS_WIZARD_CHANGE_PASSWORD, IDS_WIZARD_CHANGE_PASSWORD_SUBTITLE,
                              true, true, true),
      wizard_(wizard) {}

BOOL CWizPageChangePasswordSelectContainer::OnWizardFinish() {
    if (!CWizPageSelectContainer::OnWizardFinish()) return FALSE;
    ClientWindowScope owner(hwnd());
    if (!AcquireSelectedContainer(wizard_.context, 0)) return FALSE;
    ChangePasswordRequest request;
    if (::CryptSetProvParam(wizard_.context.Handle(), kParamChangePassword,
                            reinterpret_cast<const BYTE*>(&request), 0))
        return TRUE;
    ErrorMessageBox(::GetLastError());
    return FALSE;
}

CWizardChangePassword::CWizardChangePassword(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_CHANGE_PASSWORD, 0), page_(*this) {
    AddPage(page_);
}

}  // namespace applet
