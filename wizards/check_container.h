// Checks a private key container: the selection page opens it, the report page runs the
// container check on it each time it is shown and offers the report as text.
#pragma once

#include "ui/controls.h"
#include "ui/handles.h"
#include "wizards/container_check.h"
#include "wizards/select_container.h"

namespace applet {

class CWizardCheckContainer;

class CWizPageCheckContainerSelectContainer : public CWizPageSelectContainer {
public:
    explicit CWizPageCheckContainerSelectContainer(CWizardCheckContainer& wizard);

protected:
    LRESULT OnWizardNext() override;

private:
    CWizardCheckContainer& wizard_;
};

class CWizPageCheckContainerFinish : public CWizardPageBase, public CheckReport {
public:
    explicit CWizPageCheckContainerFinish(CWizardCheckContainer& wizard);

    void Clear() override;
    void AddRow(const std::wstring& label, const std::wstring& value, bool onTop) override;

    // What "Copy to clipboard" copies: the rows shown, in their text form.
    std::wstring ClipboardText() const;

protected:
    BOOL OnInitDialog() override;
    BOOL OnSetActive() override;
    bool OnCommand(UINT id, UINT code) override;

private:
    CWizardCheckContainer& wizard_;
    ui::UniqueHFont titleFont_;
    ui::ListView list_;
    int rowCount_ = 0;  // where the next ordinary row goes
};

class CWizardCheckContainer : public CPropertySheetWizardBase {
public:
    explicit CWizardCheckContainer(HWND parent);
    CCryptProvContext context;  // the container the report is about

private:
    CWizPageCheckContainerSelectContainer select_;
    CWizPageCheckContainerFinish finish_;
};

}  // namespace applet
