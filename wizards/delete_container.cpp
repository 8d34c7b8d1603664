#include "wizards/delete_container.h"

#include "applet/strings.h"
#include "resource.h"

namespace applet {

CWizPageDeleteContainerSelectContainer::CWizPageDeleteContainerSelectContainer(
    CWizardDeleteContainer& wizard)
    : CWizPageSelectContainer(IDS_WIZARD_DELETE, IDS_WIZARD_DELETE_SUBTITLE, true, true, true),
      wizard_(wizard) {}

BOOL CWizPageDeleteContainerSelectContainer::OnWizardFinish() {
    if (!CWizPageSelectContainer::OnWizardFinish()) return FALSE;
    ClientWindowScope owner(hwnd());
    if (MessageBoxFormat(IDS_DELETE_CONFIRM, containerName, L"", MB_YESNO | MB_ICONEXCLAMATION) !=
        IDYES)
        return TRUE;  // No closes the wizard: nothing is deleted
    // Acquiring with CRYPT_DELETEKEYSET is the deletion.
    return AcquireSelectedContainer(wizard_.context, CRYPT_DELETEKEYSET);
}

CWizardDeleteContainer::CWizardDeleteContainer(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_DELETE, 0), page_(*this) {
    AddPage(page_);
}

}  // namespace applet
