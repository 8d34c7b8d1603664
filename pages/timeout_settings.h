// The user input timeouts of the provider's own dialogs (carrier choice, password, login and
// the like): the current user's ("\local\KeyDevices") and the system default
// ("\global\KeyDevices"), as the timeout dialog shows and saves them. No window needed.
#pragma once

#include <windows.h>

namespace applet {

// Both levels as the dialog shows them; the reading and writing need no window.
struct TimeoutSettings {
    static constexpr int kDefaultSeconds = 600;  // shown for a system value that can't be read
    static constexpr int kMinimumSeconds = 1, kMaximumSeconds = 65535;
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
    // What kept a level's value from being read, other than its absence; 0 when it was read.
    DWORD systemError = 0;
    DWORD userError = 0;
};

// Makes sure both sections exist, asks for write access to each, and reads each level's
// "retry_time": -1 is infinite, any other number is clamped to 1..65535 as a signed number.
// A user level that is not a timeout shows the system value.
TimeoutSettings ReadTimeoutSettings();

// Write one level: all five timeouts of the level receive the same number (-1 for infinite);
// the user's system default removes the user's five values. Each timeout is attempted; 0 or
// the first error (a failed removal is none).
DWORD WriteSystemTimeout(int choice, int seconds);
DWORD WriteUserTimeout(int choice, int seconds);

// Writes every level that may be written. The dialog does not report failed writes.
void WriteTimeoutSettings(const TimeoutSettings& settings);

}  // namespace applet
