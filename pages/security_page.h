// The Security page: default providers, key storage mode, caching and Diffie-Hellman control.
// Provider-side settings go to the provider being configured, default providers and the mode to
// the Windows registry (both views, for 32-bit applications), the removable media switch to the
// configuration store.
#pragma once

#include "applet/page_base.h"
#include "pages/security_settings.h"
#include "wizards/wizard_base.h"

#include <windows.h>

#include <string>
#include <vector>

namespace applet {

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
