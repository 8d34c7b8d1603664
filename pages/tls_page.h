// The TLS Settings page: the TLS client and server switches and the server's two limits, kept in
// the configuration store under "\config\Parameters".
#pragma once

#include "applet/page_base.h"
#include "pages/tls_settings.h"

namespace applet {

class CPropPageConfigTLS : public CPropPageConfigBase {
public:
    CPropPageConfigTLS();

    bool IsPageModified() override;
    int SavePage() override;
    void OnControlChanged() override;

protected:
    BOOL OnInitDialog() override;
    void DoDataExchange(ui::DataExchange& dx) override;
    bool OnCommand(UINT id, UINT code) override;

private:
    TlsSettings settings_;
    bool mayWrite_ = false;
    bool ocspAvailable_ = false;
    // Set while the page writes its own controls: their change notifications are not the user's.
    bool updating_ = false;
};

}  // namespace applet
