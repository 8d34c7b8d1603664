// The container wizards while the provider fails, one call at a time, every call they make: the
// user hears of each failure the way the wizard promises, the wizard stays or closes as it must,
// and nothing the provider handed out is left behind.
#include "driver/driver.h"
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

// A card pulled out mid-operation: an error no step of the flows produces by itself.
const DWORD kRemoved = static_cast<DWORD>(SCARD_W_REMOVED_CARD);

// Types the container's name and waits for the button that leaves the page.
bool Name(SweepRun& run, const std::wstring& name, int button) {
    HWND wizard = run.Wizard();
    SetText(Item(wizard, IDC_SELECT_NAME), name);
    HWND leave = SheetButton(wizard, button);
    if (!run.Await("the button enabled", [&] { return IsVisible(leave) && IsEnabled(leave); }))
        return false;
    Click(leave);
    return true;
}

bool AwaitClosed(SweepRun& run) {
    HWND wizard = run.Wizard();
    return run.Await("the wizard closed",
                     [&] { return !::IsWindow(wizard) || !::IsWindowVisible(wizard); });
}

// The rows that tell an error, for a failure message.
std::string ErrorRows(const std::vector<std::vector<std::wstring>>& report) {
    std::string text;
    for (const auto& row : report)
        if (row.at(1).compare(0, 6, L"Error ") == 0)
            text += "\n    [" + Narrow(row.at(0)) + "] [" + Narrow(row.at(1)) + "]";
    return text;
}

// Only the acquisition on the selection page reports through a box; it keeps the page.
std::optional<Outcome> SelectionPageFailure(const std::string& entry) {
    if (entry == "CPAcquireContext") return Outcome{MB_ICONERROR, true};
    return std::nullopt;
}

// How the container check tells a failure of a provider entry point.
enum class CheckTelling {
    kFails,      // a row with the error, and the verdict "failed"
    kMayPass,    // some failures it passes over (no row, "not available"), the others it counts
    kUnchanged,  // a failed release: the report is the same as without failures
};

std::optional<CheckTelling> CheckTells(const std::string& entry) {
    static const std::map<std::string, CheckTelling> tells = {
        {"CPGetProvParam.6", CheckTelling::kFails},
        {"CPGetProvParam.36", CheckTelling::kFails},
        {"CPGetProvParam.111", CheckTelling::kFails},
        {"CPGetProvParam.146", CheckTelling::kFails},
        {"CPGetProvParam.109", CheckTelling::kFails},
        {"CPExportKey", CheckTelling::kFails},
        {"CPImportKey", CheckTelling::kFails},
        {"CPCreateHash", CheckTelling::kFails},
        {"CPHashData", CheckTelling::kFails},
        {"CPSignHash", CheckTelling::kFails},
        {"CPVerifySignature", CheckTelling::kFails},
        // The first extension query counts; a later fetch that fails ends the listing.
        {"CPGetProvParam.133", CheckTelling::kMayPass},
        // A key that can't be had is "not available"; inside the key match it is an error.
        {"CPGetUserKey", CheckTelling::kMayPass},
        // Permissions, algorithm and parameter sets write no row; no certificate is "not
        // available".
        {"CPGetKeyParam.6", CheckTelling::kMayPass},
        {"CPGetKeyParam.7", CheckTelling::kMayPass},
        {"CPGetKeyParam.103", CheckTelling::kMayPass},
        {"CPGetKeyParam.106", CheckTelling::kMayPass},
        {"CPGetKeyParam.26", CheckTelling::kMayPass},
        {"CPDestroyKey", CheckTelling::kUnchanged},
        {"CPDestroyHash", CheckTelling::kUnchanged},
        {"CPReleaseContext", CheckTelling::kUnchanged},
    };
    auto found = tells.find(entry);
    if (found == tells.end()) return std::nullopt;
    return found->second;
}

