// The General page: versions, the display language, the administrator and console links.
#pragma once

#include "applet/page_base.h"
#include "applet/static_link.h"
#include "ui/handles.h"

#include <string>

namespace applet {

// The two language choices as the page shows them and the store holds them.
struct LanguageSettings {
    static constexpr int kUserSystemDefault = 0, kUserRussian = 1, kUserEnglish = 2;
    static constexpr int kMachineRussian = 0, kMachineEnglish = 1;
    static constexpr DWORD kInvalid = static_cast<DWORD>(-1);

    int userIndex = kUserSystemDefault;
    int machineIndex = kMachineEnglish;
    DWORD storedUser = 0;  // 0: not set; kInvalid: a value that is no language of ours
    DWORD storedMachine = 0;
    bool mayWriteConfig = false;
    bool mayWriteLocal = false;
    // A stored value was missing or invalid: the page offers Apply from the start.
    bool forceModified = false;

    bool Modified() const;
};

LanguageSettings ReadLanguageSettings();
// Writes what was chosen: kSaved (nothing to do), kSaveFailed, or kSavedRebuild. The user's
// choice still rebuilds the sheet when the machine's could not be written.
int SaveLanguageSettings(LanguageSettings& settings);

class CPropPageConfigCSPGeneral : public CPropPageConfigBase, private ILinkHandler {
public:
    CPropPageConfigCSPGeneral();

    bool IsPageModified() override;
    int SavePage() override;

protected:
    BOOL OnInitDialog() override;
    BOOL OnSetActive() override;
    void DoDataExchange(ui::DataExchange& dx) override;
    bool OnCommand(UINT id, UINT code) override;

private:
    void OnLinkClicked(HWND link) override;
    void WarnIfDefaultProviderIntercepted();
    void RunAsAdministrator();
    void OpenConsole();

    LanguageSettings languages_;
    bool activated_ = false;
    CStaticLink notice_, productName_, runAsAdmin_, console_;
    ui::UniqueHIcon shield_;
};

}  // namespace applet
