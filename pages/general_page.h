// The General page: versions, the display language, the administrator and console links.
#pragma once

#include "applet/page_base.h"
#include "applet/static_link.h"
#include "pages/language_settings.h"
#include "ui/handles.h"

#include <string>

namespace applet {

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
