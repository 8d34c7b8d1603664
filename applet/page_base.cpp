#include "applet/page_base.h"

#include "applet/strings.h"
#include "resource.h"
#include "ui/handles.h"

#include <shellapi.h>

namespace applet {

namespace {

RestartFunction& Restart() {
    static RestartFunction restart = ::ExitWindowsEx;
    return restart;
}

ShellExecuteFunction& Execute() {
    static ShellExecuteFunction execute = ::ShellExecuteW;
    return execute;
}

}  // namespace

ShellExecuteFunction SetShellExecuteFunction(ShellExecuteFunction execute) {
    ShellExecuteFunction previous = Execute();
    Execute() = execute;
    return previous;
}

bool ShellStart(HWND owner, const wchar_t* verb, const std::wstring& file, int show) {
    HINSTANCE result = Execute()(owner, verb, file.c_str(), nullptr, nullptr, show);
    return reinterpret_cast<INT_PTR>(result) > 32;
}

RestartFunction SetRestartFunction(RestartFunction restart) {
    RestartFunction previous = Restart();
    Restart() = restart;
    return previous;
}

CPropPageConfigBase::CPropPageConfigBase(UINT templateId) : CPropertyPageLang(templateId) {}

BOOL CPropPageConfigBase::OnInitDialog() {
    initialised_ = true;
    return CPropertyPageLang::OnInitDialog();
}

void CPropPageConfigBase::OnControlChanged() { SetModified(IsPageModified()); }

BOOL CPropPageConfigBase::OnApply() {
    if (!UpdateData(true)) return FALSE;
    int result = SavePage();
    if (result == kSaveFailed) {
        MessageBoxId(IDS_ERROR_SAVING, MB_ICONERROR);
        return FALSE;
    }
    SetModified(IsPageModified());
    // A changed language needs every template loaded again: the applet builds a new sheet.
    if (result == kSavedRebuild) Sheet()->EndSheet(IDRETRY);
    return CPropertyPageLang::OnApply();
}

BOOL CPropPageConfigBase::RebootSystem() {
    ui::UniqueHandleW token;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY,
                            token.put()))
        return FALSE;
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    ::LookupPrivilegeValueW(nullptr, SE_SHUTDOWN_NAME, &privileges.Privileges[0].Luid);
    ::AdjustTokenPrivileges(token.get(), FALSE, &privileges, 0, nullptr, nullptr);
    // ERROR_NOT_ALL_ASSIGNED arrives with a successful call.
    if (::GetLastError() != ERROR_SUCCESS) return FALSE;
    return Restart()(EWX_REBOOT, SHTDN_REASON_FLAG_PLANNED | SHTDN_REASON_MAJOR_APPLICATION |
                                     SHTDN_REASON_MINOR_MAINTENANCE);
}

}  // namespace applet
