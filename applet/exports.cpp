#include "applet/exports.h"

#include "applet/module_state.h"
#include "applet/strings.h"
#include "ui/callback.h"
#include "wizards/certificate_on_container.h"
#include "wizards/change_password.h"
#include "wizards/delete_container.h"
#include "wizards/install_certificate.h"

namespace {

// A wizard on the stack, modal over `parent`, under the applet's own manifest; its result is
// not used. Nothing escapes into the caller.
template <class Wizard>
void RunExportedWizard(HWND parent) noexcept {
    ui::Guarded([&] {
        applet::ActivationScope manifest;
        if (!applet::RequireSupportLibrary(parent)) return;
        Wizard wizard(parent);
        wizard.DoModal();
    });
}

}  // namespace

extern "C" {

void WINAPI WizDeleteContainer(HWND parent) {
    RunExportedWizard<applet::CWizardDeleteContainer>(parent);
}

void WINAPI WizChangePassword(HWND parent) {
    RunExportedWizard<applet::CWizardChangePassword>(parent);
}

void WINAPI WizInstallPrivateCertificate(HWND parent) {
    RunExportedWizard<applet::CWizardInstallPrivateCertificate>(parent);
}

void WINAPI WizViewCertificateInContainer(HWND parent) {
    RunExportedWizard<applet::CWizardCertificateOnContainer>(parent);
}
}
