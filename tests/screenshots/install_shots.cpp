// Photographs the private certificate installation wizard as the Control Panel runs it, in
// English and in Russian: the file typed, the certificate read from it, its container found
// automatically, the computer's personal store and the summary; then the certificates in that
// container.
// Usage: kvinstallshots OUTPUT-DIRECTORY
#include "driver/driver.h"
#include "fixtures.h"
#include "resource.h"
#include "service_shots.h"

#include <cstdio>
#include <string>

namespace {

using namespace driver;

constexpr wchar_t kContainer[] = L"demo-install";
constexpr wchar_t kFile[] = L"C:\\users\\Public\\demo-install.cer";

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
    fixtures::ContainerSpec spec;
    spec.name = kContainer;
    spec.machine = true;
    fixtures::Made made;
    if (DWORD error = fixtures::MakeContainer(spec, &made)) {
        std::fprintf(stderr, "kvinstallshots: no container (0x%08lX)\n", error);
        return 1;
    }
    fixtures::WriteCertificateFile(kFile, fixtures::FileFormat::kDer, {made.certificates[1]});
    const int failures = shots::PhotographFromServicePage(
        "kvinstallshots", argv[1], [](HWND sheet, const shots::Shot& shot) {
            Click(Item(ActivePage(sheet), IDC_SERVICE_INSTALL_CERTIFICATE));
            HWND wizard = WaitForWindow({L"#32770", L"", sheet, true});
            SetText(Item(ActivePage(wizard), IDC_INSTALL_FILE_NAME), kFile);
            shot(wizard, L"install-wizard-file");
            Next(wizard, 1);
            shot(wizard, L"install-wizard-certificate");
            Next(wizard, 2);
            HWND page = ActivePage(wizard);
            Click(page, IDC_SELECT_COMPUTER);
            Click(page, IDC_SELECT_FIND_AUTOMATICALLY);
            WaitUntil([&] { return Text(Item(page, IDC_SELECT_NAME)) == kContainer; },
                      "the container found");
            shot(wizard, L"install-wizard-carrier");
            Next(wizard, 3);
            Click(ActivePage(wizard), IDC_INSTALL_TO_CONTAINER);
            shot(wizard, L"install-wizard-store");
            Next(wizard, 4);
            shot(wizard, L"install-wizard-finish");
            PressSheetButton(wizard, PSBTN_CANCEL);
            WaitUntilGone(wizard);

            Click(Item(ActivePage(sheet), IDC_SERVICE_VIEW_CERTIFICATES));
            wizard = WaitForWindow({L"#32770", L"", sheet, true});
            page = ActivePage(wizard);
            Click(page, IDC_SELECT_COMPUTER);
            SetText(Item(page, IDC_SELECT_NAME), kContainer);
            shot(wizard, L"view-wizard-container");
            Next(wizard, 1);
            shot(wizard, L"view-wizard-certificate");
            PressSheetButton(wizard, PSBTN_CANCEL);
            WaitUntilGone(wizard);
        });
    ::DeleteFileW(kFile);
    fixtures::DeleteContainer(spec.provider, spec.type, true, kContainer);
    return failures ? 1 : 0;
}
