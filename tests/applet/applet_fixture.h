// What the applet's in-process tests share: the product's support library reached the way the
// installed applet reaches it (the AppPath registration of this program), the configuration
// store reset between tests, and a small control panel sheet whose pages save as told.
#pragma once

#include "applet/config_sheet.h"
#include "applet/page_base.h"
#include "page_script.h"

#include <windows.h>

#include <functional>
#include <optional>
#include <string>

namespace applettest {

constexpr wchar_t kAppPathKey[] = L"SOFTWARE\\Kelvane\\Cryptography\\CurrentVersion\\AppPath";
constexpr wchar_t kProductDir[] = L"C:\\Program Files\\Kelvane\\Vestra CSP\\";

std::wstring ProgramPath();
std::wstring ProgramName();
std::wstring ProgramDir();

// A module of the testbed that is not installed (testbed/uninstalled): its path, and loading it
// into this process (once) so that its own file name finds it.
std::wstring UninstalledModulePath(const std::wstring& file);
HMODULE LoadUninstalledModule(const std::wstring& file);

// HKLM AppPath entry of `file` (its default value); nullopt removes it.
void SetAppPath(const std::wstring& file, const std::optional<std::wstring>& path);
// "\local\Language" and "\config\Language" of the testbed's store; nullopt removes them.
void SetLanguages(std::optional<DWORD> local, std::optional<DWORD> config);

// A control panel sheet of three settings pages (the templates of the first three pages of the
// configuration sheet) whose SavePage answers what the test says.
struct TestSheetState {
    int built = 0;
    int saveResults[3] = {1, 1, 1};
    int saves[3] = {0, 0, 0};
};
TestSheetState& SheetState();
applet::CPropSheetControlPanel* NewTestSheet();
constexpr wchar_t kTestSheetCaption[] = L"Applet test sheet";

// The installed applet's sheet opened on `page` as the Control Panel opens it: `before` answers
// what comes up while the page starts, `script` gets the sheet once the page shows; the sheet is
// cancelled after it.
void RunSheet(int page, const std::function<void(HWND sheet)>& script,
              const std::function<void()>& before = {});

// A value of the configuration store read as the applet reads it; nullopt when it is absent.
std::optional<DWORD> StoredLong(const std::wstring& path);

// The caption of a dialog template (the tab title of a page).
std::wstring TemplateCaption(HMODULE module, UINT id, LANGID language);

}  // namespace applettest
