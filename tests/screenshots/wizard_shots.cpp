// Photographs the applet's wizards, opened through its exports as another program opens them,
// in English and in Russian. Usage: kvwizshots APPLET-PATH OUTPUT-DIRECTORY [alone]
// With "alone", only the box that a copy of the applet alone in a folder shows instead, in the
// Windows user interface language of this run.
#include "driver/capture.h"
#include "driver/driver.h"

#include <cpl.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

using namespace driver;

constexpr wchar_t kLanguageKey[] = L"Software\\Kelvane\\Testbed\\Store\\local";

// The box of the double click of the applet copied alone into a folder of its own.
int ShootAlone(const std::wstring& applet, const std::wstring& directory) {
    wchar_t temp[MAX_PATH];
    if (!::GetTempPathW(MAX_PATH, temp)) return 1;
    const std::wstring folder = std::wstring(temp) + L"kv-alone-shots\\";
    const std::wstring copy = folder + L"kvconfig.cpl";
    ::CreateDirectoryW(folder.c_str(), nullptr);
    if (!::CopyFileW(applet.c_str(), copy.c_str(), FALSE)) return 1;
    HMODULE module = ::LoadLibraryW(copy.c_str());
    auto cpl = module ? reinterpret_cast<APPLET_PROC>(
                            reinterpret_cast<void*>(::GetProcAddress(module, "CPlApplet")))
                      : nullptr;
    if (!cpl) return 1;
    const wchar_t* tag =
        PRIMARYLANGID(::GetUserDefaultUILanguage()) == LANG_RUSSIAN ? L"ru" : L"en";
    int failures = 0;
    cpl(nullptr, CPL_INIT, 0, 0);
    RunModal(
        [&] { return INT_PTR{cpl(nullptr, CPL_DBLCLK, 0, 0)}; },
        [&] {
            MessageBoxInfo box = WaitForMessageBox();
            if (!SaveBmp(CaptureWindow(box.hwnd), directory + L"\\applet-alone-" + tag + L".bmp"))
                ++failures;
            AnswerMessageBox(IDOK);
        });
    cpl(nullptr, CPL_EXIT, 0, 0);
    ::FreeLibrary(module);
    ::DeleteFileW(copy.c_str());
    ::RemoveDirectoryW(folder.c_str());
    return failures;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: kvwizshots APPLET-PATH OUTPUT-DIRECTORY\n");
        return 2;
    }
    HMODULE applet = ::LoadLibraryW(argv[1]);
    if (!applet) {
        std::fprintf(stderr, "kvwizshots: cannot load the applet\n");
        return 1;
    }
    const std::wstring directory = argv[2];
    if (argc > 3 && std::wstring(argv[3]) == L"alone") return ShootAlone(argv[1], directory);
    int failures = 0;
    for (auto [language, tag] : {std::pair<DWORD, const wchar_t*>{1033, L"en"}, {1049, L"ru"}}) {
        ::RegSetKeyValueW(HKEY_CURRENT_USER, kLanguageKey, L"Language", REG_DWORD, &language,
                          sizeof(language));
        for (const char* name : {"WizDeleteContainer", "WizChangePassword"}) {
            using Entry = void(WINAPI*)(HWND);
            auto entry =
                reinterpret_cast<Entry>(reinterpret_cast<void*>(::GetProcAddress(applet, name)));
            if (!entry) return 1;
            std::wstring file = directory + L"\\wizard-" +
                                std::wstring(name, name + std::strlen(name)) + L"-" + tag + L".bmp";
            RunModal(
                [&] {
                    entry(nullptr);
                    return INT_PTR{0};
                },
                [&] {
                    HWND wizard = WaitForWindow({L"#32770", L""});
                    SetText(Item(wizard, 1045), L"demo-container");
                    Flush();  // the buttons as the typed name set them
                    if (!SaveBmp(CaptureWindow(wizard), file)) ++failures;
                    PressSheetButton(wizard, PSBTN_CANCEL);
                    WaitUntilGone(wizard);
                });
        }
    }
    ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kLanguageKey, L"Language");
    return failures ? 1 : 0;
}
