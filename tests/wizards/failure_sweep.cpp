#include "failure_sweep.h"

#include "resource.h"
#include "testbed/calls.h"
#include "wizard_fixture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <exception>
#include <map>

namespace wiztest {

namespace {

using namespace driver;

constexpr DWORD kRemoved = static_cast<DWORD>(SCARD_W_REMOVED_CARD);
// A wizard that goes wrong everywhere waits out the driver's bound in each run; a few tell enough.
constexpr int kEnoughFailedRuns = 12;

// What runs now, for the last words of a program that dies in it.
char g_running[256] = "no wizard run";

LONG WINAPI ReportCrash(EXCEPTION_POINTERS* exception) {
    std::fprintf(stderr, "failure sweep: the program died (exception 0x%08lX) during %s\n",
                 exception ? exception->ExceptionRecord->ExceptionCode : 0UL, g_running);
    std::fflush(stderr);
    return EXCEPTION_EXECUTE_HANDLER;
}

std::string Hex(DWORD value) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08lX", static_cast<unsigned long>(value));
    return text;
}

std::string Describe(const Injection& injection) {
    return injection.entry + " call " + std::to_string(injection.call) + " failing with " +
           Hex(injection.error);
}

std::string DescribeBox(const MessageBoxInfo& box) {
    return "icon " + std::to_string(box.icon) + ", '" + Narrow(box.text) + "'";
}

// A message box of this process on the screen (one just answered may linger hidden).
HWND AnyMessageBox() {
    for (HWND hwnd : TopLevelWindows())
        if (IsMessageBox(hwnd)) return hwnd;
    return nullptr;
}

bool IsOpen(HWND wizard) {
    return wizard && ::IsWindow(wizard) && ::IsWindowVisible(wizard);
}

MessageBoxInfo AnswerAnyBox() {
    MessageBoxInfo box = WaitForMessageBox();
    for (int button : {IDOK, IDCANCEL, IDNO})
        if (::GetDlgItem(box.hwnd, button)) return AnswerMessageBox(button);
    throw Failure("message box '" + Narrow(box.text) + "' has no OK, Cancel or No");
}

}  // namespace

bool SweepRun::Await(const std::string& what, const std::function<bool()>& reached) {
    bool arrived = false;
    WaitUntil([&] { return (arrived = reached()) || AnyMessageBox(); }, what + " or a box");
    if (!arrived) boxes_.push_back(AnswerAnyBox());
    return arrived;
}

bool SweepRun::Press(int button, const std::wstring& name) {
    if (!name.empty()) SetText(Item(ActivePage(wizard_), IDC_SELECT_NAME), name);
    HWND b = SheetButton(wizard_, button);
    if (!Await("the button enabled", [&] { return IsVisible(b) && IsEnabled(b); })) return false;
    Click(b);
    return true;
}

bool SweepRun::AwaitPage(int index) {
    return Await("page " + std::to_string(index),
                 [&] { return ActivePageIndex(wizard_) == index; });
}

bool SweepRun::AwaitClosed() {
    return Await("the wizard closed", [&] { return !IsOpen(wizard_); });
}

void SweepRun::Drive(const std::wstring& caption, const std::function<void(SweepRun&)>& script) {
    try {
        wizard_ = WaitForWindow({L"#32770", caption});
        script(*this);
    } catch (const std::exception& e) {
        Problem(std::string("the script: ") + e.what());
    }
    try {
        // Lets the wizard finish what it is doing, answering the boxes it brings up.
        for (Flush(); IsOpen(wizard_) && AnyMessageBox(); Flush())
            boxes_.push_back(AnswerAnyBox());
        if ((stayedOpen_ = IsOpen(wizard_))) {
            PressSheetButton(wizard_, PSBTN_CANCEL);
            WaitUntilGone(wizard_);
        }
    } catch (const std::exception& e) {
        Problem(std::string("closing the wizard: ") + e.what());
    }
}

class Sweeper {
public:
    explicit Sweeper(const WizardFlow& flow) : flow_(flow) {}

