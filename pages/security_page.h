// The Security page: default providers, key storage mode, caching and Diffie-Hellman control.
// Provider-side settings go to the provider being configured, default providers and the mode to
// the Windows registry (both views, for 32-bit applications), the removable media switch to the
// configuration store.
#pragma once

#include "applet/page_base.h"
#include "wizards/product_providers.h"
#include "wizards/wizard_base.h"

#include <windows.h>

#include <string>
#include <vector>

namespace applet {

// The provider's key storage mode, as its "KV Module Name" says.
constexpr int kModeUnknown = -1;
constexpr int kModeService = 0;  // keys live in the keys storage service
constexpr int kModeMemory = 1;   // keys live in each application's memory

// The registry side of the page; none of it needs a window.
// Mode of provider `name`: exactly "kvcspr.dll" or "kvcspi.dll", anything else is unknown.
int ReadProviderMode(const std::wstring& name);
// Writes the mode's module name in the native view, then under Wow6432Node. E_UNEXPECTED for a
// mode that is neither or no provider; otherwise the first registry error (the native view may
// then be written already).
LONG WriteProviderMode(const std::wstring& name, int mode);
// The machine default of provider type `type` in both registry views; "" removes the choice.
// True only when both were written.
bool WriteDefaultProvider(DWORD type, const std::wstring& name);
// "TypeName" of provider type `type`; "" when it can't be read.
std::wstring ProviderTypeName(DWORD type);

// The installed providers of one type in enumeration order, and which is the machine default.
struct ProvidersOfType {
    std::vector<std::wstring> names;
    int defaultIndex = -1;  // in `names`; -1 when the default is none of them
};
ProvidersOfType ListProvidersOfType(DWORD type);
// The same from providers listed already (ListInstalledProviders).
ProvidersOfType ListProvidersOfType(DWORD type, const std::vector<InstalledProvider>& installed);

class CPropPageConfigCSPSecurity : public CPropPageConfigBase {
public:
    CPropPageConfigCSPSecurity();

    bool IsPageModified() override;
    int SavePage() override;
    void OnControlChanged() override;

protected:
    BOOL OnInitDialog() override;
    void DoDataExchange(ui::DataExchange& dx) override;
    bool OnCommand(UINT id, UINT code) override;

private:
    // A default-provider combo: its selection and what the registry last held.
    struct DefaultChoice {
        int combo;
        DWORD type;
        int selection = 0;
        int saved = -1;
    };

    void FillDefaultCombo(DefaultChoice& choice, const std::vector<InstalledProvider>& installed);
    bool SaveDefault(DefaultChoice& choice);
    void SwitchProvider();
    void AcquireProvider();
    std::wstring ProviderName() const;
    void ReadMode();
    void ReadCacheParameters();
    void ReadDhParameters();
    void EnableModeRadios();
    void ClampCacheSize();
    bool CachingChanged() const;
    // Moves the members to the controls without taking the edit's echo for a user's change.
    void Push();

    CCryptProvContext context_;
    int provider_ = -1;
    DefaultChoice type75_{0, 75};
    DefaultChoice type71_{0, 71};
    std::wstring label75_, label71_;

    int mode_ = kModeUnknown, savedMode_ = kModeUnknown;
    DWORD protectionClass_ = 0;
    int keyServiceFound_ = -1;  // the service manager is asked once

    bool caching_ = false, savedCaching_ = false;
    DWORD cacheSize_ = 0, savedCacheSize_ = 0;
    bool cacheSizeRead_ = true;  // the edit held a number at the last exchange
    DWORD cacheMaximum_ = 0;
    bool cachingAvailable_ = false;

    bool dhChecked_ = true, savedDh_ = true;
    bool dhShown_ = false, dhEnabled_ = false;

    bool saveMediaInfo_ = true, savedSaveMediaInfo_ = true;

    bool pushing_ = false;
};

}  // namespace applet
