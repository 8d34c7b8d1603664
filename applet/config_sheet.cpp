#include "applet/config_sheet.h"

#include "applet/module_state.h"
#include "applet/strings.h"
#include "applet/support.h"
#include "resource.h"

namespace applet {

std::wstring VersionResourceString(const wchar_t* name) {
    DWORD length = 0;
    if (support::support_resource_version_string(name, Module(), nullptr, &length) != 0) return {};
    std::wstring text(length + 1, L'\0');
    if (support::support_resource_version_string(name, Module(), text.data(), &length) != 0)
        return {};
    text.resize(::wcsnlen(text.c_str(), text.size()));
    return text;
}

std::wstring ProductNameFromVersion() {
    return VersionResourceString(L"ProductName");
}

CPropSheetControlPanel::CPropSheetControlPanel()
    : icon_(static_cast<HICON>(::LoadImageW(Module(), MAKEINTRESOURCEW(IDI_APPLET), IMAGE_ICON, 0,
                                            0, LR_DEFAULTSIZE | LR_SHARED))) {}

void CPropSheetControlPanel::Complete(HWND parent, UINT startPage) {
    SetParent(parent);
    SetStartPage(startPage);
}

void CPropSheetControlPanel::OnInitDialog() {
    // The icon belongs to the Control Panel window that hosts us, not to the sheet.
    if (HWND parent = Parent()) {
        ::SendMessageW(parent, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(icon_));
        ::SendMessageW(parent, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(icon_));
    }
}

void CPropSheetControlPanel::PostNcDestroy() { delete this; }

CPropSheetConfigCSP::CPropSheetConfigCSP() {
    std::wstring name = ProductNameFromVersion();
    SetAppName(name.empty() ? LoadStringLang(IDS_APP_TITLE) : name);
    SetCaption(AppName());
    for (ui::PropertyPage* page : std::initializer_list<ui::PropertyPage*>{
             &general_, &hardware_, &services_, &advanced_, &algorithms_, &security_, &winlogon_,
             &tls_})
        AddPage(*page);
}

}  // namespace applet
