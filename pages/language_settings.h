// The display language: the user's choice ("\local\Language") and the computer's default
// ("\config\Language"), as the General page shows and saves them. No window needed.
#pragma once

#include <windows.h>

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

// Write one choice, returning 0 or the store's error and the language id now stored (0 for
// the user's system default, which removes the user's value; a failed removal is no error).
DWORD WriteMachineLanguage(int machineIndex, DWORD& stored);
DWORD WriteUserLanguage(int userIndex, DWORD& stored);

}  // namespace applet
