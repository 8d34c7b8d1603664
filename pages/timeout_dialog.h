// The user input timeout dialog: how long the provider's own dialogs (carrier choice, password,
// login and the like) wait for the user before they close as if cancelled. It edits the
// current user's timeouts ("\local\KeyDevices") and the system default ("\global\KeyDevices")
// at once.
#pragma once

#include "applet/lang_bases.h"
#include "pages/timeout_settings.h"

#include <windows.h>

namespace applet {

class CDialogSetTimeout : public CDialogLang {
public:
    CDialogSetTimeout();

    const TimeoutSettings& Settings() const { return settings_; }

protected:
    BOOL OnInitDialog() override;
    void DoDataExchange(ui::DataExchange& dx) override;
    bool OnCommand(UINT id, UINT code) override;
    void OnOK() override;

private:
    // Enables each level's value and spin when the level may be written and is a timeout.
    void EnableValues();

    TimeoutSettings settings_;
};

}  // namespace applet
