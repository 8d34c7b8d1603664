// The applet's entry from the Control Panel: the application object with its list of applets
// (exactly one, the configuration sheet) and the dispatch of the Control Panel's messages.
#pragma once

#include "applet/config_sheet.h"

#include <windows.h>
#include <cpl.h>

#include <memory>
#include <stdexcept>
#include <vector>

namespace applet {

// A position that names no applet.
struct NotSupported : std::logic_error {
    NotSupported() : std::logic_error("no such applet") {}
};

class CCPApplet {
public:
    // Builds the window to show: a new control panel sheet, each time.
    using SheetFactory = CPropSheetControlPanel* (*)();

    CCPApplet(SheetFactory factory, UINT iconId, UINT nameId, UINT infoId, DWORD dynamic);
    virtual ~CCPApplet() = default;

    // Shows the sheet, on `parameters`' page (a decimal number, 0 when none), and builds it
    // anew for as long as it ends asking for that. True when the sheet could be shown.
    virtual bool OnDblclk(HWND parent, const char* parameters);
    virtual void OnInquire(CPLINFO& info);
    virtual LRESULT OnNewInquire(NEWCPLINFO& info);
    virtual LRESULT OnSelect() { return 0; }
    virtual LRESULT OnStop() { return 0; }

private:
    SheetFactory factory_;
    DWORD dynamic_;
    UINT iconId_, nameId_, infoId_;
};

class CControlPanelApp {
public:
    virtual ~CControlPanelApp() = default;

    virtual LRESULT ControlPanelMessage(HWND hwndCPl, UINT message, LPARAM lParam1,
                                        LPARAM lParam2);
    // Builds the applet list; true when it is not empty.
    virtual bool InitApplets() = 0;
    virtual LRESULT ExitApplets() = 0;

    size_t Count() const { return applets_.size(); }

protected:
    CCPApplet& AppletAt(LPARAM position);
    std::vector<std::unique_ptr<CCPApplet>> applets_;
};

class CMyControlPanelApp : public CControlPanelApp {
public:
    // `factory` builds the sheet; the configuration sheet unless a test gives another.
    explicit CMyControlPanelApp(CCPApplet::SheetFactory factory = nullptr);
    bool InitApplets() override;
    LRESULT ExitApplets() override;

private:
    CCPApplet::SheetFactory factory_;
};

// The application object of the module.
CMyControlPanelApp& TheApp();

// CPlApplet's body: the message under the module's activation context; nothing escapes it. A
// position that names no applet gets the message's failure result.
LONG ControlPanelEntry(CControlPanelApp& app, HWND hwndCPl, UINT message, LPARAM lParam1,
                       LPARAM lParam2) noexcept;

}  // namespace applet
