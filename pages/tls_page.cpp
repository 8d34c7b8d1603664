#include "pages/tls_page.h"

#include "applet/library_binding.h"
#include "applet/strings.h"
#include "applet/support.h"
#include "resource.h"
#include "ui/controls.h"
#include "ui/data_exchange.h"
#include "ui/handles.h"

#include <commctrl.h>

#include <string>

namespace applet {

const std::array<TlsSwitch, kTlsSwitchCount> kTlsSwitches = {{
    {IDC_TLS_CLIENT_OCSP, L"tls_client_use_ocsp_extensions"},
    {IDC_TLS_CLIENT_NO_REVOCATION, L"tls_client_disable_revocation_check"},
    {IDC_TLS_CLIENT_NO_EKU_CHECK, L"tls_client_disable_self_certificate_usage_validation"},
    {IDC_TLS_CLIENT_NO_LEGACY, L"tls_client_disable_legacy_cipher_suites"},
    {IDC_TLS_SERVER_OCSP, L"tls_server_use_ocsp_extensions"},
    {IDC_TLS_SERVER_NO_REVOCATION, L"tls_server_disable_revocation_check"},
    {IDC_TLS_SERVER_NO_EKU_CHECK, L"tls_server_disable_self_certificate_usage_validation"},
    {IDC_TLS_SERVER_NO_LEGACY, L"tls_server_disable_legacy_cipher_suites"},
    {IDC_TLS_SERVER_RENEGOTIATION, L"tls_server_use_renegotiation_info_extension"},
    {IDC_TLS_SERVER_REQUIRE_RENEGOTIATION, L"tls_server_require_renegotiation_info_extension"},
    {IDC_TLS_SERVER_MACHINE_CREDENTIAL, L"tls_server_use_default_machine_credential"},
}};

namespace {

constexpr wchar_t kMaxSessions[] = L"tls_server_max_sessions";
constexpr wchar_t kMaxCas[] = L"tls_server_max_certificate_request_cas";
constexpr int kLimitTextLength = 5;

std::wstring ParameterPath(const wchar_t* name) {
    return std::wstring(store::kParameters) + L"\\" + name;
}

DWORD ReadNumber(const wchar_t* name, DWORD fallback) {
    support::UniqueValue value;
    DWORD number = 0;
    if (support::support_registry_find(ParameterPath(name).c_str(), value.put()) != 0 ||
        support::support_registry_value_long(value.get(), &number) != 0)
        return fallback;
    return number;
}

bool WriteNumber(const wchar_t* name, DWORD number) {
    return support::support_registry_put_long(ParameterPath(name).c_str(), number) == 0;
}

bool WindowsSixOrLater() {
    return LOBYTE(LOWORD(::GetVersion())) >= 6;
}

// What the CNG module registers depends on the cipher suites the client may offer, so it is
// registered anew. Returns the save's result as the registration decides it, or `result` when
// there was nothing to decide: the module or an entry is missing, or unregistering failed.
bool ReregisterCngModule(bool result) {
    ui::UniqueHModule module(LoadProductLibrary(L"kvcng.dll"));
    if (!module) return result;
    using Entry = HRESULT(WINAPI*)();
    auto unregister = reinterpret_cast<Entry>(
        reinterpret_cast<void*>(::GetProcAddress(module.get(), "DllUnregisterServer")));
    auto reregister = reinterpret_cast<Entry>(
        reinterpret_cast<void*>(::GetProcAddress(module.get(), "DllRegisterServer")));
    if (!unregister || !reregister || unregister() != S_OK) return result;
    return reregister() == S_OK;
}

bool LibraryLoads(const wchar_t* fileName) {
    return ui::UniqueHModule(LoadProductLibrary(fileName)).get() != nullptr;
}

}  // namespace

TlsSettings ReadTlsSettings() {
    TlsSettings settings;
    for (std::size_t i = 0; i < kTlsSwitchCount; ++i)
        settings.switches[i] = ReadNumber(kTlsSwitches[i].name, 0) != 0;
    settings.maxSessions =
        static_cast<int>(ReadNumber(kMaxSessions, TlsSettings::kDefaultMaxSessions));
    settings.maxCas = static_cast<int>(ReadNumber(kMaxCas, TlsSettings::kDefaultMaxCas));
    return settings;
}

TlsSaveResult WriteTlsSettings(const TlsSettings& wanted) {
    const TlsSettings stored = ReadTlsSettings();
    TlsSaveResult result;
    for (std::size_t i = 0; i < kTlsSwitchCount; ++i) {
        if (wanted.switches[i] == stored.switches[i]) continue;
        result.switchChanged = true;
        if (!WriteNumber(kTlsSwitches[i].name, wanted.switches[i] ? 1 : 0)) result.saved = false;
        // Only the client's switch concerns the CNG module; the server's does not.
        if (kTlsSwitches[i].control == IDC_TLS_CLIENT_NO_LEGACY && WindowsSixOrLater())
            result.saved = ReregisterCngModule(result.saved);
    }
    if (wanted.maxSessions != stored.maxSessions &&
        !WriteNumber(kMaxSessions, static_cast<DWORD>(wanted.maxSessions)))
        result.saved = false;
    if (wanted.maxCas != stored.maxCas && !WriteNumber(kMaxCas, static_cast<DWORD>(wanted.maxCas)))
        result.saved = false;
    return result;
}

CPropPageConfigTLS::CPropPageConfigTLS() : CPropPageConfigBase(IDD_PAGE_TLS) {}

BOOL CPropPageConfigTLS::OnInitDialog() {
    updating_ = true;
    CPropPageConfigBase::OnInitDialog();
    mayWrite_ = support::MayWrite(store::kParameters);
    ocspAvailable_ = LibraryLoads(L"kvocsp.dll");

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
