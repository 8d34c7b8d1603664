#include "pages/timeout_settings.h"

#include "applet/support.h"

#include <algorithm>
#include <string>

namespace applet {

namespace {

constexpr wchar_t kSystemSection[] = L"\\global\\KeyDevices";
constexpr wchar_t kUserSection[] = L"\\local\\KeyDevices";
// Every timeout of the provider's dialogs; "retry_time" stands for all of them when read.
constexpr const wchar_t* kTimeouts[] = {L"retry_time", L"login_time", L"passwd_time",
                                        L"choice_time", L"bio_time"};
constexpr DWORD kInfinite = 0xFFFFFFFF;
constexpr int kMinimum = TimeoutSettings::kMinimumSeconds;
constexpr int kMaximum = TimeoutSettings::kMaximumSeconds;
constexpr DWORD kWrite = 2;

std::wstring Path(const wchar_t* section, const wchar_t* name) {
    return std::wstring(section) + L"\\" + name;
}

bool MayWrite(const wchar_t* section) {
    support::support_registry_put_section(section);
    DWORD rights = kWrite;
    return support::support_registry_check_access(section, &rights) == 0 && (rights & kWrite);
}

// The level's "retry_time": 0 when read, else the store's error (ERROR_FILE_NOT_FOUND: none).
DWORD ReadRetryTime(const wchar_t* section, DWORD& value) {
    return support::support_registry_get_long(Path(section, kTimeouts[0]).c_str(), &value);
}

// What a read's error says beyond the value's absence.
DWORD ReadError(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND ? 0 : error;
}

int Clamp(DWORD stored) {
    return std::clamp<LONG>(static_cast<LONG>(stored), kMinimum, kMaximum);
}

DWORD WriteAll(const wchar_t* section, DWORD value) {
    DWORD first = 0;
    for (const wchar_t* name : kTimeouts) {
        const DWORD error = support::support_registry_put_long(Path(section, name).c_str(), value);
        if (!first) first = error;
    }
    return first;
}

}  // namespace

TimeoutSettings ReadTimeoutSettings() {
    TimeoutSettings settings;
    settings.mayWriteUser = MayWrite(kUserSection);
    settings.mayWriteSystem = MayWrite(kSystemSection);

    DWORD stored = 0;
    DWORD error = ReadRetryTime(kSystemSection, stored);
    settings.systemError = ReadError(error);
    if (error == 0) {
        if (stored == kInfinite)
            settings.systemChoice = TimeoutSettings::kSystemInfinite;
        else
            settings.systemValue = Clamp(stored);
    }

    settings.userValue = settings.systemValue;
    error = ReadRetryTime(kUserSection, stored);
    settings.userError = ReadError(error);
    if (error != 0) {
        settings.userChoice = TimeoutSettings::kUserSystemDefault;
    } else if (stored == kInfinite) {
        settings.userChoice = TimeoutSettings::kUserInfinite;
    } else {
        settings.userChoice = TimeoutSettings::kUserTimeout;
        settings.userValue = Clamp(stored);
    }
    return settings;
}

DWORD WriteSystemTimeout(int choice, int seconds) {
    return WriteAll(kSystemSection, choice == TimeoutSettings::kSystemInfinite
                                        ? kInfinite
                                        : static_cast<DWORD>(seconds));
}

DWORD WriteUserTimeout(int choice, int seconds) {
    switch (choice) {
        case TimeoutSettings::kUserSystemDefault:
            for (const wchar_t* name : kTimeouts)
                support::support_registry_delete_param(Path(kUserSection, name).c_str());
            return 0;
        case TimeoutSettings::kUserInfinite:
            return WriteAll(kUserSection, kInfinite);
        default:
            return WriteAll(kUserSection, static_cast<DWORD>(seconds));
    }
}

void WriteTimeoutSettings(const TimeoutSettings& settings) {
    if (settings.mayWriteSystem) WriteSystemTimeout(settings.systemChoice, settings.systemValue);
    if (settings.mayWriteUser) WriteUserTimeout(settings.userChoice, settings.userValue);
}

}  // namespace applet
