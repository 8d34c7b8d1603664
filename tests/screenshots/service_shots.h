// Photographs what the installed applet's Service page opens, once in English and once in
// Russian: the shared part of the wizard screenshot programs.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

namespace shots {

// Saves `window` as <directory>\<name>-<language tag>.bmp once its thread has settled.
using Shot = std::function<void(HWND window, const wchar_t* name)>;

// Opens the installed applet's sheet on the Service page in each language and runs `script`
// there; the script ends what it opened, the sheet is cancelled after it. Returns the number of
// pictures that could not be written, or -1 when the applet could not be loaded. `tool` names
// the program in its messages.
int PhotographFromServicePage(const char* tool, const std::wstring& directory,
                              const std::function<void(HWND sheet, const Shot& shot)>& script);

}  // namespace shots
