// Photographs the container check and copy wizards as the Control Panel runs them, in English
// and in Russian: the installed applet's sheet, the Service page's buttons, the selection page
// with a name typed, the report of a container with both keys and a chain, and the copy's
// destination page.
// Usage: kvcheckshots OUTPUT-DIRECTORY
#include "driver/driver.h"
#include "fixtures.h"
#include "resource.h"
#include "service_shots.h"

#include <cstdio>
#include <string>

namespace {

using namespace driver;

constexpr wchar_t kContainer[] = L"demo-check";

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: kvcheckshots OUTPUT-DIRECTORY\n");
        return 2;
    }
    fixtures::ContainerSpec spec;
    spec.name = kContainer;
    spec.chain = true;
    spec.usagePeriod = fixtures::Period::kValid;
    if (DWORD error = fixtures::MakeContainer(spec)) {
        std::fprintf(stderr, "kvcheckshots: no container (0x%08lX)\n", error);
        return 1;
    }
    const int failures = shots::PhotographFromServicePage(
        "kvcheckshots", argv[1], [](HWND sheet, const shots::Shot& shot) {
            Click(Item(ActivePage(sheet), IDC_SERVICE_CHECK));
            HWND wizard = WaitForWindow({L"#32770", L"", sheet, true});
            SetText(Item(wizard, IDC_SELECT_NAME), kContainer);
            shot(wizard, L"check-wizard-select");
            Click(SheetButton(wizard, kNext));
            WaitUntil([&] { return ActivePageIndex(wizard) == 1; }, "the report");
            shot(wizard, L"check-wizard-report");
            Click(SheetButton(wizard, kFinish));
            WaitUntilGone(wizard);

            Click(Item(ActivePage(sheet), IDC_SERVICE_COPY));
            wizard = WaitForWindow({L"#32770", L"", sheet, true});
            SetText(Item(wizard, IDC_SELECT_NAME), kContainer);
            shot(wizard, L"copy-wizard-source");
            Click(SheetButton(wizard, kNext));
            WaitUntil([&] { return ActivePageIndex(wizard) == 1; }, "the destination");
            SetText(Item(ActivePage(wizard), IDC_SELECT_NAME), L"demo-copy");
            shot(wizard, L"copy-wizard-destination");
            PressSheetButton(wizard, PSBTN_CANCEL);
            WaitUntilGone(wizard);
        });
    fixtures::DeleteContainer(spec.provider, spec.type, false, kContainer);
    return failures ? 1 : 0;
}