TEST(FailureSweep, CheckWizardFromNextThroughTheReportToFinish) {
    const std::wstring container = L"kv-sweep-check";
    fixtures::ContainerSpec spec;
    spec.name = container;
    spec.chain = true;
    spec.usagePeriod = fixtures::Period::kValid;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec));

    bool reported = false;
    std::vector<std::vector<std::wstring>> report;
    WizardFlow flow;
    flow.name = "check wizard";
    flow.caption = L"Check private key container";
    flow.run = [] {
        applet::CWizardCheckContainer wizard(nullptr);
        return wizard.DoModal();
    };
    flow.prepare = [&] {
        reported = false;
        report.clear();
    };
    flow.script = [&](SweepRun& run) {
        HWND wizard = run.Wizard();
        if (!Name(run, container, kNext)) return;
        if (!run.Await("the report", [&] { return ActivePageIndex(wizard) == 1; })) return;
        // The check has run when the page turns: it runs while the page becomes active.
        reported = true;
        report = ListRows(Item(ActivePage(wizard), IDC_CHECK_REPORT));
        HWND finish = SheetButton(wizard, kFinish);
        if (!run.Await("Finish", [&] { return IsVisible(finish) && IsEnabled(finish); })) return;
        Click(finish);
        AwaitClosed(run);
    };
    flow.expect = [](const std::string& entry) -> std::optional<Outcome> {
        if (auto selection = SelectionPageFailure(entry)) return selection;
        // Inside the check a failure is told in the report, never in a box.
        if (CheckTells(entry)) return Outcome{};
        return std::nullopt;
    };
    std::vector<std::vector<std::wstring>> clean;
    flow.verify = [&](SweepRun& run, const Injection* injection) {
        if (injection && injection->entry == "CPAcquireContext") {
            if (reported) run.Problem("the report was shown for a container that did not open");
            return;
        }
        if (!reported || report.empty()) {
            run.Problem("no report");
            return;
        }
        const std::wstring verdict = report[0].at(0);
        if (!injection) {
            clean = report;
            if (verdict != L"Check container succeed")
                run.Problem("the verdict without failures is '" + Narrow(verdict) + "'");
            return;
        }
        const CheckTelling telling = *CheckTells(injection->entry);
        if (telling == CheckTelling::kUnchanged) {
            if (report != clean) run.Problem("the report differs from the one without failures");
            return;
        }
        wchar_t code[16];
        std::swprintf(code, 16, L"Error 0x%08lX", static_cast<unsigned long>(injection->error));
        int named = 0, lost = 0;
        for (const auto& row : report) {
            if (row.at(1).compare(0, std::wcslen(code), code) == 0) ++named;
            // Wine's crypt32 leaves last error 0 when the provider's export fails inside
            // CryptExportPublicKeyInfo: the key match can only show that.
            if (injection->entry == "CPExportKey" && row.at(0) == L"  certificate in container" &&
                row.at(1).compare(0, 16, L"Error 0x00000000") == 0)
                ++lost;
        }
        if (verdict == L"Check container failed") {
            if (named == 0 && lost == 0)
                run.Problem("the verdict is 'failed' but no row names the error:" +
                            ErrorRows(report));
        } else if (verdict == L"Check container succeed") {
            if (named > 0) run.Problem("a row names the error but the verdict is 'succeed'");
            if (telling == CheckTelling::kFails) run.Problem("the verdict is 'succeed'");
        } else {
            run.Problem("no verdict on top: '" + Narrow(verdict) + "'");
        }
    };

    SweepResult result = SweepProviderFailures(flow, kRemoved);
    EXPECT_GT(result.failures, 20) << "the check makes many provider calls";
    fixtures::DeleteContainer(kvcsp::kProviderMain, kvcsp::kType2001, false, container);
}

