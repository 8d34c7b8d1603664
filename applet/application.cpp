#include "applet/application.h"

#include "applet/module_state.h"
#include "applet/strings.h"
#include "applet/support.h"
#include "resource.h"
#include "ui/resources.h"

#include <objbase.h>
#include <strsafe.h>

#include <cstdlib>

namespace applet {

namespace {

static_assert(sizeof(NEWCPLINFOW) == 476, "NEWCPLINFO is the packed record");

CPropSheetControlPanel* NewConfigSheet() { return new CPropSheetConfigCSP(); }

UINT StartPage(const char* parameters) {
    int page = parameters ? std::atoi(parameters) : 0;
    return page > 0 ? static_cast<UINT>(page) : 0;
}

}  // namespace

CCPApplet::CCPApplet(SheetFactory factory, UINT iconId, UINT nameId, UINT infoId, DWORD dynamic)
    : factory_(factory), dynamic_(dynamic), iconId_(iconId), nameId_(nameId), infoId_(infoId) {}

bool CCPApplet::OnDblclk(HWND parent, const char* parameters) {
    if (!RequireSupportLibrary(parent)) return false;
    for (;;) {
        CPropSheetControlPanel* sheet = factory_();
        sheet->Complete(parent, StartPage(parameters));
        // The sheet deletes itself when its window is destroyed; one that never got a window
        // is still ours.
        INT_PTR result = sheet->DoModal();
        if (result == -1) {
            delete sheet;
            // Without the support library there is no language, hence no template.
            ErrorMessageBox(SupportLibrary().Handle() ? ERROR_RESOURCE_LANG_NOT_FOUND
                                                      : ERROR_MOD_NOT_FOUND);
            return false;
        }
        if (result != IDRETRY) return true;
    }
}

void CCPApplet::OnInquire(CPLINFO& info) {
    info.idIcon = static_cast<LONG>(iconId_);
    info.idName = dynamic_ ? 0 : static_cast<LONG>(nameId_);
    info.idInfo = dynamic_ ? 0 : static_cast<LONG>(infoId_);
    info.lData = reinterpret_cast<LONG_PTR>(this);
}

LRESULT CCPApplet::OnNewInquire(NEWCPLINFO& info) {
    if (!dynamic_) return 1;
    info.dwSize = sizeof(NEWCPLINFOW);
    info.dwFlags = 0;
    info.dwHelpContext = 0;
    info.lData = reinterpret_cast<LONG_PTR>(this);

    std::wstring description;
    DWORD length = ARRAYSIZE(info.szName) - 1;
    if (support::support_resource_version_string(L"ProductName", Module(), info.szName, &length) ==
        0) {
        description = FormatStringPrintf(IDS_PROPERTIES_FORMAT, info.szName);
    } else {
        ::lstrcpynW(info.szName, LoadStringLang(nameId_).c_str(), ARRAYSIZE(info.szName));
        info.szName[ARRAYSIZE(info.szName) - 1] = L'\0';
        description = LoadStringLang(infoId_);
    }
    HRESULT copied = ::StringCchCopyW(info.szInfo, ARRAYSIZE(info.szInfo), description.c_str());
    info.szInfo[ARRAYSIZE(info.szInfo) - 1] = L'\0';
    return FAILED(copied) ? copied : 0;
}

CCPApplet& CControlPanelApp::AppletAt(LPARAM position) {
    if (position < 0 || static_cast<size_t>(position) >= applets_.size()) throw NotSupported();
    return *applets_[static_cast<size_t>(position)];
}

LRESULT CControlPanelApp::ControlPanelMessage(HWND hwndCPl, UINT message, LPARAM lParam1,
                                              LPARAM lParam2) {
    switch (message) {
        case CPL_INIT:
            return InitApplets() ? 1 : 0;
        case CPL_GETCOUNT:
            return static_cast<LRESULT>(applets_.size());
        case CPL_EXIT:
            return ExitApplets();
        case CPL_INQUIRE:
            AppletAt(lParam1).OnInquire(*reinterpret_cast<CPLINFO*>(lParam2));
            return 0;
        case CPL_SELECT:
            return AppletAt(lParam1).OnSelect();
        case CPL_DBLCLK:
            return AppletAt(lParam1).OnDblclk(hwndCPl, nullptr) ? 0 : 1;
        case CPL_STOP:
            return AppletAt(lParam1).OnStop();
        case CPL_NEWINQUIRE:
            return AppletAt(lParam1).OnNewInquire(*reinterpret_cast<NEWCPLINFO*>(lParam2));
        case CPL_STARTWPARMSA:
            return AppletAt(lParam1).OnDblclk(hwndCPl, reinterpret_cast<const char*>(lParam2))
                       ? 1
                       : 0;
        case CPL_STARTWPARMSW:
            AppletAt(lParam1);
            return 0;
        default:
            AppletAt(lParam1);
            return 1;
    }
}

CMyControlPanelApp::CMyControlPanelApp(CCPApplet::SheetFactory factory)
    : factory_(factory ? factory : NewConfigSheet) {}

bool CMyControlPanelApp::InitApplets() {
    ::CoInitialize(nullptr);
    LoadSupportLibrary();
    applets_.push_back(
        std::make_unique<CCPApplet>(factory_, IDI_APPLET, IDS_APPLET_NAME, IDS_APPLET_INFO, 1));
    return !applets_.empty();
}

LRESULT CMyControlPanelApp::ExitApplets() {
    support::support_wnd_language_done();
    ReleaseSupportLibrary();
    ::CoUninitialize();
    applets_.clear();
    return 0;
}

LONG ControlPanelEntry(CControlPanelApp& app, HWND hwndCPl, UINT message, LPARAM lParam1,
                       LPARAM lParam2) noexcept {
    const LONG failure = message == CPL_STARTWPARMSA || message == CPL_STARTWPARMSW ? 0 : 1;
    try {
        ActivationScope manifest;
        return static_cast<LONG>(app.ControlPanelMessage(hwndCPl, message, lParam1, lParam2));
    } catch (...) {
        return failure;
    }
}

CMyControlPanelApp& TheApp() {
    static CMyControlPanelApp app;
    return app;
}

}  // namespace applet
