// Photographs the container check and copy wizards as the Control Panel runs them, in English
// and in Russian: the installed applet's sheet, the Service page's buttons, the selection page
// with a name typed, the report of a container with both keys and a chain, and the copy's
// destination page.
// Usage: kvcheckshots OUTPUT-DIRECTORY
#include "driver/capture.h"
#include "driver/driver.h"
#include "fixtures.h"
#include "resource.h"

#include <cpl.h>

#include <cstdio>
#include <string>

namespace {

using namespace driver;

constexpr wchar_t kApplet[] = L"C:\\Program Files\\Kelvane\\Vestra CSP\\kvconfig.cpl";
constexpr wchar_t kLanguageKey[] = L"Software\\Kelvane\\Testbed\\Store\\local";
constexpr wchar_t kContainer[] = L"demo-check";

bool Save(HWND window, const std::wstring& path) {
    Flush();  // the buttons as the page set them
    if (SaveBmp(CaptureWindow(window), path)) return true;
    std::fprintf(stderr, "kvcheckshots: cannot write %s\n", Narrow(path).c_str());
    return false;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: kvcheckshots OUTPUT-DIRECTORY\n");
        return 2;
    }
    const std::wstring directory = argv[1];
    fixtures::ContainerSpec spec;
    spec.name = kContainer;
    spec.chain = true;
    spec.usagePeriod = fixtures::Period::kValid;
    if (DWORD error = fixtures::MakeContainer(spec)) {
        std::fprintf(stderr, "kvcheckshots: no container (0x%08lX)\n", error);
        return 1;
    }
    HMODULE applet = ::LoadLibraryW(kApplet);
    auto cpl = applet ? reinterpret_cast<APPLET_PROC>(
                            reinterpret_cast<void*>(::GetProcAddress(applet, "CPlApplet")))
                      : nullptr;
    if (!cpl) {
        std::fprintf(stderr, "kvcheckshots: cannot load the applet\n");
        return 1;
    }
    int failures = 0;
    for (auto [language, tag] : {std::pair<DWORD, const wchar_t*>{1033, L"en"}, {1049, L"ru"}}) {
        ::RegSetKeyValueW(HKEY_CURRENT_USER, kLanguageKey, L"Language", REG_DWORD, &language,
                          sizeof(language));
        const std::wstring prefix = directory + L"\\check-wizard-";
        cpl(nullptr, CPL_INIT, 0, 0);
        RunModal(
            [&] {
                return INT_PTR{cpl(nullptr, CPL_STARTWPARMSA, 0, reinterpret_cast<LPARAM>("2"))};
            },
            [&] {
                HWND sheet = WaitForWindow({L"#32770", L"Vestra CSP"});
                WaitUntil([&] { return ActivePageIndex(sheet) == 2; }, "the Service page");
                Click(Item(ActivePage(sheet), IDC_SERVICE_CHECK));
                HWND wizard = WaitForWindow({L"#32770", L"", sheet, true});
                SetText(Item(wizard, IDC_SELECT_NAME), kContainer);
                if (!Save(wizard, prefix + L"select-" + tag + L".bmp")) ++failures;
                Click(SheetButton(wizard, kNext));
                WaitUntil([&] { return ActivePageIndex(wizard) == 1; }, "the report");
                if (!Save(wizard, prefix + L"report-" + tag + L".bmp")) ++failures;
                Click(SheetButton(wizard, kFinish));
                WaitUntilGone(wizard);

                Click(Item(ActivePage(sheet), IDC_SERVICE_COPY));
                wizard = WaitForWindow({L"#32770", L"", sheet, true});
                SetText(Item(wizard, IDC_SELECT_NAME), kContainer);
                if (!Save(wizard, directory + L"\\copy-wizard-source-" + tag + L".bmp")) ++failures;
                Click(SheetButton(wizard, kNext));
                WaitUntil([&] { return ActivePageIndex(wizard) == 1; }, "the destination");
                SetText(Item(ActivePage(wizard), IDC_SELECT_NAME), L"demo-copy");
                if (!Save(wizard, directory + L"\\copy-wizard-destination-" + tag + L".bmp"))
                    ++failures;
                PressSheetButton(wizard, PSBTN_CANCEL);
                WaitUntilGone(wizard);
                PressSheetButton(sheet, PSBTN_CANCEL);
                WaitUntilGone(sheet);
            });
        cpl(nullptr, CPL_EXIT, 0, 0);
    }
    ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kLanguageKey, L"Language");
    fixtures::DeleteContainer(spec.provider, spec.type, false, kContainer);
    return failures ? 1 : 0;
}
