#include "wizards/select_container.h"

#include "applet/provider_params.h"
#include "applet/strings.h"
#include "applet/support.h"
#include "resource.h"
#include "ui/controls.h"
#include "ui/data_exchange.h"
#include "ui/resources.h"
#include "wizards/cert_dialogs.h"

#include <commctrl.h>

#include <string>
#include <vector>

namespace applet {

namespace {

BOOL WINAPI AdmitsProductKeys(PCCERT_CONTEXT certificate, BOOL*, void*) {
    const char* oid = certificate->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId;
    return oid && (std::string(oid) == "1.2.643.2.2.19" || std::string(oid) == "1.2.643.2.2.20");
}

}  // namespace

CWizPageSelectContainer::CWizPageSelectContainer(UINT captionId, UINT subtitleId,
                                                 bool byCertificate, bool browse, bool restrict)
    : CWizardPageBase(IDD_SELECT_CONTAINER, captionId, IDS_CONTAINER_HEADER, subtitleId),
      byCertificate_(byCertificate),
      browse_(browse),
      restrict_(restrict) {}

void CWizPageSelectContainer::DoDataExchange(ui::DataExchange& dx) {
    dx.Text(IDC_SELECT_NAME, containerName, kMaxName);
    dx.Radio(IDC_SELECT_USER, keySet);
    dx.ComboIndex(IDC_SELECT_PROVIDER, providerIndex);
}

BOOL CWizPageSelectContainer::OnInitDialog() {
    CWizardPageBase::OnInitDialog();
    const std::wstring defaultProvider = MachineDefaultProvider();
    ui::ComboBox combo(Item(IDC_SELECT_PROVIDER));
    providerIndex = 0;
    ProductProviderEnum state{0, restrict_};
    std::wstring name;
    DWORD type = 0;
    int count = 0;
    while (EnumProductProviders(state, name, type)) {
        int item = combo.Add(name);
        combo.SetItemData(item, type);
        if (name == defaultProvider) providerIndex = count;
        ++count;
    }
    if (count == 0) {
        MessageBoxId(IDS_CSP_ACCESS_ERROR, MB_ICONEXCLAMATION);
        Sheet()->EndSheet(IDCANCEL);
    }
    ui::Control(Item(IDC_SELECT_BROWSE)).Show(browse_);
    ui::Control(Item(IDC_SELECT_BY_CERTIFICATE)).Show(byCertificate_);
    ui::Control(Item(IDC_SELECT_COMPUTER)).Enable(support::MayWrite(store::kGlobal));
    UpdateData(false);
    return TRUE;
}

BOOL CWizPageSelectContainer::OnSetActive() {
    keySet = Wizard().keySet;
    UpdateData(false);
    UpdateWizardButtons();
    return CWizardPageBase::OnSetActive();
}

void CWizPageSelectContainer::UpdateWizardButtons() {
    HWND sheet = SheetWindow();
    int index = 0;
    while (index < Sheet()->PageCount() && &Sheet()->Page(index) != this) ++index;
    const bool named = ::GetWindowTextLengthW(Item(IDC_SELECT_NAME)) > 0;
    const bool last = index == Sheet()->PageCount() - 1;
    DWORD buttons =
        last ? (named ? PSWIZB_FINISH : PSWIZB_DISABLEDFINISH) : (named ? PSWIZB_NEXT : 0);
    if (index > 0) buttons |= PSWIZB_BACK;
    ::PostMessageW(sheet, PSM_SETWIZBUTTONS, 0, named ? PSWIZB_NEXT : 0);
    ::PostMessageW(sheet, PSM_SETWIZBUTTONS, 0, buttons);
}

bool CWizPageSelectContainer::OnCommand(UINT id, UINT code) {
    if (id == IDC_SELECT_BROWSE && code == BN_CLICKED) {
        Browse();
        return true;
    }
    if (id == IDC_SELECT_BY_CERTIFICATE && code == BN_CLICKED) {
        ByCertificate();
        return true;
    }
    if (id == IDC_SELECT_NAME && code == EN_CHANGE) {
        UpdateWizardButtons();
        return true;
    }
    return false;
}

bool CWizPageSelectContainer::TakeSelection() {
    if (!UpdateData(true) || containerName.empty()) return false;
    Wizard().keySet = keySet;
    return true;
}

LRESULT CWizPageSelectContainer::OnWizardNext() {
    return TakeSelection() ? 0 : -1;
}

BOOL CWizPageSelectContainer::OnWizardFinish() {
    return TakeSelection();
}

std::wstring CWizPageSelectContainer::ProviderName() const {
    return ui::ComboBox(Item(IDC_SELECT_PROVIDER)).ItemText(providerIndex);
}

DWORD CWizPageSelectContainer::ProviderType() const {
    return static_cast<DWORD>(ui::ComboBox(Item(IDC_SELECT_PROVIDER)).ItemData(providerIndex));
}

bool CWizPageSelectContainer::AcquireSelectedContainer(CCryptProvContext& context, DWORD flags) {
    if (keySet) flags |= CRYPT_MACHINE_KEYSET;
    const std::wstring provider = ProviderName();
    if (context.Acquire(flags, containerName.c_str(), provider.c_str(), ProviderType()))
        return true;
    DWORD error = ::GetLastError();
    MessageBoxFormat(IDS_CONTAINER_ACCESS_ERROR, containerName, ErrorMessageText(error),
                     MB_ICONERROR);
    return false;
}

void CWizPageSelectContainer::Browse() {
    UpdateData(true);
    ClientWindowScope owner(hwnd());
    const std::wstring provider = ProviderName();
    ui::UniqueCryptProv context;
    if (!::CryptAcquireContextW(context.put(), nullptr, provider.c_str(), ProviderType(),
                                CRYPT_VERIFYCONTEXT | (keySet ? CRYPT_MACHINE_KEYSET : 0))) {
        MessageBoxId(IDS_CSP_ACCESS_ERROR, MB_ICONEXCLAMATION);
        return;
    }
    BYTE name[513] = {};
    DWORD length = sizeof(name);
    if (!::CryptGetProvParam(context.get(), kParamPickContainer, name, &length, 0)) return;
    name[sizeof(name) - 1] = 0;
    int chars =
        ::MultiByteToWideChar(CP_ACP, 0, reinterpret_cast<const char*>(name), -1, nullptr, 0);
    std::wstring wide(chars > 0 ? chars : 1, L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, reinterpret_cast<const char*>(name), -1, wide.data(), chars);
    wide.resize(::wcsnlen(wide.c_str(), wide.size()));
    containerName = wide;
    UpdateData(false);
    UpdateWizardButtons();
}

void CWizPageSelectContainer::ByCertificate() {
    // What the user typed so far stays when no certificate is chosen.
    UpdateData(true);
    ui::UniqueCertStore user(
        ::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                        CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_OPEN_EXISTING_FLAG, L"My"));
    ui::UniqueCertStore machine;
    if (support::MayWrite(store::kGlobal))
        machine.reset(::CertOpenStore(
            CERT_STORE_PROV_SYSTEM_W, 0, 0,
            CERT_SYSTEM_STORE_LOCAL_MACHINE | CERT_STORE_OPEN_EXISTING_FLAG, L"My"));
    std::vector<HCERTSTORE> stores;
    if (user) stores.push_back(user.get());
    if (machine) stores.push_back(machine.get());
    const std::wstring title =
        LoadStringLang(machine ? IDS_CHOOSE_CERTIFICATE_ANY : IDS_CHOOSE_CERTIFICATE_USER);

