// Changes the password (PIN) of a private key container through the provider's own dialogs:
// the applet never sees a password.
#pragma once

#include "wizards/select_container.h"

namespace applet {

class CWizardChangePassword;

class CWizPageChangePasswordSelectContainer : public CWizPageSelectContainer {
public:
    explicit CWizPageChangePasswordSelectContainer(CWizardChangePassword& wizard);

protected:
    BOOL OnWizardFinish() override;

private:
    CWizardChangePassword& wizard_;
};

class CWizardChangePassword : public CPropertySheetWizardBase {
public:
    explicit CWizardChangePassword(HWND parent);
    CCryptProvContext context;  // the opened container, until the next attempt or the end

private:
    CWizPageChangePasswordSelectContainer page_;
};

}  // namespace applet
