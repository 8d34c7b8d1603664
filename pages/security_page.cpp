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

constexpr wchar_t kProviderKey[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
// The 32-bit view is written by its explicit path: 32-bit applications load the provider
// through it.
constexpr wchar_t kProviderKey32[] =
    L"SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr wchar_t kModuleValue[] = L"KV Module Name";
constexpr wchar_t kServiceModule[] = L"kvcspr.dll";
constexpr wchar_t kMemoryModule[] = L"kvcspi.dll";

// Values of the provider's parameters.
constexpr DWORD kDhOff = 1;
constexpr DWORD kDhOn = 2;
constexpr DWORD kClassKC1 = 1;

// More keys than this the keys storage service can't hold, whatever the provider offers.
constexpr DWORD kCacheLimit = 2457;
// Shown when caching is off, so that switching it on starts from something useful.
constexpr DWORD kCacheSizeOffered = 8;
constexpr int kCacheSizeDigits = 3;

// Without the keys storage service, a KC1 provider can't keep its keys there.
constexpr wchar_t kKeyService[] = L"kvcsp1";
constexpr DWORD kManagerAccess = 0x20015;  // connect, enumerate, query lock status, read control

std::wstring TypeKey(DWORD type) {
    wchar_t key[96];
    std::swprintf(key, 96,
                  L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type %03u",
                  static_cast<unsigned>(type));
    return key;
}

LONG SetString(HKEY key, const wchar_t* name, const std::wstring& value) {
    return ::RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                            static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

// A REG_SZ value; false when it is missing, of another type or not terminated.
bool GetString(HKEY key, const wchar_t* name, std::wstring& value) {
    wchar_t buffer[260] = {};
    DWORD type = 0, size = sizeof(buffer) - sizeof(wchar_t);
    if (::RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) !=
            ERROR_SUCCESS ||
        type != REG_SZ)
        return false;
    value = buffer;
    return true;
}

LONG WriteModule(const std::wstring& key, const wchar_t* module) {
    ui::UniqueHKey hkey;
    LONG error = ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_WRITE, hkey.put());
    return error ? error : SetString(hkey.get(), kModuleValue, module);
}

bool WriteTypeDefault(const std::wstring& key, REGSAM view, const std::wstring& name) {
    ui::UniqueHKey hkey;
    return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_SET_VALUE | view, hkey.put()) ==
               ERROR_SUCCESS &&
           SetString(hkey.get(), L"Name", name) == ERROR_SUCCESS;
}

std::wstring MachineDefaultProvider(DWORD type) {
    DWORD size = 0;
    if (!::CryptGetDefaultProviderW(type, nullptr, CRYPT_MACHINE_DEFAULT, nullptr, &size))
        return {};
    std::vector<wchar_t> name(size / sizeof(wchar_t) + 1);
    if (!::CryptGetDefaultProviderW(type, nullptr, CRYPT_MACHINE_DEFAULT, name.data(), &size))
        return {};
    return name.data();
}

template <class T>
bool GetParam(HCRYPTPROV prov, DWORD param, T& value) {
    DWORD size = sizeof(value);
    return prov && ::CryptGetProvParam(prov, param, reinterpret_cast<BYTE*>(&value), &size, 0);
}

bool SetParam(HCRYPTPROV prov, DWORD param, DWORD value) {
    return ::CryptSetProvParam(prov, param, reinterpret_cast<const BYTE*>(&value), 0) != FALSE;
}

bool KeyServiceInstalled() {
    ui::UniqueScHandle manager(::OpenSCManagerW(nullptr, nullptr, kManagerAccess));
    if (!manager) return false;
    ui::UniqueScHandle service(::OpenServiceW(manager.get(), kKeyService, SERVICE_QUERY_STATUS));
    return static_cast<bool>(service);
}

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

int ReadProviderMode(const std::wstring& name) {
    ui::UniqueHKey key;
    std::wstring module;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, (kProviderKey + name).c_str(), 0, KEY_READ,
                        key.put()) != ERROR_SUCCESS ||
        !GetString(key.get(), kModuleValue, module))
        return kModeUnknown;
    if (module == kMemoryModule) return kModeMemory;
    if (module == kServiceModule) return kModeService;
    return kModeUnknown;
}

