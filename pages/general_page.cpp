#include "pages/general_page.h"

#include "applet/config_sheet.h"
#include "applet/installation.h"
#include "applet/strings.h"
#include "applet/support.h"
#include "resource.h"
#include "ui/data_exchange.h"

#include <wincrypt.h>

namespace applet {

namespace {

void SetTextUnlessEmpty(HWND control, const std::wstring& text) {
    if (!text.empty()) ::SetWindowTextW(control, text.c_str());
}

}  // namespace

int SaveLanguageSettings(LanguageSettings& settings) {
    if (!settings.Modified()) return CPropPageConfigBase::kSaved;
    int result = CPropPageConfigBase::kSaved;
    if (settings.mayWriteConfig) {
        result = WriteMachineLanguage(settings.machineIndex, settings.storedMachine) == 0
                     ? CPropPageConfigBase::kSavedRebuild
                     : CPropPageConfigBase::kSaveFailed;
    }
    if (!settings.mayWriteLocal) return result;
    if (WriteUserLanguage(settings.userIndex, settings.storedUser) != 0)
        return CPropPageConfigBase::kSaveFailed;
    // The user's language is what this sheet shows: even when the machine's default could not be
    // written, the sheet is built again.
    return CPropPageConfigBase::kSavedRebuild;
}

CPropPageConfigCSPGeneral::CPropPageConfigCSPGeneral() : CPropPageConfigBase(IDD_PAGE_GENERAL) {}

BOOL CPropPageConfigCSPGeneral::OnInitDialog() {
    CPropPageConfigBase::OnInitDialog();
    WarnIfDefaultProviderIntercepted();

    const std::wstring product = InstallationProductCode();
    SetTextUnlessEmpty(Item(IDC_GENERAL_CORE_VERSION),
                       CoreVersionText(ProductProviderName(product)));
    SetTextUnlessEmpty(Item(IDC_GENERAL_PRODUCT_VERSION),
                       ProductProperty(product, L"VersionString"));
    SetTextUnlessEmpty(Item(IDC_GENERAL_PRODUCT_NAME),
                       ProductProperty(product, L"InstalledProductName"));
    SetTextUnlessEmpty(Item(IDC_GENERAL_NOTICE), VersionResourceString(L"LegalCopyright"));

    ui::ComboBox user(Item(IDC_GENERAL_USER_LANGUAGE));
    for (UINT id : {IDS_LANGUAGE_SYSTEM_DEFAULT, IDS_LANGUAGE_RUSSIAN, IDS_LANGUAGE_ENGLISH})
        user.Add(LoadText(id));
    ui::ComboBox machine(Item(IDC_GENERAL_MACHINE_LANGUAGE));
    for (UINT id : {IDS_LANGUAGE_RUSSIAN, IDS_LANGUAGE_ENGLISH}) machine.Add(LoadText(id));
    languages_ = ReadLanguageSettings();

    notice_.Attach(Item(IDC_GENERAL_NOTICE));
    notice_.SetTarget(ProductProperty(product, L"URLInfoAbout"));
    productName_.Attach(Item(IDC_GENERAL_PRODUCT_NAME));
    productName_.SetTarget(ProductProperty(product, L"URLUpdateInfo"));
    for (CStaticLink* link : {&runAsAdmin_, &console_}) link->SetHandler(this);
    runAsAdmin_.Attach(Item(IDC_GENERAL_RUN_AS_ADMIN));
    console_.Attach(Item(IDC_GENERAL_PKI_CONSOLE));

    if (!languages_.mayWriteConfig) {
        if (HMODULE user32 = ::GetModuleHandleW(L"user32.dll"))
            shield_.reset(static_cast<HICON>(
                ::LoadImageW(user32, MAKEINTRESOURCEW(106), IMAGE_ICON, 16, 16, 0)));
        ui::Static shield(Item(IDC_GENERAL_SHIELD));
        shield.SetIcon(shield_.get());
        shield.Show(true);
        ui::Control(Item(IDC_GENERAL_RUN_AS_ADMIN)).Show(true);
    }
    // A control's tip is the string of its own id, as the templates' controls are numbered.
    ui::AddToolTips(hwnd(), [this](int id) { return id > 0 ? LoadText(id) : std::wstring(); });
    machine.Enable(languages_.mayWriteConfig);
    user.Enable(languages_.mayWriteLocal);
    UpdateData(false);
    return TRUE;
}

void CPropPageConfigCSPGeneral::WarnIfDefaultProviderIntercepted() {
    ui::UniqueCryptProv provider;
    if (!::CryptAcquireContextW(provider.put(), nullptr, nullptr, 75, CRYPT_VERIFYCONTEXT)) return;
    DWORD type = 0;
    DWORD length = sizeof(type);
    if (::CryptGetProvParam(provider.get(), PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &length,
                            0) &&
        type != 75)
        MessageBoxId(IDS_PROVIDER_INTERCEPTED, MB_ICONERROR);
}

BOOL CPropPageConfigCSPGeneral::OnSetActive() {
    if (!activated_) {
        activated_ = true;
        if (languages_.forceModified) {
            OnControlChanged();
            languages_.forceModified = false;
        }
    } else {
        UpdateData(false);
    }
    return TRUE;
}

void CPropPageConfigCSPGeneral::DoDataExchange(ui::DataExchange& dx) {
    dx.ComboIndex(IDC_GENERAL_USER_LANGUAGE, languages_.userIndex);
    dx.ComboIndex(IDC_GENERAL_MACHINE_LANGUAGE, languages_.machineIndex);
}

bool CPropPageConfigCSPGeneral::OnCommand(UINT id, UINT code) {
    if (code != CBN_SELCHANGE ||
        (id != IDC_GENERAL_USER_LANGUAGE && id != IDC_GENERAL_MACHINE_LANGUAGE))
        return false;
    UpdateData(true);
    OnControlChanged();
    return true;
}

bool CPropPageConfigCSPGeneral::IsPageModified() {
    return languages_.Modified();
}

int CPropPageConfigCSPGeneral::SavePage() {
    return SaveLanguageSettings(languages_);
}

void CPropPageConfigCSPGeneral::OnLinkClicked(HWND link) {
    if (link == runAsAdmin_.hwnd())
        RunAsAdministrator();
    else if (link == console_.hwnd())
        OpenConsole();
}

void CPropPageConfigCSPGeneral::RunAsAdministrator() {
    HMODULE self = nullptr;
    wchar_t path[MAX_PATH];
    if (::GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&ReadLanguageSettings), &self) &&
        ::GetModuleFileNameW(self, path, MAX_PATH) && ShellStart(hwnd(), L"runas", path, SW_SHOW)) {
        // The elevated copy takes over; this one goes as if cancelled.
        Sheet()->EndSheet(IDCANCEL);
        return;
    }
    MessageBoxId(IDS_RUN_AS_ADMIN_FAILED, MB_ICONERROR);
}

void CPropPageConfigCSPGeneral::OpenConsole() {
    const std::wstring console = ConsolePath();
    if (console.empty() || !ShellStart(hwnd(), L"open", console, SW_SHOW))
        MessageBoxId(IDS_PKI_CONSOLE_FAILED, MB_ICONERROR);
}

}  // namespace applet
