// Photographs the private certificate installation wizard as the Control Panel runs it, in
// English and in Russian: the file typed, the certificate read from it, its container found
// automatically, the computer's personal store and the summary; then the certificates of the
// same container in the wizard that views them.
// Usage: kvinstallshots OUTPUT-DIRECTORY
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
constexpr wchar_t kContainer[] = L"demo-install";
constexpr wchar_t kFile[] = L"C:\\users\\Public\\demo-install.cer";

bool Save(HWND window, const std::wstring& path) {
    Flush();  // the buttons as the page set them
    if (SaveBmp(CaptureWindow(window), path)) return true;
    std::fprintf(stderr, "kvinstallshots: cannot write %s\n", Narrow(path).c_str());
    return false;
}

void Next(HWND wizard, int page) {
    HWND next = SheetButton(wizard, kNext);
    WaitUntil([&] { return IsEnabled(next); }, "Next enabled");
    Click(next);
    WaitUntil([&] { return ActivePageIndex(wizard) == page; }, "the next page");
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: kvinstallshots OUTPUT-DIRECTORY\n");
        return 2;
    }
    const std::wstring directory = argv[1];
    fixtures::ContainerSpec spec;
    spec.name = kContainer;
    spec.machine = true;
    fixtures::Made made;
    if (DWORD error = fixtures::MakeContainer(spec, &made)) {
        std::fprintf(stderr, "kvinstallshots: no container (0x%08lX)\n", error);
        return 1;
    }
    fixtures::WriteCertificateFile(kFile, fixtures::FileFormat::kDer, {made.certificates[1]});
    HMODULE applet = ::LoadLibraryW(kApplet);
    auto cpl = applet ? reinterpret_cast<APPLET_PROC>(
                            reinterpret_cast<void*>(::GetProcAddress(applet, "CPlApplet")))
                      : nullptr;
    if (!cpl) {
        std::fprintf(stderr, "kvinstallshots: cannot load the applet\n");
        return 1;
    }
    int failures = 0;
    for (auto [language, tag] : {std::pair<DWORD, const wchar_t*>{1033, L"en"}, {1049, L"ru"}}) {
        ::RegSetKeyValueW(HKEY_CURRENT_USER, kLanguageKey, L"Language", REG_DWORD, &language,
                          sizeof(language));
        const std::wstring prefix = directory + L"\\install-wizard-";
        auto shot = [&](HWND wizard, const wchar_t* page) {
            if (!Save(wizard, prefix + page + L"-" + tag + L".bmp")) ++failures;
        };
        cpl(nullptr, CPL_INIT, 0, 0);
        RunModal(
            [&] {
                return INT_PTR{cpl(nullptr, CPL_STARTWPARMSA, 0, reinterpret_cast<LPARAM>("2"))};
            },
            [&] {
                HWND sheet = WaitForWindow({L"#32770", L"Vestra CSP"});
                WaitUntil([&] { return ActivePageIndex(sheet) == 2; }, "the Service page");
                Click(Item(ActivePage(sheet), IDC_SERVICE_INSTALL_CERTIFICATE));
                HWND wizard = WaitForWindow({L"#32770", L"", sheet, true});
                SetText(Item(ActivePage(wizard), IDC_INSTALL_FILE_NAME), kFile);
                shot(wizard, L"file");
                Next(wizard, 1);
                shot(wizard, L"certificate");
                Next(wizard, 2);
                HWND page = ActivePage(wizard);
                Click(page, IDC_SELECT_COMPUTER);
                Click(page, IDC_SELECT_FIND_AUTOMATICALLY);
                WaitUntil([&] { return Text(Item(page, IDC_SELECT_NAME)) == kContainer; },
                          "the container found");
                shot(wizard, L"carrier");
                Next(wizard, 3);
                Click(ActivePage(wizard), IDC_INSTALL_TO_CONTAINER);
                shot(wizard, L"store");
                Next(wizard, 4);
                shot(wizard, L"finish");
                PressSheetButton(wizard, PSBTN_CANCEL);
                WaitUntilGone(wizard);

                Click(Item(ActivePage(sheet), IDC_SERVICE_VIEW_CERTIFICATES));
                wizard = WaitForWindow({L"#32770", L"", sheet, true});
                page = ActivePage(wizard);
                Click(page, IDC_SELECT_COMPUTER);
                SetText(Item(page, IDC_SELECT_NAME), kContainer);
                shot(wizard, L"view-container");
                Next(wizard, 1);
                shot(wizard, L"view-certificate");
                PressSheetButton(wizard, PSBTN_CANCEL);
                WaitUntilGone(wizard);
                PressSheetButton(sheet, PSBTN_CANCEL);
                WaitUntilGone(sheet);
            });
        cpl(nullptr, CPL_EXIT, 0, 0);
    }
    ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kLanguageKey, L"Language");
    ::DeleteFileW(kFile);
    fixtures::DeleteContainer(spec.provider, spec.type, true, kContainer);
    return failures ? 1 : 0;
}
