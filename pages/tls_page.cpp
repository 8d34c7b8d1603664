#include "pages/tls_page.h"

#include "applet/strings.h"
#include "applet/support.h"
#include "resource.h"
#include "ui/controls.h"
#include "ui/data_exchange.h"
#include "ui/handles.h"

#include <commctrl.h>

#include <string>

namespace applet {

namespace {

constexpr int kLimitTextLength = 5;

}  // namespace

CPropPageConfigTLS::CPropPageConfigTLS() : CPropPageConfigBase(IDD_PAGE_TLS) {}

BOOL CPropPageConfigTLS::OnInitDialog() {
    updating_ = true;
    CPropPageConfigBase::OnInitDialog();
    mayWrite_ = support::MayWrite(store::kParameters);
    ocspAvailable_ = TlsOcspAvailable();

    static const UDACCEL kSessionsSteps[] = {{0, 4}, {2, 64}};
    static const UDACCEL kCasSteps[] = {{0, 10}, {2, 100}};
    struct Limit {
        int edit, spin, maximum;
        const UDACCEL* steps;
    };
    for (const Limit& limit :
         {Limit{IDC_TLS_MAX_SESSIONS, IDC_TLS_MAX_SESSIONS_SPIN, TlsSettings::kMaxSessionsLimit,
                kSessionsSteps},
          Limit{IDC_TLS_MAX_CAS, IDC_TLS_MAX_CAS_SPIN, TlsSettings::kMaxCasLimit, kCasSteps}}) {
        ui::Edit(Item(limit.edit)).LimitText(kLimitTextLength);
        ui::UpDown spin(Item(limit.spin));
        spin.Send(UDM_SETBUDDY, reinterpret_cast<WPARAM>(Item(limit.edit)));
        spin.SetRange(0, limit.maximum);
        spin.Send(UDM_SETACCEL, 2, reinterpret_cast<LPARAM>(limit.steps));
    }
    settings_ = ReadTlsSettings();
    UpdateData(false);
    updating_ = false;
    OnControlChanged();
    return TRUE;
}

void CPropPageConfigTLS::DoDataExchange(ui::DataExchange& dx) {
    // The switches first: a limit that fails validation must not keep them from being taken.
    for (std::size_t i = 0; i < kTlsSwitchCount; ++i)
        dx.Check(kTlsSwitches[i].control, settings_.switches[i]);
    dx.Number(IDC_TLS_MAX_SESSIONS, settings_.maxSessions, 0, TlsSettings::kMaxSessionsLimit);
    dx.Number(IDC_TLS_MAX_CAS, settings_.maxCas, 0, TlsSettings::kMaxCasLimit);
}

bool CPropPageConfigTLS::OnCommand(UINT id, UINT code) {
    const bool clicked =
        code == BN_CLICKED && id >= IDC_TLS_CLIENT_OCSP && id <= IDC_TLS_SERVER_MACHINE_CREDENTIAL;
    const bool edited = code == EN_CHANGE && (id == IDC_TLS_MAX_SESSIONS || id == IDC_TLS_MAX_CAS);
    if (!clicked && !edited) return false;
    if (!updating_) OnControlChanged();
    return true;
}

void CPropPageConfigTLS::OnControlChanged() {
    updating_ = true;
    // A rejected number has been reported by the exchange; the last good one goes back.
    UpdateData(true);
    if (!mayWrite_) {
        for (const TlsSwitch& entry : kTlsSwitches) ::EnableWindow(Item(entry.control), FALSE);
        for (int id : {IDC_TLS_MAX_SESSIONS, IDC_TLS_MAX_CAS}) ::EnableWindow(Item(id), FALSE);
    } else if (!ocspAvailable_) {
        for (int id : {IDC_TLS_CLIENT_OCSP, IDC_TLS_SERVER_OCSP}) ::EnableWindow(Item(id), FALSE);
    }
    UpdateData(false);
    updating_ = false;
    SetModified(IsPageModified());
}

bool CPropPageConfigTLS::IsPageModified() {
    return Initialised() && settings_ != ReadTlsSettings();
}

int CPropPageConfigTLS::SavePage() {
    const TlsSaveResult result = WriteTlsSettings(settings_);
    if (!result.switchChanged || !result.saved) return result.saved ? kSaved : kSaveFailed;
    if (MessageBoxId(IDS_REBOOT_QUESTION, MB_YESNO | MB_ICONEXCLAMATION) == IDYES)
        return RebootSystem() ? kSaved : kSaveFailed;
    return kSaved;
}

}  // namespace applet