LONG WriteProviderMode(const std::wstring& name, int mode) {
    if ((mode != kModeService && mode != kModeMemory) || name.empty()) return E_UNEXPECTED;
    const wchar_t* module = mode == kModeMemory ? kMemoryModule : kServiceModule;
    if (LONG error = WriteModule(kProviderKey + name, module)) return error;
    return WriteModule(kProviderKey32 + name, module);
}

bool WriteDefaultProvider(DWORD type, const std::wstring& name) {
    const std::wstring key = TypeKey(type);
    return WriteTypeDefault(key, 0, name) && WriteTypeDefault(key, KEY_WOW64_32KEY, name);
}

std::wstring ProviderTypeName(DWORD type) {
    ui::UniqueHKey key;
    std::wstring name;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, TypeKey(type).c_str(), 0, KEY_READ, key.put()) !=
            ERROR_SUCCESS ||
        !GetString(key.get(), L"TypeName", name))
        return {};
    return name;
}

ProvidersOfType ListProvidersOfType(DWORD type, const std::vector<InstalledProvider>& installed) {
    ProvidersOfType list;
    const std::wstring defaultName = MachineDefaultProvider(type);
    for (const InstalledProvider& provider : installed) {
        if (provider.type != type) continue;
        if (!defaultName.empty() && defaultName == provider.name)
            list.defaultIndex = static_cast<int>(list.names.size());
        list.names.push_back(provider.name);
    }
    return list;
}

ProvidersOfType ListProvidersOfType(DWORD type) {
    return ListProvidersOfType(type, ListInstalledProviders());
}

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

    BOOL disabled = FALSE;
    support::support_registry_get_bool(store::kDisableShortcuts, &disabled);
    saveMediaInfo_ = savedSaveMediaInfo_ = !disabled;
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
    ui::UniqueHKey key;
    if (list.names.empty() || ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, TypeKey(choice.type).c_str(), 0,
                                              KEY_SET_VALUE, key.put()) != ERROR_SUCCESS)
        combo.Enable(false);
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
        GetParam(context_.Handle(), kParamProtectionClass, protectionClass_);
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
    DWORD cache[3] = {};  // current size (0 = off), maximum (0 = none), available
    if (!GetParam(context_.Handle(), kParamCache, cache) || cache[1] == 0) return;
    cacheMaximum_ = std::min(cache[1], kCacheLimit);
    ui::UpDown(Item(IDC_SECURITY_CACHE_SIZE_SPIN)).SetRange(1, static_cast<int>(cacheMaximum_));
    savedCacheSize_ = cache[0];
    caching_ = savedCaching_ = cache[0] != 0;
    cacheSize_ = cache[0] ? cache[0] : kCacheSizeOffered;
    cachingAvailable_ = cache[2] != 0;
}

void CPropPageConfigCSPSecurity::ReadDhParameters() {
    if (!context_.Handle()) return;
    DWORD dh[2] = {};  // state (1 = off), changeable
    if (GetParam(context_.Handle(), kParamDhControl, dh)) {
        dhShown_ = true;
        dhEnabled_ = dh[1] != 0;
        dhChecked_ = savedDh_ = dh[0] != kDhOff;
        return;
    }
    dhShown_ = false;
    // A provider without the switch works as if it were on.
    if (::GetLastError() == static_cast<DWORD>(NTE_BAD_TYPE)) {
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
    if (protectionClass_ == kClassKC1) {
        if (keyServiceFound_ < 0) keyServiceFound_ = KeyServiceInstalled();
        service.Enable(keyServiceFound_ != 0);
        memory.Enable(true);
    } else {
        service.Enable(true);
        memory.Enable(false);
    }
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
    if (!WriteDefaultProvider(choice.type, name)) return false;
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
        if (SetParam(prov, kParamCache, caching_ ? cacheSize_ : 0)) {
            savedCaching_ = caching_;
            savedCacheSize_ = cacheSize_;
        } else {
            result = kSaveFailed;
        }
    }

    if (dhChecked_ != savedDh_) {
        if (!prov) return result;
        if (SetParam(prov, kParamDhControl, dhChecked_ ? kDhOn : kDhOff))
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
        if (support::support_registry_put_bool(store::kDisableShortcuts, !saveMediaInfo_))
            return kSaveFailed;
        savedSaveMediaInfo_ = saveMediaInfo_;
    }
    return result;
}

}  // namespace applet
