#include "pages/tls_settings.h"

#include "applet/library_binding.h"
#include "applet/support.h"
#include "resource.h"
#include "ui/handles.h"

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
const wchar_t kTlsMaxSessions[] = L"tls_server_max_sessions";
const wchar_t kTlsMaxCas[] = L"tls_server_max_certificate_request_cas";

namespace {

std::wstring ParameterPath(const wchar_t* name) {
    return std::wstring(store::kParameters) + L"\\" + name;
}

DWORD ReadNumber(const wchar_t* name, DWORD fallback) {
    DWORD number = fallback;
    return ReadTlsNumber(name, fallback, number) == 0 ? number : fallback;
}

bool WindowsSixOrLater() {
    return LOBYTE(LOWORD(::GetVersion())) >= 6;
}

}  // namespace

DWORD ReadTlsNumber(const wchar_t* name, DWORD fallback, DWORD& number) {
    support::UniqueValue value;
    DWORD error = support::support_registry_find(ParameterPath(name).c_str(), value.put());
    if (error == ERROR_FILE_NOT_FOUND) {
        number = fallback;
        return 0;
    }
    if (error == 0) error = support::support_registry_value_long(value.get(), &number);
    return error;
}

TlsSettings ReadTlsSettings() {
    TlsSettings settings;
    for (std::size_t i = 0; i < kTlsSwitchCount; ++i)
        settings.switches[i] = ReadNumber(kTlsSwitches[i].name, 0) != 0;
    settings.maxSessions =
        static_cast<int>(ReadNumber(kTlsMaxSessions, TlsSettings::kDefaultMaxSessions));
    settings.maxCas = static_cast<int>(ReadNumber(kTlsMaxCas, TlsSettings::kDefaultMaxCas));
    return settings;
}

DWORD WriteTlsNumber(const wchar_t* name, DWORD number) {
    return support::support_registry_put_long(ParameterPath(name).c_str(), number);
}

DWORD WriteTlsSwitch(std::size_t index, bool on) {
    return WriteTlsNumber(kTlsSwitches[index].name, on ? 1 : 0);
}

// What the CNG module registers depends on the cipher suites the client may offer, so it is
// registered anew.
bool ReregisterCngAfterSwitch(std::size_t index, HRESULT& registered) {
    // Only the client's switch concerns the CNG module; the server's does not.
    if (kTlsSwitches[index].control != IDC_TLS_CLIENT_NO_LEGACY || !WindowsSixOrLater())
        return false;
    ui::UniqueHModule module(LoadProductLibrary(L"kvcng.dll"));
    if (!module) return false;
    using Entry = HRESULT(WINAPI*)();
    auto unregister = reinterpret_cast<Entry>(
        reinterpret_cast<void*>(::GetProcAddress(module.get(), "DllUnregisterServer")));
    auto reregister = reinterpret_cast<Entry>(
        reinterpret_cast<void*>(::GetProcAddress(module.get(), "DllRegisterServer")));
    if (!unregister || !reregister || unregister() != S_OK) return false;
    registered = reregister();
    return true;
}

TlsSaveResult WriteTlsSettings(const TlsSettings& wanted) {
    const TlsSettings stored = ReadTlsSettings();
    TlsSaveResult result;
    for (std::size_t i = 0; i < kTlsSwitchCount; ++i) {
        if (wanted.switches[i] == stored.switches[i]) continue;
        result.switchChanged = true;
        if (WriteTlsSwitch(i, wanted.switches[i]) != 0) result.saved = false;
        HRESULT registered = S_OK;
        if (ReregisterCngAfterSwitch(i, registered)) result.saved = registered == S_OK;
    }
    if (wanted.maxSessions != stored.maxSessions &&
        WriteTlsNumber(kTlsMaxSessions, static_cast<DWORD>(wanted.maxSessions)) != 0)
        result.saved = false;
    if (wanted.maxCas != stored.maxCas &&
        WriteTlsNumber(kTlsMaxCas, static_cast<DWORD>(wanted.maxCas)) != 0)
        result.saved = false;
    return result;
}

bool TlsOcspAvailable() {
    return ui::UniqueHModule(LoadProductLibrary(L"kvocsp.dll")).get() != nullptr;
}

}  // namespace applet
