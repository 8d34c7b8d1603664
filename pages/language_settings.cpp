#include "pages/language_settings.h"

#include "applet/support.h"

namespace applet {

namespace {

constexpr DWORD kRussian = 1049;
constexpr DWORD kEnglish = 1033;

bool ReadLanguage(const wchar_t* path, DWORD& value) {
    return support::support_registry_get_long(path, &value) == 0;
}

}  // namespace

bool LanguageSettings::Modified() const {
    const DWORD machine = machineIndex == kMachineRussian ? kRussian : kEnglish;
    const DWORD user = userIndex == kUserRussian   ? kRussian
                       : userIndex == kUserEnglish ? kEnglish
                                                   : 0;
    // A machine value the user cannot write is no change of his: it would keep OK from ever
    // closing the sheet.
    return (mayWriteConfig && storedMachine != machine) || storedUser != user;
}

LanguageSettings ReadLanguageSettings() {
    LanguageSettings settings;
    settings.mayWriteConfig = support::MayWrite(store::kConfig);
    settings.mayWriteLocal = support::MayWrite(store::kLocal);

    DWORD machine = 0;
    if (ReadLanguage(store::kConfigLanguage, machine) &&
        (machine == kRussian || machine == kEnglish)) {
        settings.machineIndex = machine == kRussian ? LanguageSettings::kMachineRussian
                                                    : LanguageSettings::kMachineEnglish;
    } else {
        settings.machineIndex = LanguageSettings::kMachineEnglish;
        settings.forceModified = settings.mayWriteConfig;
    }
    settings.storedMachine = machine;

    DWORD user = 0;
    if (ReadLanguage(store::kLocalLanguage, user)) {
        if (user == kRussian) {
            settings.userIndex = LanguageSettings::kUserRussian;
        } else if (user == kEnglish) {
            settings.userIndex = LanguageSettings::kUserEnglish;
        } else {
            user = LanguageSettings::kInvalid;
            settings.forceModified = true;
            settings.userIndex = LanguageSettings::kUserSystemDefault;
        }
        settings.storedUser = user;
    }
    return settings;
}

DWORD WriteMachineLanguage(int machineIndex, DWORD& stored) {
    const DWORD machine = machineIndex > 0 ? kEnglish : kRussian;
    const DWORD error = support::support_registry_put_long(store::kConfigLanguage, machine);
    if (error == 0) stored = machine;
    return error;
}

DWORD WriteUserLanguage(int userIndex, DWORD& stored) {
    if (userIndex == LanguageSettings::kUserSystemDefault) {
        support::support_registry_delete_param(store::kLocalLanguage);
        stored = 0;
        return 0;
    }
    const DWORD user = userIndex == LanguageSettings::kUserRussian ? kRussian : kEnglish;
    const DWORD error = support::support_registry_put_long(store::kLocalLanguage, user);
    if (error == 0) stored = user;
    return error;
}

}  // namespace applet
