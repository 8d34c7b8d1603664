#include "pages/security_page.h"

#include "applet/provider_params.h"
#include "applet/strings.h"
#include "applet/support.h"
#include "resource.h"
#include "ui/controls.h"
#include "ui/data_exchange.h"
#include "ui/handles.h"
#include "wizards/select_container.h"

#include <commctrl.h>

#include <algorithm>
#include <cwchar>
#include <cwctype>

namespace applet {

namespace {

// Shown when caching is off, so that switching it on starts from something useful.
constexpr DWORD kCacheSizeOffered = 8;
constexpr int kCacheSizeDigits = 3;

// An unsigned decimal, surrounding blanks allowed.
bool ParseUnsigned(const std::wstring& text, DWORD& value) {
    const wchar_t* begin = text.c_str();
    while (std::iswspace(*begin)) ++begin;
    if (!std::iswdigit(*begin)) return false;
    wchar_t* end = nullptr;
    unsigned long long number = std::wcstoull(begin, &end, 10);
    while (std::iswspace(*end)) ++end;
    if (*end || number > MAXDWORD) return false;
    value = static_cast<DWORD>(number);
    return true;
}

}  // namespace

CPropPageConfigCSPSecurity::CPropPageConfigCSPSecurity()
    : CPropPageConfigBase(IDD_PAGE_SECURITY),
      type75_{IDC_SECURITY_TYPE75, 75},
      type71_{IDC_SECURITY_TYPE71, 71} {}

void CPropPageConfigCSPSecurity::DoDataExchange(ui::DataExchange& dx) {
    dx.Check(IDC_SECURITY_CACHING, caching_);
    dx.Check(IDC_SECURITY_DH_CONTROL, dhChecked_);
    dx.Check(IDC_SECURITY_SAVE_MEDIA_INFO, saveMediaInfo_);
    // A size that is not a number is no reason to refuse the exchange: the page mends it.
    ui::Edit size(Item(IDC_SECURITY_CACHE_SIZE));
    if (dx.Saving())
        cacheSizeRead_ = ParseUnsigned(size.Text(), cacheSize_);
    else
        size.SetText(std::to_wstring(cacheSize_));
    dx.ComboIndex(IDC_SECURITY_TYPE71, type71_.selection);
    dx.ComboIndex(IDC_SECURITY_TYPE75, type75_.selection);
    dx.ComboIndex(IDC_SECURITY_PROVIDER, provider_);
    dx.Text(IDC_SECURITY_TYPE71_LABEL, label71_);
    dx.Text(IDC_SECURITY_TYPE75_LABEL, label75_);
    dx.Radio(IDC_SECURITY_MODE_SERVICE, mode_);
}

BOOL CPropPageConfigCSPSecurity::OnInitDialog() {
    // A type whose name can't be read keeps the template's label.
    label75_ = ui::GetWindowString(Item(IDC_SECURITY_TYPE75_LABEL));
    label71_ = ui::GetWindowString(Item(IDC_SECURITY_TYPE71_LABEL));
    // The edit's echoes of what start puts into it are not the user's.
    pushing_ = true;
    CPropPageConfigBase::OnInitDialog();
    ui::UpDown spin(Item(IDC_SECURITY_CACHE_SIZE_SPIN));
    spin.Send(UDM_SETBUDDY, reinterpret_cast<WPARAM>(Item(IDC_SECURITY_CACHE_SIZE)));
    spin.SetPos(static_cast<int>(cacheSize_));

    // The product's providers and both default lists come from one enumeration.
    const std::vector<InstalledProvider> installed = ListInstalledProviders();
    ui::ComboBox providers(Item(IDC_SECURITY_PROVIDER));
    ProductProviderEnum state{0, true};
    std::wstring name;
    DWORD type = 0;
    while (EnumProductProviders(state, installed, name, type)) {
        int item = providers.Add(name);
        if (item >= 0) providers.SetItemData(item, type);
    }
    if (providers.Count() > 0) {
        provider_ = 0;
        providers.Select(0);
        AcquireProvider();
        ReadMode();
        ReadCacheParameters();
        ReadDhParameters();
    } else {
        cacheMaximum_ = 0;
    }

    ReadSaveMediaInfo(saveMediaInfo_);
    savedSaveMediaInfo_ = saveMediaInfo_;
    if (!support::MayWrite(store::kParameters))
        ::EnableWindow(Item(IDC_SECURITY_SAVE_MEDIA_INFO), FALSE);

    ui::Edit(Item(IDC_SECURITY_CACHE_SIZE)).LimitText(kCacheSizeDigits);

    for (auto [type, label] : {std::pair{type75_.type, &label75_}, {type71_.type, &label71_}}) {
        std::wstring typeName = ProviderTypeName(type);
        if (!typeName.empty()) *label = typeName + L":";
    }

    FillDefaultCombo(type75_, installed);
    FillDefaultCombo(type71_, installed);
    if (type71_.selection == 0)
        for (int id : {IDC_SECURITY_TYPE71, IDC_SECURITY_TYPE71_LABEL})
            ::ShowWindow(Item(id), SW_HIDE);

    pushing_ = false;
    Push();
    OnControlChanged();
    return TRUE;
}

void CPropPageConfigCSPSecurity::FillDefaultCombo(
    DefaultChoice& choice, const std::vector<InstalledProvider>& installed) {
    ui::ComboBox combo(Item(choice.combo));
    combo.Add(LoadStringLang(IDS_PROVIDER_ABSENT));
    const ProvidersOfType list = ListProvidersOfType(choice.type, installed);
    for (const std::wstring& name : list.names) combo.Add(name);
    // Item 0 is "<Absent>": the providers follow in enumeration order.
    choice.selection = choice.saved = list.defaultIndex + 1;
    if (list.names.empty() || !MayWriteDefaultProvider(choice.type)) combo.Enable(false);
}

std::wstring CPropPageConfigCSPSecurity::ProviderName() const {
    ui::ComboBox providers(Item(IDC_SECURITY_PROVIDER));
    return provider_ >= 0 ? providers.ItemText(provider_) : std::wstring();
}

void CPropPageConfigCSPSecurity::AcquireProvider() {
    ui::ComboBox providers(Item(IDC_SECURITY_PROVIDER));
    const DWORD type = static_cast<DWORD>(providers.ItemData(provider_));
    protectionClass_ = 0;
    if (context_.Acquire(kQueryContextFlags, nullptr, ProviderName().c_str(), type))
        protectionClass_ = ReadProtectionClass(context_.Handle());
}

void CPropPageConfigCSPSecurity::SwitchProvider() {
    UpdateData(true);
    AcquireProvider();
    ReadMode();
    ReadCacheParameters();
    ReadDhParameters();
    Push();
    OnControlChanged();
}

void CPropPageConfigCSPSecurity::ReadMode() {
    mode_ = savedMode_ = kModeUnknown;
    if (ui::ComboBox(Item(IDC_SECURITY_PROVIDER)).Count() == 0) return;
    mode_ = savedMode_ = ReadProviderMode(ProviderName());
}

void CPropPageConfigCSPSecurity::ReadCacheParameters() {
    // A provider without caching shows none, whatever the provider before it had.
    cacheMaximum_ = 0;
    cachingAvailable_ = false;
    caching_ = savedCaching_ = false;
    cacheSize_ = kCacheSizeOffered;
    ProviderCache cache;
    if (ReadProviderCache(context_.Handle(), cache) != 0 || cache.maximum == 0) return;
    cacheMaximum_ = cache.maximum;
    ui::UpDown(Item(IDC_SECURITY_CACHE_SIZE_SPIN)).SetRange(1, static_cast<int>(cacheMaximum_));
    savedCacheSize_ = cache.size;
    caching_ = savedCaching_ = cache.size != 0;
    cacheSize_ = cache.size ? cache.size : kCacheSizeOffered;
    cachingAvailable_ = cache.available;
}

void CPropPageConfigCSPSecurity::ReadDhParameters() {
    if (!context_.Handle()) return;
    DhControl dh;
    const DWORD error = ReadDhControl(context_.Handle(), dh);
    if (error == 0) {
        dhShown_ = true;
        dhEnabled_ = dh.changeable;
        dhChecked_ = savedDh_ = dh.on;
        return;
    }
    dhShown_ = false;
    // A provider without the switch works as if it were on.
    if (error == static_cast<DWORD>(NTE_BAD_TYPE)) {
        dhChecked_ = savedDh_ = true;
        dhEnabled_ = false;
    }
}

void CPropPageConfigCSPSecurity::OnControlChanged() {
    UpdateData(true);
    bool mended = false;
    if (!cacheSizeRead_ || cacheSize_ == 0) {
        cacheSize_ = 1;
        mended = true;
    }
    if (mode_ != kModeService && caching_) {
        caching_ = false;
        mended = true;
    }
    if (mended) Push();

    EnableModeRadios();

    const bool cachingOn = cachingAvailable_ && caching_;
    ::EnableWindow(Item(IDC_SECURITY_CACHING), cachingAvailable_ && mode_ == kModeService);
    for (int id :
         {IDC_SECURITY_CACHE_SIZE_LABEL, IDC_SECURITY_CACHE_SIZE, IDC_SECURITY_CACHE_SIZE_SPIN})
        ::EnableWindow(Item(id), cachingOn);

    ui::Button dh(Item(IDC_SECURITY_DH_CONTROL));
    dh.Show(dhShown_);
    dh.Enable(dhShown_ && dhEnabled_);

    CPropPageConfigBase::OnControlChanged();
}

void CPropPageConfigCSPSecurity::EnableModeRadios() {
    ui::Button service(Item(IDC_SECURITY_MODE_SERVICE));
    ui::Button memory(Item(IDC_SECURITY_MODE_MEMORY));
    if (!support::MayWrite(store::kProvider)) {
        for (int id : {IDC_SECURITY_PROVIDER, IDC_SECURITY_MODE_SERVICE, IDC_SECURITY_MODE_MEMORY})
            ::EnableWindow(Item(id), FALSE);
        return;
    }
    if (mode_ == kModeUnknown) {
        service.Enable(false);
        memory.Enable(false);
        return;
    }
    // The service is asked for once, and only when the answer matters.
    if (keyServiceFound_ < 0 && !ProviderModeOffered(kModeService, protectionClass_, false))
        keyServiceFound_ = KeyServiceInstalled();
    service.Enable(ProviderModeOffered(kModeService, protectionClass_, keyServiceFound_ > 0));
    memory.Enable(ProviderModeOffered(kModeMemory, protectionClass_, keyServiceFound_ > 0));
}

void CPropPageConfigCSPSecurity::ClampCacheSize() {
    UpdateData(true);
    if (!cacheSizeRead_) cacheSize_ = 0;
    if (cacheSize_ == 0) cacheSize_ = 1;
    if (cacheSize_ > cacheMaximum_) cacheSize_ = cacheMaximum_;
    Push();
    OnControlChanged();
}

void CPropPageConfigCSPSecurity::Push() {
    pushing_ = true;
    UpdateData(false);
    pushing_ = false;
}

bool CPropPageConfigCSPSecurity::OnCommand(UINT id, UINT code) {
    switch (id) {
        case IDC_SECURITY_CACHING:
        case IDC_SECURITY_DH_CONTROL:
        case IDC_SECURITY_SAVE_MEDIA_INFO:
            if (code != BN_CLICKED) return false;
            OnControlChanged();
            return true;
        case IDC_SECURITY_MODE_SERVICE:
        case IDC_SECURITY_MODE_MEMORY:
            if (code != BN_CLICKED) return false;
            ReadCacheParameters();
            ReadDhParameters();
            OnControlChanged();
            return true;
        case IDC_SECURITY_TYPE71:
        case IDC_SECURITY_TYPE75:
            if (code != CBN_SELCHANGE) return false;
            OnControlChanged();
            return true;
        case IDC_SECURITY_PROVIDER:
            if (code != CBN_SELCHANGE) return false;
            SwitchProvider();
            return true;
        case IDC_SECURITY_CACHE_SIZE:
            if (code == EN_KILLFOCUS) {
                ClampCacheSize();
                return true;
            }
            if (code != EN_CHANGE || pushing_) return false;
            OnControlChanged();
            return true;
        default:
            return false;
    }
}

// A provider without caching has nothing of it to change.
bool CPropPageConfigCSPSecurity::CachingChanged() const {
    return cacheMaximum_ != 0 && (caching_ != savedCaching_ ||
                                  (caching_ && savedCaching_ && cacheSize_ != savedCacheSize_));
}

bool CPropPageConfigCSPSecurity::IsPageModified() {
    if (!Initialised()) return false;
    return CachingChanged() || dhChecked_ != savedDh_ || mode_ != savedMode_ ||
           type71_.selection != type71_.saved || type75_.selection != type75_.saved ||
           saveMediaInfo_ != savedSaveMediaInfo_;
}

bool CPropPageConfigCSPSecurity::SaveDefault(DefaultChoice& choice) {
    const std::wstring name =
        choice.selection > 0 ? ui::ComboBox(Item(choice.combo)).ItemText(choice.selection) : L"";
    if (WriteDefaultProvider(choice.type, name) != 0) return false;
    choice.saved = choice.selection;
    return true;
}

int CPropPageConfigCSPSecurity::SavePage() {
    if (!IsPageModified()) return kSaved;
    int result = kSaved;
    const HCRYPTPROV prov = context_.Handle();

    const bool modeChanged = mode_ != savedMode_;
    if (CachingChanged() || modeChanged) {
        // Without a provider nothing of the rest is applied either.
        if (!prov) return kSaved;
        if (WriteProviderCache(prov, caching_ ? cacheSize_ : 0) == 0) {
            savedCaching_ = caching_;
            savedCacheSize_ = cacheSize_;
        } else {
            result = kSaveFailed;
        }
    }

    if (dhChecked_ != savedDh_) {
        if (!prov) return result;
        if (WriteDhControl(prov, dhChecked_) == 0)
            savedDh_ = dhChecked_;
        else
            result = kSaveFailed;
    }

    // A default that can't be written stays changed; it does not fail the apply.
    for (DefaultChoice* choice : {&type71_, &type75_})
        if (choice->selection != choice->saved) SaveDefault(*choice);

    if (modeChanged) {
        const LONG written = WriteProviderMode(ProviderName(), mode_);
        if (written < 0) {
            result = kSaveFailed;
        } else {
            // A registry error is not reported; the mode stays changed for another apply.
            if (written == ERROR_SUCCESS) savedMode_ = mode_;
            if (MessageBoxId(IDS_REBOOT_QUESTION, MB_YESNO | MB_ICONEXCLAMATION) == IDYES)
                result = RebootSystem() ? kSaved : kSaveFailed;
        }
    }

    if (saveMediaInfo_ != savedSaveMediaInfo_) {
        if (WriteSaveMediaInfo(saveMediaInfo_) != 0)
            return kSaveFailed;
        savedSaveMediaInfo_ = saveMediaInfo_;
    }
    return result;
}

}  // namespace applet
