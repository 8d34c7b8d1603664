// The Algorithms page: the algorithm parameter sets of each provider type.
#pragma once

#include "applet/combo_param.h"
#include "applet/page_base.h"
#include "wizards/wizard_base.h"

#include <memory>

namespace applet {

class CPropPageConfigCSPOID : public CPropPageConfigBase {
public:
    CPropPageConfigCSPOID();

    bool IsPageModified() override;
    int SavePage() override;

protected:
    BOOL OnInitDialog() override;
    void DoDataExchange(ui::DataExchange& dx) override;
    bool OnCommand(UINT id, UINT code) override;

private:
    // The product's own provider for the selected type, in a verification context; none when it
    // can't be had.
    void AcquireContext();
    void FillParameters();

    int typeIndex_ = -1;
    std::unique_ptr<CCryptProvContext> context_;
    // Hash, encryption, signature, Diffie-Hellman: the order they are filled and saved in.
    CComboParam combos_[4];
};

}  // namespace applet