    SelectCertificateRequest request{};
    request.dwSize = sizeof(request);
    request.hwndParent = hwnd();
    request.szTitle = title.c_str();
    request.dwDontUseColumn = kDontShowLocation;
    request.pFilterCallback = AdmitsProductKeys;
    request.cDisplayStores = static_cast<DWORD>(stores.size());
    request.rghDisplayStores = stores.data();
    ui::UniqueCertContext certificate(::CryptUIDlgSelectCertificateW(&request));
    if (certificate) {
        DWORD size = 0;
        if (::CertGetCertificateContextProperty(certificate.get(), CERT_KEY_PROV_INFO_PROP_ID,
                                                nullptr, &size)) {
            std::vector<BYTE> data(size);
            if (::CertGetCertificateContextProperty(certificate.get(), CERT_KEY_PROV_INFO_PROP_ID,
                                                    data.data(), &size)) {
                auto info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(data.data());
                containerName = info->pwszContainerName ? info->pwszContainerName : L"";
                ui::ComboBox combo(Item(IDC_SELECT_PROVIDER));
                if (combo.Send(CB_SELECTSTRING, static_cast<WPARAM>(-1),
                               reinterpret_cast<LPARAM>(info->pwszProvName ? info->pwszProvName
                                                                           : L"")) == CB_ERR &&
                    combo.Count() > 0)
                    combo.Select(0);
                keySet = (info->dwFlags & CRYPT_MACHINE_KEYSET) ? 1 : 0;
            }
        }
    }
    certificate.reset();
    machine.reset();
    user.reset();
    providerIndex = ui::ComboBox(Item(IDC_SELECT_PROVIDER)).Selection();
    UpdateData(false);
    UpdateWizardButtons();
}

}  // namespace applet
