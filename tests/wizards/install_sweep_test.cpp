// The installation wizard while the provider fails, one call at a time, from the container
// page to Finish: each failure is told as the wizard promises, the wizard stays where the user
// can try again, and nothing the provider handed out is left behind.
#include "driver/driver.h"
#include "failure_sweep.h"
#include "fixtures.h"
#include "resource.h"
#include "wizard_fixture.h"
#include "wizards/certificate_info.h"
#include "wizards/install_certificate.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using namespace wiztest;

const DWORD kRemoved = static_cast<DWORD>(SCARD_W_REMOVED_CARD);

TEST(FailureSweep, InstallWizardContainerStoreFinish) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-sweep-install";
    fixtures::Made made;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec, &made));
    wchar_t directory[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, directory);
    const std::wstring path = directory + std::wstring(L"kv-sweep-install.cer");
    ASSERT_EQ(0u, fixtures::WriteCertificateFile(path, fixtures::FileFormat::kDer,
                                                 {made.certificates[1]}));
    ui::UniqueCertContext certificate(
        ::CertCreateCertificateContext(applet::kCertificateEncoding, made.certificates[1].data(),
                                       static_cast<DWORD>(made.certificates[1].size())));

    WizardFlow flow;
    flow.name = "install wizard";
    flow.caption = L"Private certificate installation wizard";
    flow.run = [] {
        applet::CWizardInstallPrivateCertificate wizard(nullptr);
        return wizard.DoModal();
    };
    flow.prepare = [&] { InPersonalStore(certificate.get(), false, true); };
    flow.script = [&](SweepRun& run) {
        HWND wizard = run.Wizard();
        auto next = [&](int page) {
            HWND button = SheetButton(wizard, page == 4 ? kFinish : kNext);
            if (!run.Await("the button enabled",
                           [&] { return IsVisible(button) && IsEnabled(button); }))
                return false;
            Click(button);
            return page == 4 ||
                   run.Await("the next page", [&] { return ActivePageIndex(wizard) == page + 1; });
        };
        SetText(Item(ActivePage(wizard), IDC_INSTALL_FILE_NAME), path);
        if (!next(0) || !next(1)) return;
        SetText(Item(ActivePage(wizard), IDC_SELECT_NAME), spec.name);
        if (!next(2)) return;
        Click(ActivePage(wizard), IDC_INSTALL_TO_CONTAINER);
        if (!next(3) || !next(4)) return;
        run.Await("the wizard closed", [&] { return !::IsWindow(wizard); });
    };
    flow.expect = [](const std::string& entry) -> std::optional<Outcome> {
        // Opening the container: its error, on the container page.
        if (entry == "CPAcquireContext") return Outcome{MB_ICONERROR, true};
        // Releases: nothing is left to tell.
        if (entry == "CPDestroyKey" || entry == "CPReleaseContext") return Outcome{};
        // The key match (no key matches), the link and the write into the container: the
        // messages say what could not be done, not why.
        if (entry.compare(0, 2, "CP") == 0) return Outcome{MB_ICONEXCLAMATION, true, false};
        return std::nullopt;
    };
    flow.verify = [&](SweepRun& run, const Injection*) {
        if (!run.StayedOpen() && !InPersonalStore(certificate.get(), false))
            run.Problem("the wizard closed without installing");
        if (run.StayedOpen() && InPersonalStore(certificate.get(), false))
            run.Problem("installed though the wizard stayed open");
    };
    SweepResult result = SweepProviderFailures(flow, kRemoved);
    EXPECT_GT(result.failures, 8);
    flow.prepare();
    ::DeleteFileW(path.c_str());
    fixtures::DeleteContainer(spec.provider, spec.type, false, spec.name);
}

}  // namespace
