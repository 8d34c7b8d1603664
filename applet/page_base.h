// The protocol every settings page follows: report modified, save, ask for the sheet to be
// rebuilt or the computer to be restarted.
#pragma once

#include "applet/lang_bases.h"

namespace applet {

class CPropPageConfigBase : public CPropertyPageLang {
public:
    explicit CPropPageConfigBase(UINT templateId);

    // The controls differ from what is stored.
    virtual bool IsPageModified() { return false; }
    // Writes the controls to the store.
    static constexpr int kSaveFailed = 0;
    static constexpr int kSaved = 1;
    static constexpr int kSavedRebuild = -1;
    virtual int SavePage() { return kSaved; }
    // Marks the page modified exactly when IsPageModified says so; pages call it on changes.
    virtual void OnControlChanged();
    // Starts a restart of the computer; nonzero when it was started.
    virtual BOOL RebootSystem();

    bool Initialised() const { return initialised_; }

protected:
    BOOL OnInitDialog() override;
    BOOL OnApply() override;

private:
    bool initialised_ = false;
};

// The one seam for restarting the computer: tests replace it, since under Wine a real restart
// ends every process of the prefix. Returns the previous function.
using RestartFunction = BOOL(WINAPI*)(UINT flags, DWORD reason);
RestartFunction SetRestartFunction(RestartFunction restart);

// The one seam for starting programs and opening documents through the shell (links, the
// restart with administrative rights): tests replace it to see the target without a browser or
// a second applet. Returns the previous function.
using ShellExecuteFunction = HINSTANCE(WINAPI*)(HWND owner, LPCWSTR verb, LPCWSTR file,
                                                LPCWSTR parameters, LPCWSTR directory, INT show);
ShellExecuteFunction SetShellExecuteFunction(ShellExecuteFunction execute);
// Starts `file` with `verb`; true when the shell reports success (a result above 32).
bool ShellStart(HWND owner, const wchar_t* verb, const std::wstring& file, int show);

}  // namespace applet
