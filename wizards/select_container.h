// The page through which every wizard names a private key container: typed, picked through the
// provider's own dialog, or found through a certificate that links to it; with the provider and
// the user's or the computer's containers.
#pragma once

#include "wizards/product_providers.h"
#include "wizards/wizard_base.h"

#include <string>

namespace applet {

class CWizPageSelectContainer : public CWizardPageBase {
public:
    CWizPageSelectContainer(UINT captionId, UINT subtitleId, bool byCertificate, bool browse,
                            bool restrict);

    static constexpr size_t kMaxName = 260;
    std::wstring containerName;
    int keySet = -1;         // 0 User, 1 Computer
    int providerIndex = -1;  // in the provider combo

    // Opens the chosen container into `context` (CRYPT_MACHINE_KEYSET added for Computer); on
    // failure says why and returns false.
    bool AcquireSelectedContainer(CCryptProvContext& context, DWORD flags);
    void UpdateWizardButtons();

protected:
    BOOL OnInitDialog() override;
    BOOL OnSetActive() override;
    void DoDataExchange(ui::DataExchange& dx) override;
    bool OnCommand(UINT id, UINT code) override;
    LRESULT OnWizardNext() override;
    BOOL OnWizardFinish() override;

    // Pulls the controls into the members; true when a name was given (the key-set choice then
    // reaches the wizard).
    bool TakeSelection();
    // The provider chosen in the combo: its name and its CryptoAPI type.
    std::wstring ProviderName() const;
    DWORD ProviderType() const;

private:
    void Browse();
    void ByCertificate();

    bool byCertificate_, browse_, restrict_;
};

}  // namespace applet
