#include "pages/timeout_dialog.h"

#include "applet/support.h"
#include "resource.h"
#include "ui/controls.h"
#include "ui/data_exchange.h"

#include <commctrl.h>

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
constexpr int kMinimum = 1, kMaximum = 65535;
constexpr DWORD kWrite = 2;

std::wstring Path(const wchar_t* section, const wchar_t* name) {
    return std::wstring(section) + L"\\" + name;
}

bool MayWrite(const wchar_t* section) {
    support::support_registry_put_section(section);
    DWORD rights = kWrite;
    return support::support_registry_check_access(section, &rights) == 0 && (rights & kWrite);
}

// The level's "retry_time", or nothing when it can't be read.
bool ReadRetryTime(const wchar_t* section, DWORD& value) {
    return support::support_registry_get_long(Path(section, kTimeouts[0]).c_str(), &value) == 0;
}

int Clamp(DWORD stored) {
    return std::clamp<LONG>(static_cast<LONG>(stored), kMinimum, kMaximum);
}

void WriteAll(const wchar_t* section, DWORD value) {
    for (const wchar_t* name : kTimeouts)
        support::support_registry_put_long(Path(section, name).c_str(), value);
}

// The controls of one level: its group, radio buttons, value, spin and "seconds".
constexpr int kUserControls[] = {IDC_TIMEOUT_USER_GROUP,    IDC_TIMEOUT_USER_DEFAULT,
                                 IDC_TIMEOUT_USER_INFINITE, IDC_TIMEOUT_USER_SET,
                                 IDC_TIMEOUT_USER_VALUE,    IDC_TIMEOUT_USER_SPIN,
                                 IDC_TIMEOUT_USER_SECONDS};
constexpr int kSystemControls[] = {IDC_TIMEOUT_SYSTEM_GROUP, IDC_TIMEOUT_SYSTEM_INFINITE,
                                   IDC_TIMEOUT_SYSTEM_SET,   IDC_TIMEOUT_SYSTEM_VALUE,
                                   IDC_TIMEOUT_SYSTEM_SPIN,  IDC_TIMEOUT_SYSTEM_SECONDS};

}  // namespace

TimeoutSettings ReadTimeoutSettings() {
    TimeoutSettings settings;
    settings.mayWriteUser = MayWrite(kUserSection);
    settings.mayWriteSystem = MayWrite(kSystemSection);

    DWORD stored = 0;
    if (ReadRetryTime(kSystemSection, stored)) {
        if (stored == kInfinite)
            settings.systemChoice = TimeoutSettings::kSystemInfinite;
        else
            settings.systemValue = Clamp(stored);
    }

    settings.userValue = settings.systemValue;
    if (!ReadRetryTime(kUserSection, stored)) {
        settings.userChoice = TimeoutSettings::kUserSystemDefault;
    } else if (stored == kInfinite) {
        settings.userChoice = TimeoutSettings::kUserInfinite;
    } else {
        settings.userChoice = TimeoutSettings::kUserTimeout;
        settings.userValue = Clamp(stored);
    }
    return settings;
}

void WriteTimeoutSettings(const TimeoutSettings& settings) {
    if (settings.mayWriteSystem)
        WriteAll(kSystemSection, settings.systemChoice == TimeoutSettings::kSystemInfinite
                                     ? kInfinite
                                     : static_cast<DWORD>(settings.systemValue));
    if (!settings.mayWriteUser) return;
    switch (settings.userChoice) {
        case TimeoutSettings::kUserSystemDefault:
            for (const wchar_t* name : kTimeouts)
                support::support_registry_delete_param(Path(kUserSection, name).c_str());
            break;
        case TimeoutSettings::kUserInfinite:
            WriteAll(kUserSection, kInfinite);
            break;
        default:
            WriteAll(kUserSection, static_cast<DWORD>(settings.userValue));
            break;
    }
}

CDialogSetTimeout::CDialogSetTimeout() : CDialogLang(IDD_SET_TIMEOUT) {}

BOOL CDialogSetTimeout::OnInitDialog() {
    static const UDACCEL accelerations[] = {{0, 10}, {5, 60}};
    for (auto [edit, spin] : {std::pair{IDC_TIMEOUT_USER_VALUE, IDC_TIMEOUT_USER_SPIN},
                              std::pair{IDC_TIMEOUT_SYSTEM_VALUE, IDC_TIMEOUT_SYSTEM_SPIN}}) {
        ui::Edit(Item(edit)).LimitText(5);
        ui::UpDown updown(Item(spin));
        updown.Send(UDM_SETBUDDY, reinterpret_cast<WPARAM>(Item(edit)));
        updown.SetRange(kMinimum, kMaximum);
        updown.Send(UDM_SETACCEL, ARRAYSIZE(accelerations),
                    reinterpret_cast<LPARAM>(accelerations));
    }
    settings_ = ReadTimeoutSettings();
    for (int id : kUserControls) ::EnableWindow(Item(id), settings_.mayWriteUser);
    for (int id : kSystemControls) ::EnableWindow(Item(id), settings_.mayWriteSystem);
    BOOL result = CDialogLang::OnInitDialog();
    EnableValues();
    return result;
}

void CDialogSetTimeout::DoDataExchange(ui::DataExchange& dx) {
    dx.Radio(IDC_TIMEOUT_USER_DEFAULT, settings_.userChoice);
    dx.Number(IDC_TIMEOUT_USER_VALUE, settings_.userValue, kMinimum, kMaximum);
    dx.Radio(IDC_TIMEOUT_SYSTEM_INFINITE, settings_.systemChoice);
    dx.Number(IDC_TIMEOUT_SYSTEM_VALUE, settings_.systemValue, kMinimum, kMaximum);
}

bool CDialogSetTimeout::OnCommand(UINT id, UINT code) {
    if (code != BN_CLICKED) return false;
    switch (id) {
        case IDC_TIMEOUT_USER_DEFAULT:
        case IDC_TIMEOUT_USER_INFINITE:
        case IDC_TIMEOUT_USER_SET:
            settings_.userChoice = static_cast<int>(id - IDC_TIMEOUT_USER_DEFAULT);
            break;
        case IDC_TIMEOUT_SYSTEM_INFINITE:
        case IDC_TIMEOUT_SYSTEM_SET:
            settings_.systemChoice = static_cast<int>(id - IDC_TIMEOUT_SYSTEM_INFINITE);
            break;
        default:
            return false;
    }
    EnableValues();
    return true;
}

void CDialogSetTimeout::EnableValues() {
    const bool user =
        settings_.mayWriteUser && settings_.userChoice == TimeoutSettings::kUserTimeout;
    const bool system =
        settings_.mayWriteSystem && settings_.systemChoice == TimeoutSettings::kSystemTimeout;
    if (settings_.mayWriteUser)
        for (int id : {IDC_TIMEOUT_USER_VALUE, IDC_TIMEOUT_USER_SPIN})
            ::EnableWindow(Item(id), user);
    if (settings_.mayWriteSystem)
        for (int id : {IDC_TIMEOUT_SYSTEM_VALUE, IDC_TIMEOUT_SYSTEM_SPIN})
            ::EnableWindow(Item(id), system);
}

void CDialogSetTimeout::OnOK() {
    if (!UpdateData(true)) return;
    WriteTimeoutSettings(settings_);
    EndDialog(IDOK);
}

}  // namespace applet
