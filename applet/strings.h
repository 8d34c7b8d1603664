// Every visible text of the applet comes from its string table in the language the support
// library reports; every error code becomes text through one lookup.
#pragma once

#include <windows.h>

#include <string>

namespace applet {

// The name message boxes carry; the configuration sheet sets it to the product name.
// UTF-8 and back, for files and pipes.
std::string Utf8(const std::wstring& text);
std::wstring Wide(const std::string& utf8);

const std::wstring& AppName();
void SetAppName(std::wstring name);

// String `id` through the support library (at most 255 characters); "" on any failure.
std::wstring LoadStringLang(UINT id);
// LoadStringLang(id) with "%1" and "%2" replaced.
std::wstring FormatStringId(UINT id, const std::wstring& insert1,
                            const std::wstring& insert2 = std::wstring());
// LoadStringLang(id) used as a printf format.
std::wstring FormatStringPrintf(UINT id, ...);

// Message boxes owned by the thread's active window; the help context id is the string id.
int MessageBoxId(UINT id, UINT type);
int MessageBoxFormat(UINT id, const std::wstring& insert1, const std::wstring& insert2,
                     UINT type);

// Text of an error code in `language`, looked up where its family keeps its messages; never
// empty.
std::wstring ErrorText(DWORD code, LANGID language);
// "Error 0x%08X (%d) " followed by the code's text in the user interface language.
std::wstring ErrorMessageText(DWORD code);
int ErrorMessageBox(DWORD code);

// The user interface language: the support library's setting, read anew; English when the
// module carries nothing in the language the library reports.
LANGID CurrentLanguage();

// Without the support library there is no language and so no template: the applet says why in
// a message box over `owner`, read from its own string table in the Windows user interface
// language (Russian when that is Russian, else English). True when the library is there.
bool RequireSupportLibrary(HWND owner);
// The text of that box for `error`, the loader's error, in `windowsLanguage`'s terms.
std::wstring SupportLibraryFailureText(DWORD error, LANGID windowsLanguage);

}  // namespace applet
