// The user input timeout dialog: how long the provider's own dialogs (carrier choice, password,
// login and the like) wait for the user before they close as if cancelled. It edits the
// current user's timeouts ("\local\KeyDevices") and the system default ("\global\KeyDevices")
// at once.
#pragma once

#include "applet/lang_bases.h"

#include <windows.h>

namespace applet {

// Both levels as the dialog shows them; the reading and writing need no window.
struct TimeoutSettings {
    static constexpr int kDefaultSeconds = 600;  // shown for a system value that can't be read
    // System choices, in the order of their radio buttons.
    static constexpr int kSystemInfinite = 0;
    static constexpr int kSystemTimeout = 1;
    // User choices, in the order of their radio buttons.
    static constexpr int kUserSystemDefault = 0;
    static constexpr int kUserInfinite = 1;
    static constexpr int kUserTimeout = 2;

    int systemValue = kDefaultSeconds;  // 1 to 65535 seconds
    int systemChoice = kSystemTimeout;
    int userValue = kDefaultSeconds;  // 1 to 65535 seconds
    int userChoice = kUserSystemDefault;
    bool mayWriteSystem = false;
    bool mayWriteUser = false;
};

// Makes sure both sections exist, asks for write access to each, and reads each level's
// "retry_time": -1 is infinite, any other number is clamped to 1..65535 as a signed number.
// A user level that is not a timeout shows the system value.
TimeoutSettings ReadTimeoutSettings();

// Writes every level that may be written: all five timeouts of the level receive the same
// number (-1 for infinite); the user's system default removes the user's five values. Failed
// writes are not reported.
void WriteTimeoutSettings(const TimeoutSettings& settings);

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