TEST(FailureSweep, DeleteWizardNameFinishYes) {
    const std::wstring container = L"kv-sweep-delete";
    WizardFlow flow;
    flow.name = "delete wizard";
    flow.caption = L"Delete private key container";
    flow.run = [] {
        applet::CWizardDeleteContainer wizard(nullptr);
        return wizard.DoModal();
    };
    flow.prepare = [&] {
        if (!ContainerExists(container, false)) CreateContainer(container, false);
    };
    flow.script = [&](SweepRun& run) {
        if (!Name(run, container, kFinish)) return;
        run.Answer(IDYES);
        AwaitClosed(run);
    };
    flow.expect = SelectionPageFailure;
    flow.verify = [&](SweepRun& run, const Injection* injection) {
        if (ContainerExists(container, false) != (injection != nullptr))
            run.Problem(injection ? "the container is gone though its deletion failed"
                                  : "the container is still there");
    };
    SweepResult result = SweepProviderFailures(flow, kRemoved);
    EXPECT_GE(result.failures, 1);
    DeleteContainer(container, false);
}

TEST(FailureSweep, ChangePasswordWizardNameFinish) {
    const std::wstring container = L"kv-sweep-password";
    CreateContainer(container, false);
    WizardFlow flow;
    flow.name = "change password wizard";
    flow.caption = L"Change password for private key container";
    flow.run = [] {
        applet::CWizardChangePassword wizard(nullptr);
        return wizard.DoModal();
    };
    flow.script = [&](SweepRun& run) {
        if (!Name(run, container, kFinish)) return;
        AwaitClosed(run);
    };
    flow.expect = [](const std::string& entry) -> std::optional<Outcome> {
        if (auto selection = SelectionPageFailure(entry)) return selection;
        // The change itself: its error is shown and the user may try again.
        if (entry == "CPSetProvParam.108") return Outcome{MB_ICONERROR, true};
        // The wizard's container goes with the wizard; nobody is left to tell.
        if (entry == "CPReleaseContext") return Outcome{};
        return std::nullopt;
    };
    SweepResult result = SweepProviderFailures(flow, kRemoved);
    EXPECT_GE(result.failures, 3);
    DeleteContainer(container, false);
}

TEST(FailureSweep, CopyWizardSourceNextDestinationFinish) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-sweep-copy";
    spec.chain = true;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec));
    const std::wstring copy = L"kv-sweep-copy to";
    WizardFlow flow;
    flow.name = "copy wizard";
    flow.caption = L"Copy private key container";
    flow.run = [] {
        applet::CWizardCopyContainer wizard(nullptr);
        return wizard.DoModal();
    };
    flow.prepare = [&] { DeleteContainer(copy, false); };
    flow.script = [&](SweepRun& run) {
        HWND wizard = run.Wizard();
        if (!Name(run, spec.name, kNext)) return;
        if (!run.Await("the destination page", [&] { return ActivePageIndex(wizard) == 1; }))
            return;
        if (!Name(run, copy, kFinish)) return;
        AwaitClosed(run);
    };
    flow.expectCall = [](const Injection& injection) -> std::optional<Outcome> {
        // Opening either container, or the session key's context.
        if (injection.entry == "CPAcquireContext") return Outcome{MB_ICONERROR, true};
        // Releases: nothing is left to tell.
        if (injection.entry == "CPDestroyKey" || injection.entry == "CPReleaseContext")
            return Outcome{};
        // A key whose certificate can't be sized has none; one that sized and then failed
        // to read fails the copy (both keys of the container carry one).
        if (injection.entry == "CPGetKeyParam.26" && injection.call % 2 == 1) return Outcome{};
        if (injection.entry.compare(0, 2, "CP") == 0) return Outcome{MB_ICONEXCLAMATION, true};
        return std::nullopt;
    };
    flow.verify = [&](SweepRun& run, const Injection*) {
        if (!run.StayedOpen() && !ContainerExists(copy, false))
            run.Problem("the wizard closed without the copy");
    };
    SweepResult result = SweepProviderFailures(flow, kRemoved);
    EXPECT_GT(result.failures, 30) << "the copy makes many provider calls";
    DeleteContainer(copy, false);
    fixtures::DeleteContainer(kvcsp::kProviderMain, kvcsp::kType2001, false, spec.name);
}

}  // namespace
