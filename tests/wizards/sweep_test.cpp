// The container wizards while the provider fails, one call at a time, every call they make.
#include "failure_sweep.h"
#include "fixtures.h"
#include "resource.h"
#include "wizard_fixture.h"
#include "wizards/change_password.h"
#include "wizards/check_container.h"
#include "wizards/copy_container.h"
#include "wizards/delete_container.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using namespace wiztest;

template <class Wizard>
INT_PTR Modal() {
    Wizard wizard(nullptr);
    return wizard.DoModal();
}

// Only the acquisition on the selection page reports through a box; it keeps the page.
std::optional<Outcome> SelectionPageFailure(const Injection& injection) {
    if (injection.entry == "CPAcquireContext") return Outcome{MB_ICONERROR, true};
    return std::nullopt;
}

TEST(FailureSweep, CheckWizardFromNextThroughTheReportToFinish) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-sweep-check";
    spec.chain = true;
    spec.usagePeriod = fixtures::Period::kValid;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec));

    std::vector<std::vector<std::wstring>> report, clean;
    WizardFlow flow{"check wizard", L"Check private key container", Modal<applet::CWizardCheckContainer>};
    flow.prepare = [&] { report.clear(); };
    flow.script = [&](SweepRun& run) {
        // The check has run when the page turns: it runs while the page becomes active.
        if (!run.Press(kNext, spec.name) || !run.AwaitPage(1)) return;
        report = ListRows(Item(ActivePage(run.Wizard()), IDC_CHECK_REPORT));
        if (run.Press(kFinish)) run.AwaitClosed();
    };
    flow.expect = [](const Injection& injection) -> std::optional<Outcome> {
        // Inside the check a failure is told in the report, never in a box.
        return injection.entry == "CPAcquireContext" ? SelectionPageFailure(injection) : Outcome{};
    };
    flow.verify = [&](SweepRun& run, const Injection* injection) {
        const bool opened = !injection || injection->entry != "CPAcquireContext";
        if (report.empty() == opened) run.Problem(opened ? "no report" : "a report without a container");
        if (!injection && report[0].at(0) != L"Check container succeed")
            run.Problem("failed without failures");
    };
    EXPECT_GT(SweepProviderFailures(flow), 20) << "the check makes many provider calls";
    fixtures::DeleteContainer(kvcsp::kProviderMain, kvcsp::kType2001, false, spec.name);
}

TEST(FailureSweep, DeleteWizardNameFinishYes) {
    const std::wstring container = L"kv-sweep-delete";
    WizardFlow flow{"delete wizard", L"Delete private key container", Modal<applet::CWizardDeleteContainer>};
    flow.prepare = [&] {
        if (!ContainerExists(container, false)) CreateContainer(container, false);
    };
    flow.script = [&](SweepRun& run) {
        if (!run.Press(kFinish, container)) return;
        run.Answer(IDYES);
        run.AwaitClosed();
    };
    flow.expect = SelectionPageFailure;
    flow.verify = [&](SweepRun& run, const Injection* injection) {
        if (ContainerExists(container, false) != (injection != nullptr))
            run.Problem(injection ? "gone though its deletion failed" : "still there");
    };
    EXPECT_GE(SweepProviderFailures(flow), 1);
    DeleteContainer(container, false);
}

TEST(FailureSweep, ChangePasswordWizardNameFinish) {
    const std::wstring container = L"kv-sweep-password";
    CreateContainer(container, false);
    WizardFlow flow{"change password wizard", L"Change password for private key container",
                    Modal<applet::CWizardChangePassword>};
    flow.script = [&](SweepRun& run) {
        if (run.Press(kFinish, container)) run.AwaitClosed();
    };
    flow.expect = [](const Injection& injection) -> std::optional<Outcome> {
        // The change itself: its error is shown and the user may try again.
        if (injection.entry == "CPSetProvParam.108") return Outcome{MB_ICONERROR, true};
        // The wizard's container goes with the wizard; nobody is left to tell.
        if (injection.entry == "CPReleaseContext") return Outcome{};
        return SelectionPageFailure(injection);
    };
    EXPECT_GE(SweepProviderFailures(flow), 3);
    DeleteContainer(container, false);
}

TEST(FailureSweep, CopyWizardSourceNextDestinationFinish) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-sweep-copy";
    spec.chain = true;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec));
    const std::wstring copy = L"kv-sweep-copy to";
    WizardFlow flow{"copy wizard", L"Copy private key container", Modal<applet::CWizardCopyContainer>};
    flow.prepare = [&] { DeleteContainer(copy, false); };
    flow.script = [&](SweepRun& run) {
        if (run.Press(kNext, spec.name) && run.AwaitPage(1) && run.Press(kFinish, copy))
            run.AwaitClosed();
    };
    flow.expect = [](const Injection& injection) -> std::optional<Outcome> {
        // Opening either container, or the session key's context.
        if (injection.entry == "CPAcquireContext") return Outcome{MB_ICONERROR, true};
        // Releases: nothing is left to tell. A key whose certificate can't be sized has none;
        // one that sized and then failed to read fails the copy.
        if (injection.entry == "CPDestroyKey" || injection.entry == "CPReleaseContext" ||
            (injection.entry == "CPGetKeyParam.26" && injection.call % 2 == 1))
            return Outcome{};
        if (injection.entry.rfind("CP", 0) == 0) return Outcome{MB_ICONEXCLAMATION, true};
        return std::nullopt;
    };
    flow.verify = [&](SweepRun& run, const Injection*) {
        if (!run.StayedOpen() && !ContainerExists(copy, false))
            run.Problem("the wizard closed without the copy");
    };
    EXPECT_GT(SweepProviderFailures(flow), 30) << "the copy makes many provider calls";
    DeleteContainer(copy, false);
    fixtures::DeleteContainer(kvcsp::kProviderMain, kvcsp::kType2001, false, spec.name);
}

}  // namespace
