#include "pages/service_page.h"

#include "pages/delete_passwords_dialog.h"
#include "resource.h"
#include "wizards/certificate_on_container.h"
#include "wizards/change_password.h"
#include "wizards/check_container.h"
#include "wizards/copy_container.h"
#include "wizards/delete_container.h"
#include "wizards/install_certificate.h"

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
        case IDC_SERVICE_VIEW_CERTIFICATES:
            RunWizard<CWizardCertificateOnContainer>(hwnd());
            return true;
        case IDC_SERVICE_INSTALL_CERTIFICATE:
            RunWizard<CWizardInstallPrivateCertificate>(hwnd());
            return true;
        case IDC_SERVICE_DELETE_PASSWORDS: {
            // Unlike the wizards, the dialog is owned by the active window rather than the page.
            CDialogDeletePasswords dialog;
            dialog.DoModal(::GetActiveWindow());
            return true;
        }
        default:
            return false;
    }
}

}  // namespace applet
