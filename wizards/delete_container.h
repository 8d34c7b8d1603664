// Destroys a private key container with all its keys and certificates, after confirmation.
#pragma once

#include "wizards/select_container.h"

namespace applet {

class CWizardDeleteContainer;

class CWizPageDeleteContainerSelectContainer : public CWizPageSelectContainer {
public:
    explicit CWizPageDeleteContainerSelectContainer(CWizardDeleteContainer& wizard);

protected:
    BOOL OnWizardFinish() override;

private:
    CWizardDeleteContainer& wizard_;
};

class CWizardDeleteContainer : public CPropertySheetWizardBase {
public:
    explicit CWizardDeleteContainer(HWND parent);
    CCryptProvContext context;

private:
    CWizPageDeleteContainerSelectContainer page_;
};

}  // namespace applet
