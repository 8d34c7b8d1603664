// The certificates in container wizard while the provider fails, one call at a time, from Next
// on the container page to Install: each failure is told as the wizard promises, the wizard
// stays open where the user can try again, and nothing the provider handed out is left behind.
#include "driver/driver.h"
#include "failure_sweep.h"
#include "fixtures.h"
#include "resource.h"
#include "wizard_fixture.h"
#include "wizards/certificate_info.h"
#include "wizards/certificate_on_container.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using namespace wiztest;

TEST(FailureSweep, ContainerCertificatesFromNextToInstall) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-sweep-view";
    spec.chain = true;
    fixtures::Made made;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec, &made));
    ui::UniqueCertContext certificates[2];
    for (int i = 0; i < 2; ++i)
        certificates[i].reset(::CertCreateCertificateContext(
            applet::kCertificateEncoding, made.certificates[i].data(),
            static_cast<DWORD>(made.certificates[i].size())));

    WizardFlow flow;
    flow.name = "certificates in container";
    flow.caption = L"Certificates in private key container";
    flow.run = [] {
        applet::CWizardCertificateOnContainer wizard(nullptr);
        return wizard.DoModal();
    };
    // Either key's certificate may be the one installed, depending on which key could be read.
    flow.prepare = [&] {
        for (const auto& certificate : certificates)
            InPersonalStore(certificate.get(), false, true);
    };
    flow.script = [&](SweepRun& run) {
        HWND wizard = run.Wizard();
        SetText(Item(ActivePage(wizard), IDC_SELECT_NAME), spec.name);
        HWND next = SheetButton(wizard, kNext);
        if (!run.Await("Next enabled", [&] { return IsVisible(next) && IsEnabled(next); })) return;
        Click(next);
        if (!run.Await("the certificate page", [&] { return ActivePageIndex(wizard) == 1; }))
            return;
        Click(ActivePage(wizard), IDC_INSTALL_CERT_INSTALL);
        const MessageBoxInfo box = run.Answer(IDOK);
        if (box.icon != MB_ICONINFORMATION) run.Problem("no success message");
        Click(SheetButton(wizard, kFinish));
        run.Await("the wizard closed", [&] { return !::IsWindow(wizard); });
    };
    flow.expectCall = [](const Injection& injection) -> std::optional<Outcome> {
        const std::string& entry = injection.entry;
        // Opening the container: its error, on the container page.
        if (entry == "CPAcquireContext") return Outcome{MB_ICONERROR, true};
        // Releases, the advisory owner window, and one of the two keys missing (the first two
        // calls): the other key's certificate is installed without a word.
        if (entry == "CPDestroyKey" || entry == "CPReleaseContext" || entry == "CPSetProvParam" ||
            (entry == "CPGetUserKey" && injection.call <= 2))
            return Outcome{};
        // Reading the keys, their certificates and the extensions, and comparing a key with its
        // certificate: the messages name the container, not the error.
        if (entry.compare(0, 2, "CP") == 0) return Outcome{MB_ICONEXCLAMATION, true, false};
        return std::nullopt;
    };
    flow.verify = [&](SweepRun& run, const Injection* injection) {
        const bool installed = InPersonalStore(certificates[0].get(), false) ||
                               InPersonalStore(certificates[1].get(), false);
        if (!injection && !installed) run.Problem("the clean run installed nothing");
    };
    SweepResult result = SweepProviderFailures(flow, static_cast<DWORD>(SCARD_W_REMOVED_CARD));
    EXPECT_GT(result.failures, 8);
    flow.prepare();
    fixtures::DeleteContainer(spec.provider, spec.type, false, spec.name);
}

}  // namespace
