// The certificate wizards while the provider fails, one call at a time: each failure is told as
// the wizard promises, the wizard stays where the user can try again, and nothing the provider
// handed out is left behind.
#include "failure_sweep.h"
#include "fixtures.h"
#include "link_check.h"
#include "resource.h"
#include "wizard_fixture.h"
#include "wizards/certificate_on_container.h"
#include "wizards/install_certificate.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using namespace wiztest;

TEST(FailureSweep, InstallWizardContainerStoreFinish) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-sweep-install";
    const fixtures::Made made = Make(spec);
    const std::wstring path = TempPath(L"kv-sweep-install.cer");
    ASSERT_EQ(0u, fixtures::WriteCertificateFile(path, fixtures::FileFormat::kDer,
                                                 {made.certificates[1]}));
    ui::UniqueCertContext certificate = Certificate(made.certificates[1]);

    WizardFlow flow{"install wizard", L"Private certificate installation wizard", [] {
                        applet::CWizardInstallPrivateCertificate wizard(nullptr);
                        return wizard.DoModal();
                    }};
    flow.prepare = [&] { InPersonalStore(certificate.get(), false, true); };
    flow.script = [&](SweepRun& run) {
        HWND wizard = run.Wizard();
        SetText(Item(ActivePage(wizard), IDC_INSTALL_FILE_NAME), path);
        if (!run.Press(kNext) || !run.AwaitPage(1) || !run.Press(kNext) || !run.AwaitPage(2) ||
            !run.Press(kNext, spec.name) || !run.AwaitPage(3))
            return;
        Click(ActivePage(wizard), IDC_INSTALL_TO_CONTAINER);
        if (run.Press(kNext) && run.AwaitPage(4) && run.Press(kFinish)) run.AwaitClosed();
    };
    flow.expect = [](const Injection& injection) -> std::optional<Outcome> {
        // Opening the container: its error, on the container page. Releases: nothing is left
        // to tell. The key match, the link and the write into the container: the messages say
        // what could not be done, not why.
        if (injection.entry == "CPAcquireContext") return Outcome{MB_ICONERROR, true};
        if (injection.entry == "CPDestroyKey" || injection.entry == "CPReleaseContext")
            return Outcome{};
        if (injection.entry.rfind("CP", 0) == 0) return Outcome{MB_ICONEXCLAMATION, true, false};
        return std::nullopt;
    };
    flow.verify = [&](SweepRun& run, const Injection*) {
        if (run.StayedOpen() == InPersonalStore(certificate.get(), false))
            run.Problem(run.StayedOpen() ? "installed though the wizard stayed open"
                                         : "the wizard closed without installing");
    };
    EXPECT_GT(SweepProviderFailures(flow), 8);
    flow.prepare();
    ::DeleteFileW(path.c_str());
    Remove(spec);
}

TEST(FailureSweep, ContainerCertificatesFromNextToInstall) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-sweep-view";
    spec.chain = true;
    const fixtures::Made made = Make(spec);
    ui::UniqueCertContext certificates[2] = {Certificate(made.certificates[0]),
                                             Certificate(made.certificates[1])};

    WizardFlow flow{"certificates in container", L"Certificates in private key container", [] {
                        applet::CWizardCertificateOnContainer wizard(nullptr);
                        return wizard.DoModal();
                    }};
    // Either key's certificate may be the one installed, depending on which key could be read.
    flow.prepare = [&] {
        for (const auto& certificate : certificates)
            InPersonalStore(certificate.get(), false, true);
    };
    flow.script = [&](SweepRun& run) {
        if (!run.Press(kNext, spec.name) || !run.AwaitPage(1)) return;
        Click(ActivePage(run.Wizard()), IDC_INSTALL_CERT_INSTALL);
        if (run.Answer(IDOK).icon != MB_ICONINFORMATION) run.Problem("no success message");
        if (run.Press(kFinish)) run.AwaitClosed();
    };
    flow.expect = [](const Injection& injection) -> std::optional<Outcome> {
        const std::string& entry = injection.entry;
        if (entry == "CPAcquireContext") return Outcome{MB_ICONERROR, true};
        // Releases, the advisory owner window, and one of the two keys missing (the first two
        // calls): the other key's certificate is installed without a word.
        if (entry == "CPDestroyKey" || entry == "CPReleaseContext" || entry == "CPSetProvParam" ||
            (entry == "CPGetUserKey" && injection.call <= 2))
            return Outcome{};
        // Reading the keys, their certificates and the extensions, and comparing a key with its
        // certificate: the messages name the container, not the error.
        if (entry.rfind("CP", 0) == 0) return Outcome{MB_ICONEXCLAMATION, true, false};
        return std::nullopt;
    };
    flow.verify = [&](SweepRun& run, const Injection* injection) {
        if (!injection && !InPersonalStore(certificates[0].get(), false) &&
            !InPersonalStore(certificates[1].get(), false))
            run.Problem("the clean run installed nothing");
    };
    EXPECT_GT(SweepProviderFailures(flow), 8);
    flow.prepare();
    Remove(spec);
}

}  // namespace
