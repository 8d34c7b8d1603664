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

#include <map>

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

// How the check tells a failure: a row with the error and "failed" (kFails), some failures
// passed over ("not available", no row) and the others counted (kMayPass), or a failed release
// that leaves the report as it is without failures (kUnchanged).
enum class Telling { kFails, kMayPass, kUnchanged };

std::optional<Telling> CheckTells(const std::string& entry) {
    static const std::map<std::string, Telling> tells = {
        {"CPGetProvParam.6", Telling::kFails},     {"CPGetProvParam.36", Telling::kFails},
        {"CPGetProvParam.111", Telling::kFails},   {"CPGetProvParam.146", Telling::kFails},
        {"CPGetProvParam.109", Telling::kFails},   {"CPExportKey", Telling::kFails},
        {"CPImportKey", Telling::kFails},          {"CPCreateHash", Telling::kFails},
        {"CPHashData", Telling::kFails},           {"CPSignHash", Telling::kFails},
        {"CPVerifySignature", Telling::kFails},    {"CPGetProvParam.133", Telling::kMayPass},
        {"CPGetUserKey", Telling::kMayPass},       {"CPGetKeyParam.6", Telling::kMayPass},
        {"CPGetKeyParam.7", Telling::kMayPass},    {"CPGetKeyParam.103", Telling::kMayPass},
        {"CPGetKeyParam.106", Telling::kMayPass},  {"CPGetKeyParam.26", Telling::kMayPass},
        {"CPDestroyKey", Telling::kUnchanged},     {"CPDestroyHash", Telling::kUnchanged},
        {"CPReleaseContext", Telling::kUnchanged},
    };
    auto found = tells.find(entry);
    return found == tells.end() ? std::nullopt : std::optional<Telling>(found->second);
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
        if (CheckTells(injection.entry)) return Outcome{};
        return SelectionPageFailure(injection);
    };
    flow.verify = [&](SweepRun& run, const Injection* injection) {
        if (injection && injection->entry == "CPAcquireContext") {
            if (!report.empty()) run.Problem("a report for a container that did not open");
            return;
        }
        if (report.empty()) return run.Problem("no report");
        const std::wstring verdict = report[0].at(0);
        if (!injection) {
            clean = report;
            if (verdict != L"Check container succeed") run.Problem("failed without failures");
            return;
        }
        const Telling telling = *CheckTells(injection->entry);
        if (telling == Telling::kUnchanged) {
            if (report != clean) run.Problem("the report differs from the one without failures");
            return;
        }
        wchar_t code[16];
        std::swprintf(code, 16, L"Error 0x%08lX", static_cast<unsigned long>(injection->error));
        int named = 0;
        for (const auto& row : report)
            // Wine's crypt32 leaves last error 0 when the provider's export fails inside
            // CryptExportPublicKeyInfo: the key match can only show that.
            if (row.at(1).rfind(code, 0) == 0 ||
                (injection->entry == "CPExportKey" && row.at(0) == L"  certificate in container" &&
                 row.at(1).rfind(L"Error 0x00000000", 0) == 0))
                ++named;
        if (verdict == L"Check container failed" ? named == 0
                                                 : verdict != L"Check container succeed" ||
                                                       named > 0 || telling == Telling::kFails)
            run.Problem("verdict '" + Narrow(verdict) + "' with " + std::to_string(named) +
                        " rows naming the error");
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
