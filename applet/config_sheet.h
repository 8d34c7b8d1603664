// The configuration sheet of the control panel: eight settings pages in a fixed order.
#pragma once

#include "pages/advanced_page.h"
#include "pages/algorithms_page.h"
#include "pages/general_page.h"
#include "pages/hardware_page.h"
#include "pages/security_page.h"
#include "pages/service_page.h"
#include "pages/tls_page.h"
#include "pages/winlogon_page.h"
#include "ui/property_sheet.h"

namespace applet {

// What any control panel sheet needs: the applet's icon for the Control Panel window, and
// deleting itself when its window is gone (it lives on the heap, built by the applet).
// The icon is the module's shared copy: the parent keeps showing it after the sheet is gone
// and while the applet builds the next one.
class CPropSheetControlPanel : public ui::PropertySheet {
public:
    CPropSheetControlPanel();
    // Completion by the applet: the parent window and the page to open first.
    void Complete(HWND parent, UINT startPage);
    HICON Icon() const { return icon_; }

protected:
    void OnInitDialog() override;
    void PostNcDestroy() override;

private:
    HICON icon_;  // shared (LR_SHARED): never destroyed by us
};

class CPropSheetConfigCSP : public CPropSheetControlPanel {
public:
    CPropSheetConfigCSP();

private:
    // In tab order, which is also the order they are added in.
    CPropPageConfigCSPGeneral general_;
    CPropPageConfigCSPHardware hardware_;
    CPropPageConfigCSPServices services_;
    CPropPageConfigCSPAdvanced advanced_;
    CPropPageConfigCSPOID algorithms_;
    CPropPageConfigCSPSecurity security_;
    CPropPageConfigWLReaders winlogon_;
    CPropPageConfigTLS tls_;
};

// A value of the applet's version resource ("LegalCopyright"), through the support library;
// empty when it can't be read.
std::wstring VersionResourceString(const wchar_t* name);
// The product name of the applet's version resource.
std::wstring ProductNameFromVersion();

}  // namespace applet