    int Run() {
        ::SetUnhandledExceptionFilter(ReportCrash);
        std::map<std::string, long> calls;
        SweepRun clean;
        RunOnce(nullptr, clean, &calls);
        if (!clean.Problems().empty()) {
            ADD_FAILURE() << flow_.name << ": the run without failures went wrong; no sweep";
            return 0;
        }
        // An entry point that takes a parameter is swept one parameter at a time.
        for (auto it = calls.begin(); it != calls.end();) {
            auto next = std::next(it);
            it = next != calls.end() && next->first.rfind(it->first + ".", 0) == 0
                     ? calls.erase(it)
                     : next;
        }
        EXPECT_FALSE(calls.empty()) << flow_.name << ": no provider call to fail";
        int fired = 0;
        for (const auto& [entry, count] : calls) {
            for (DWORD call = 1; failedRuns_ < kEnoughFailedRuns; ++call) {
                Injection injection{entry, call, kRemoved};
                SweepRun run;
                if (!RunOnce(&injection, run)) {
                    EXPECT_EQ(count + 1, static_cast<long>(call))
                        << flow_.name << ": " << entry << " calls reached, against the clean run";
                    break;
                }
                ++fired;
                if (static_cast<long>(call) > count) {
                    ADD_FAILURE() << flow_.name << ": " << Describe(injection)
                                  << " fired beyond the clean run's " << count << " calls";
                    break;
                }
            }
        }
        EXPECT_LT(failedRuns_, kEnoughFailedRuns) << flow_.name << ": stopped, too many went wrong";
        const LiveHandles live = Live();
        EXPECT_EQ(0, live.contexts + live.keys + live.hashes) << flow_.name << ": alive after";
        std::printf("[  SWEEP   ] %s: %d injected failures of %zu entry points in %d runs, %d "
                    "went wrong\n",
                    flow_.name.c_str(), fired, calls.size(), runs_, failedRuns_);
        std::snprintf(g_running, sizeof(g_running), "no wizard run");
        return fired;
    }

private:
    // One run, with `injection` armed when given; true when the injected call came. With
    // `calls`, learns the provider calls that the run made.
    bool RunOnce(const Injection* injection, SweepRun& run,
                 std::map<std::string, long>* calls = nullptr) {
        const std::string what =
            flow_.name + ", " + (injection ? Describe(*injection) : std::string("no failure"));
        std::snprintf(g_running, sizeof(g_running), "%s", what.c_str());
        if (flow_.prepare) flow_.prepare();
        const std::map<std::string, long> before = testbed::ProviderCalls();
        const LiveHandles alive = Live();
        bool fired = false;
        {
            std::optional<InjectedFailure> armed;
            if (injection) armed.emplace(injection->entry, injection->call, injection->error);
            RunModal(flow_.run, [&] { run.Drive(flow_.caption, flow_.script); });
            fired = armed && armed->Fired();
        }  // the knob goes when its call did not come
        if (calls)
            for (const auto& [name, count] : testbed::ProviderCalls()) {
                auto old = before.find(name);
                if (count > (old == before.end() ? 0 : old->second))
                    (*calls)[name] = count - (old == before.end() ? 0 : old->second);
            }
        ++runs_;
        Judge(fired ? injection : nullptr, alive, run);
        if (flow_.verify) flow_.verify(run, fired ? injection : nullptr);
        for (const std::string& problem : run.Problems()) ADD_FAILURE() << what << ": " << problem;
        if (!run.Problems().empty()) ++failedRuns_;
        return fired;
    }

    // What every run must show, whatever the flow.
    void Judge(const Injection* injection, const LiveHandles& before, SweepRun& run) {
        Outcome expected;
        if (injection) {
            std::optional<Outcome> outcome = flow_.expect(*injection);
            if (!outcome)
                return run.Problem("the flow does not say what a failure of " + injection->entry +
                                   " must do");
            expected = *outcome;
        }
        const auto& boxes = run.Boxes();
        if (expected.icon == 0 ? !boxes.empty() : boxes.size() != 1) {
            run.Problem("expected " + std::to_string(expected.icon ? 1 : 0) +
                        " box with icon " + std::to_string(expected.icon) + ", saw:");
            for (const MessageBoxInfo& box : boxes) run.Problem("  " + DescribeBox(box));
        } else if (expected.icon) {
            // The error shown must be the provider's, not one of the clean-up that followed.
            const std::string code = Hex(injection->error);
            if (boxes[0].icon != expected.icon ||
                (expected.namesError &&
                 boxes[0].text.find(std::wstring(code.begin(), code.end())) == std::wstring::npos))
                run.Problem("expected icon " + std::to_string(expected.icon) +
                            (expected.namesError ? " naming " + code : "") + ": " +
                            DescribeBox(boxes[0]));
        }
        if (run.StayedOpen() != expected.staysOpen)
            run.Problem(expected.staysOpen ? "the wizard closed; it must stay open"
                                           : "the wizard stayed open; it must close");
        // Counted from the run's start, so that one leak is blamed on its own run only.
        const LiveHandles live = Live();
        if (live.contexts != before.contexts || live.keys != before.keys ||
            live.hashes != before.hashes)
            run.Problem("left alive: " + std::to_string(live.contexts - before.contexts) +
                        " contexts, " + std::to_string(live.keys - before.keys) + " keys, " +
                        std::to_string(live.hashes - before.hashes) + " hashes");
        for (HWND hwnd : TopLevelWindows())
            run.Problem("a window left open: '" + Narrow(Text(hwnd)) + "'");
    }

    const WizardFlow& flow_;
    int runs_ = 0, failedRuns_ = 0;
};

int SweepProviderFailures(const WizardFlow& flow) {
    return Sweeper(flow).Run();
}

}  // namespace wiztest
