#include "pages/timeout_dialog.h"

#include "resource.h"
#include "ui/controls.h"
#include "ui/data_exchange.h"

#include <commctrl.h>

#include <algorithm>
#include <string>

namespace applet {

namespace {

constexpr int kMinimum = TimeoutSettings::kMinimumSeconds;
constexpr int kMaximum = TimeoutSettings::kMaximumSeconds;

// The controls of one level: its group, radio buttons, value, spin and "seconds".
constexpr int kUserControls[] = {IDC_TIMEOUT_USER_GROUP,    IDC_TIMEOUT_USER_DEFAULT,
                                 IDC_TIMEOUT_USER_INFINITE, IDC_TIMEOUT_USER_SET,
                                 IDC_TIMEOUT_USER_VALUE,    IDC_TIMEOUT_USER_SPIN,
                                 IDC_TIMEOUT_USER_SECONDS};
constexpr int kSystemControls[] = {IDC_TIMEOUT_SYSTEM_GROUP, IDC_TIMEOUT_SYSTEM_INFINITE,
                                   IDC_TIMEOUT_SYSTEM_SET,   IDC_TIMEOUT_SYSTEM_VALUE,
                                   IDC_TIMEOUT_SYSTEM_SPIN,  IDC_TIMEOUT_SYSTEM_SECONDS};

}  // namespace

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
