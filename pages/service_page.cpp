#include "pages/service_page.h"

#include "resource.h"
#include "wizards/change_password.h"
#include "wizards/check_container.h"
#include "wizards/copy_container.h"
#include "wizards/delete_container.h"

namespace applet {

namespace {

// Runs a wizard on the stack, owned by the page; its result changes nothing here.
template <class Wizard>
void RunWizard(HWND parent) {
    Wizard wizard(parent);
    wizard.DoModal();
}

}  // namespace

CPropPageConfigCSPServices::CPropPageConfigCSPServices() : CPropPageConfigBase(IDD_PAGE_SERVICE) {}

bool CPropPageConfigCSPServices::OnCommand(UINT id, UINT code) {
    if (code != BN_CLICKED) return false;
    switch (id) {
        case IDC_SERVICE_CHECK:
            RunWizard<CWizardCheckContainer>(hwnd());
            return true;
        case IDC_SERVICE_COPY:
            RunWizard<CWizardCopyContainer>(hwnd());
            return true;
        case IDC_SERVICE_DELETE:
            RunWizard<CWizardDeleteContainer>(hwnd());
            return true;
        case IDC_SERVICE_CHANGE_PASSWORD:
            RunWizard<CWizardChangePassword>(hwnd());
            return true;
        default:
            return false;
    }
}

}  // namespace applet
