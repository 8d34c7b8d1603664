#include "service_shots.h"

#include "driver/capture.h"
#include "driver/driver.h"

#include <cpl.h>

#include <cstdio>
#include <utility>

namespace shots {

namespace {

constexpr wchar_t kApplet[] = L"C:\\Program Files\\Kelvane\\Vestra CSP\\kvconfig.cpl";
constexpr wchar_t kLanguageKey[] = L"Software\\Kelvane\\Testbed\\Store\\local";
constexpr int kServicePage = 2;

}  // namespace

int PhotographFromServicePage(const char* tool, const std::wstring& directory,
                              const std::function<void(HWND sheet, const Shot& shot)>& script) {
    using namespace driver;
    HMODULE applet = ::LoadLibraryW(kApplet);
    auto cpl = applet ? reinterpret_cast<APPLET_PROC>(
                            reinterpret_cast<void*>(::GetProcAddress(applet, "CPlApplet")))
                      : nullptr;
    if (!cpl) {
        std::fprintf(stderr, "%s: cannot load the applet\n", tool);
        return -1;
    }
    int failures = 0;
    for (auto [language, tag] : {std::pair<DWORD, const wchar_t*>{1033, L"en"}, {1049, L"ru"}}) {
        ::RegSetKeyValueW(HKEY_CURRENT_USER, kLanguageKey, L"Language", REG_DWORD, &language,
                          sizeof(language));
        const Shot shot = [&, tag = tag](HWND window, const wchar_t* name) {
            Flush();  // the buttons as the page set them
            const std::wstring path = directory + L"\\" + name + L"-" + tag + L".bmp";
            if (SaveBmp(CaptureWindow(window), path)) return;
            std::fprintf(stderr, "%s: cannot write %s\n", tool, Narrow(path).c_str());
            ++failures;
        };
        cpl(nullptr, CPL_INIT, 0, 0);
        RunModal(
            [&] {
                return INT_PTR{cpl(nullptr, CPL_STARTWPARMSA, 0, reinterpret_cast<LPARAM>("2"))};
            },
            [&] {
                HWND sheet = WaitForWindow({L"#32770", L"Vestra CSP"});
                WaitUntil([&] { return ActivePageIndex(sheet) == kServicePage; },
                          "the Service page");
                script(sheet, shot);
                PressSheetButton(sheet, PSBTN_CANCEL);
                WaitUntilGone(sheet);
            });
        cpl(nullptr, CPL_EXIT, 0, 0);
    }
    ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kLanguageKey, L"Language");
    return failures;
}

}  // namespace shots
