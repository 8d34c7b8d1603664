#include "pages/algorithms_page.h"

#include "applet/installation.h"
#include "applet/provider_params.h"
#include "applet/support.h"
#include "resource.h"
#include "ui/data_exchange.h"
#include "ui/handles.h"

namespace applet {

namespace {

constexpr int kComboIds[] = {IDC_ALGORITHMS_HASH, IDC_ALGORITHMS_ENCRYPTION,
                             IDC_ALGORITHMS_SIGNATURE, IDC_ALGORITHMS_DH};

// The registered display name of provider type `type`; "" when there is none.
std::wstring TypeName(const wchar_t* key) {
    ui::UniqueHKey types;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key, 0, KEY_READ, types.put()) != ERROR_SUCCESS)
        return {};
    wchar_t name[256];
    DWORD size = sizeof(name) - sizeof(wchar_t);
    DWORD type = 0;
    if (::RegQueryValueExW(types.get(), L"TypeName", nullptr, &type, reinterpret_cast<BYTE*>(name),
                           &size) != ERROR_SUCCESS ||
        type != REG_SZ)
        return {};
    name[size / sizeof(wchar_t)] = L'\0';
    return name;
}

}  // namespace

CPropPageConfigCSPOID::CPropPageConfigCSPOID()
    : CPropPageConfigBase(IDD_PAGE_ALGORITHMS),
      combos_{{kParamHashSets, kParamHashSet},
              {kParamCipherSets, kParamCipherSet},
              {kParamSignatureSets, kParamSignatureSet},
              {kParamDhSets, kParamDhSet}} {}

BOOL CPropPageConfigCSPOID::OnInitDialog() {
    CPropPageConfigBase::OnInitDialog();
    for (int i = 0; i < 4; ++i) combos_[i].SetWindow(Item(kComboIds[i]));

    ui::ComboBox types(Item(IDC_ALGORITHMS_PROV_TYPE));
    const std::wstring type75 =
        TypeName(L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type 075");
    if (!type75.empty()) {
        types.Add(type75);
        types.SetItemData(0, 75);
    }
    const std::wstring type71 =
        TypeName(L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type 071");
    if (!type71.empty()) {
        types.Add(type71);
        // Always item 1: without type 75 the type-71 entry is item 0 with no type, and the page
        // has no provider to show.
        types.SetItemData(1, 71);
    }
    typeIndex_ = 0;
    types.Select(typeIndex_);
    AcquireContext();
    FillParameters();
    OnControlChanged();
    UpdateData(false);
    return TRUE;
}

void CPropPageConfigCSPOID::AcquireContext() {
    if (context_)
        context_->Release();
    else
        context_ = std::make_unique<CCryptProvContext>();
    ui::ComboBox types(Item(IDC_ALGORITHMS_PROV_TYPE));
    const DWORD type = typeIndex_ >= 0 && typeIndex_ < types.Count()
                           ? static_cast<DWORD>(types.ItemData(typeIndex_))
                           : 0;
    const std::wstring provider = ProductProviderName(InstallationProductCode());
    if (!context_->Acquire(kQueryContextFlags, nullptr, provider.c_str(), type)) context_.reset();
}

void CPropPageConfigCSPOID::FillParameters() {
    for (CComboParam& combo : combos_) combo.Attach(context_ ? context_->Handle() : 0);
}

void CPropPageConfigCSPOID::DoDataExchange(ui::DataExchange& dx) {
    dx.ComboIndex(IDC_ALGORITHMS_PROV_TYPE, typeIndex_);
}

bool CPropPageConfigCSPOID::OnCommand(UINT id, UINT code) {
    if (code != CBN_SELCHANGE) return false;
    if (id == IDC_ALGORITHMS_PROV_TYPE) {
        UpdateData(true);
        AcquireContext();
        FillParameters();
        OnControlChanged();
        UpdateData(false);
        return true;
    }
    for (int comboId : kComboIds) {
        if (static_cast<int>(id) == comboId) {
            OnControlChanged();
            return true;
        }
    }
    return false;
}

bool CPropPageConfigCSPOID::IsPageModified() {
    // The provider keeps its choices in "\config\oid"; who may not write there may only look.
    support::support_registry_put_section(store::kConfigOid);
    if (!support::MayWrite(store::kConfigOid))
        for (CComboParam& combo : combos_) combo.Enable(false);
    if (!context_) return false;
    for (const CComboParam& combo : combos_)
        if (combo.IsModified()) return true;
    return false;
}

int CPropPageConfigCSPOID::SavePage() {
    if (!context_) return kSaved;
    for (CComboParam& combo : combos_) combo.Save();
    return kSaved;
}

}  // namespace applet
