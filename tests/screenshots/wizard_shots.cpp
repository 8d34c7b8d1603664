// Photographs the applet's wizards, opened through its exports as another program opens them,
// in English and in Russian. Usage: kvwizshots APPLET-PATH OUTPUT-DIRECTORY
#include "driver/capture.h"
#include "driver/driver.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

using namespace driver;

constexpr wchar_t kLanguageKey[] = L"Software\\Kelvane\\Testbed\\Store\\local";

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
    int failures = 0;
    for (auto [language, tag] : {std::pair<DWORD, const wchar_t*>{1033, L"en"}, {1049, L"ru"}}) {
        ::RegSetKeyValueW(HKEY_CURRENT_USER, kLanguageKey, L"Language", REG_DWORD, &language,
                          sizeof(language));
        for (const char* name : {"WizDeleteContainer", "WizChangePassword"}) {
            using Entry = void(WINAPI*)(HWND);
            auto entry = reinterpret_cast<Entry>(
                reinterpret_cast<void*>(::GetProcAddress(applet, name)));
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
