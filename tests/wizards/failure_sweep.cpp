#include "failure_sweep.h"

#include "testbed/calls.h"
#include "wizard_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>

namespace wiztest {

namespace {

using namespace driver;

// What runs now, for the last words of a program that dies in it.
char g_running[256] = "no wizard run";

LONG WINAPI ReportCrash(EXCEPTION_POINTERS* exception) {
    std::fprintf(stderr, "failure sweep: the program died (exception 0x%08lX) during %s\n",
                 exception ? exception->ExceptionRecord->ExceptionCode : 0UL, g_running);
    std::fflush(stderr);
    return EXCEPTION_EXECUTE_HANDLER;
}

[[noreturn]] void ReportTerminate() {
    std::fprintf(stderr, "failure sweep: the program ended (std::terminate) during %s\n",
                 g_running);
    std::fflush(stderr);
    std::abort();
}

void NoteRunning(const std::string& what) {
    std::snprintf(g_running, sizeof(g_running), "%s", what.c_str());
}

std::string Hex(DWORD value) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08lX", static_cast<unsigned long>(value));
    return text;
}

std::string IconName(UINT icon) {
    switch (icon) {
        case MB_ICONERROR:
            return "error";
        case MB_ICONEXCLAMATION:
            return "exclamation";
        case MB_ICONINFORMATION:
            return "information";
        case MB_ICONQUESTION:
            return "question";
        case 0:
            return "no";
    }
    return "unknown";
}

std::string DescribeBox(const MessageBoxInfo& box) {
    return IconName(box.icon) + " icon, '" + Narrow(box.text) + "'";
}

// A message box of this process, shown or about to be.
HWND AnyMessageBox() {
    struct Search {
        HWND found = nullptr;
    } search;
    ::EnumWindows(
        [](HWND hwnd, LPARAM lp) -> BOOL {
            DWORD pid = 0;
            ::GetWindowThreadProcessId(hwnd, &pid);
            if (pid != ::GetCurrentProcessId() || !IsMessageBox(hwnd)) return TRUE;
            reinterpret_cast<Search*>(lp)->found = hwnd;
            return FALSE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

bool IsOpen(HWND wizard) {
    return wizard && ::IsWindow(wizard) && ::IsWindowVisible(wizard);
}

}  // namespace

std::string Describe(const Injection& injection) {
    return injection.entry + " call " + std::to_string(injection.call) + " failing with " +
           Hex(injection.error);
}

bool SweepRun::Await(const std::string& what, const std::function<bool()>& reached) {
    bool arrived = false;
    WaitUntil(
        [&] {
            arrived = reached();
            return arrived || AnyMessageBox() != nullptr;
        },
        what + " or a message box");
    if (arrived) return true;
    boxes_.push_back(AnswerAnyBox());
    return false;
}

MessageBoxInfo SweepRun::Answer(int button) {
    return AnswerMessageBox(button);
}

void SweepRun::Problem(const std::string& what) {
    problems_.push_back(what);
}

MessageBoxInfo SweepRun::AnswerAnyBox() {
    MessageBoxInfo box = WaitForMessageBox();
    for (int button : {IDOK, IDCANCEL, IDNO})
        if (::GetDlgItem(box.hwnd, button)) return AnswerMessageBox(button);
    throw Failure("message box '" + Narrow(box.text) + "' has no OK, Cancel or No");
}

void SweepRun::Settle() {
    while (IsOpen(wizard_)) {
        Flush();
        if (!AnyMessageBox()) return;
        boxes_.push_back(AnswerAnyBox());
    }
}

void SweepRun::Drive(const std::wstring& caption, const std::function<void(SweepRun&)>& script) {
    try {
        wizard_ = WaitForWindow({L"#32770", caption});
        script(*this);
    } catch (const std::exception& e) {
        Problem(std::string("the script: ") + e.what());
    }
    try {
        Settle();
        stayedOpen_ = IsOpen(wizard_);
        if (stayedOpen_) {
            PressSheetButton(wizard_, PSBTN_CANCEL);
            WaitUntilGone(wizard_);
        }
    } catch (const std::exception& e) {
        Problem(std::string("closing the wizard: ") + e.what());
    }
}

class Sweeper {
public:
    Sweeper(const WizardFlow& flow, DWORD error) : flow_(flow), error_(error) {}

    SweepResult Run() {
        const auto start = std::chrono::steady_clock::now();
        ::SetUnhandledExceptionFilter(ReportCrash);
        std::set_terminate(ReportTerminate);

        SweepRun clean;
        RunOnce(nullptr, clean, &result_.calls);
        if (!clean.Problems().empty()) {
            ADD_FAILURE() << flow_.name << ": the run without failures went wrong; no sweep";
            trouble_ = true;
            return Finish(start);
        }
        // An entry point that takes a parameter is swept one parameter at a time: the same
        // calls, each named by what it asks.
        for (auto it = result_.calls.begin(); it != result_.calls.end();) {
            const std::string qualified = it->first + ".";
            auto next = std::next(it);
            if (next != result_.calls.end() &&
                next->first.compare(0, qualified.size(), qualified) == 0)
                it = result_.calls.erase(it);
            else
                it = next;
        }
        if (result_.calls.empty()) {
            ADD_FAILURE() << flow_.name << ": no provider call to fail";
            trouble_ = true;
        }
        for (const auto& [entry, count] : result_.calls) {
            SweepEntry(entry, count);
            // A wizard that goes wrong everywhere waits out the driver's bound in each run;
            // the first few runs tell enough.
            if (result_.failedRuns >= kEnoughFailedRuns) {
                ADD_FAILURE() << flow_.name << ": stopped after " << result_.failedRuns
                              << " runs went wrong";
                trouble_ = true;
                break;
            }
        }
        return Finish(start);
    }

private:
    static constexpr int kEnoughFailedRuns = 12;

    // Fails the 1st, 2nd ... call of `entry` until a run no longer reaches the call.
    void SweepEntry(const std::string& entry, long count) {
        for (DWORD call = 1; result_.failedRuns < kEnoughFailedRuns; ++call) {
            Injection injection{entry, call, error_};
            SweepRun run;
            bool fired = RunOnce(&injection, run);
            if (fired) ++result_.failures;
            if (!fired) {
                if (static_cast<long>(call) != count + 1) {
                    ADD_FAILURE() << flow_.name << ": " << entry << " was called " << count
                                  << " times in the run without failures, but call " << call
                                  << " was not reached";
                    trouble_ = true;
                }
                return;
            }
            if (static_cast<long>(call) > count) {
                ADD_FAILURE() << flow_.name << ": " << Describe(injection) << " fired, beyond the "
                              << count << " calls of the clean run";
                trouble_ = true;
                return;
            }
        }
    }

    // One run of the wizard, with `injection` armed when given. True when the injected call
    // came (and failed). With `calls`, learns the provider calls that the run made.
    bool RunOnce(const Injection* injection, SweepRun& run,
                 std::map<std::string, long>* calls = nullptr) {
        const std::string what =
            flow_.name + ", " + (injection ? Describe(*injection) : std::string("no failure"));
        NoteRunning(what);
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
        if (calls) {
            for (const auto& [name, count] : testbed::ProviderCalls()) {
                auto old = before.find(name);
                const long made = count - (old == before.end() ? 0 : old->second);
                if (made > 0) (*calls)[name] = made;
            }
        }
        ++result_.runs;

        Judge(fired ? injection : nullptr, alive, run);
        if (flow_.verify) flow_.verify(run, fired ? injection : nullptr);
        if (fired) Note(injection->entry, run);
        for (const std::string& problem : run.Problems()) ADD_FAILURE() << what << ": " << problem;
        if (!run.Problems().empty()) ++result_.failedRuns;
        NoteRunning(flow_.name + ", between runs");
        return fired;
    }

    // What every run must show, whatever the flow.
    void Judge(const Injection* injection, const LiveHandles& before, SweepRun& run) {
        Outcome expected;
        if (injection) {
            std::optional<Outcome> outcome =
                flow_.expectCall ? flow_.expectCall(*injection) : flow_.expect(injection->entry);
            if (!outcome) {
                run.Problem("the flow does not say what a failure of " + injection->entry +
                            " must do");
                return;
            }
            expected = *outcome;
        }
        if (expected.icon == 0) {
            for (const MessageBoxInfo& box : run.Boxes())
                run.Problem("a message box where none belongs: " + DescribeBox(box));
        } else if (run.Boxes().size() != 1) {
            run.Problem("expected one box with the " + IconName(expected.icon) + " icon, saw " +
                        std::to_string(run.Boxes().size()));
            for (const MessageBoxInfo& box : run.Boxes()) run.Problem("  " + DescribeBox(box));
        } else {
            const MessageBoxInfo& box = run.Boxes().front();
            if (box.icon != expected.icon)
                run.Problem("expected the " + IconName(expected.icon) +
                            " icon: " + DescribeBox(box));
            // The error shown must be the provider's, not one of the clean-up that followed.
            const std::string code = Hex(injection->error);
            if (expected.namesError &&
                box.text.find(std::wstring(code.begin(), code.end())) == std::wstring::npos)
                run.Problem("the box does not name " + Hex(injection->error) + ": " +
                            DescribeBox(box));
        }
        if (run.StayedOpen() != expected.staysOpen)
            run.Problem(expected.staysOpen ? "the wizard closed; it must stay open"
                                           : "the wizard stayed open; it must close");
        // Counted from the run's start, so that one leak is blamed on its own run only.
        const LiveHandles live = Live();
        if (live.contexts != before.contexts || live.keys != before.keys ||
            live.hashes != before.hashes)
            run.Problem(
                "left alive after the wizard: " + std::to_string(live.contexts - before.contexts) +
                " contexts, " + std::to_string(live.keys - before.keys) + " keys, " +
                std::to_string(live.hashes - before.hashes) + " hashes");
        for (HWND hwnd : TopLevelWindows())
            run.Problem("a window left open: '" + Narrow(Text(hwnd)) + "'");
    }

    // What the user saw of a failure of `entry`, told once per different sight.
    void Note(const std::string& entry, const SweepRun& run) {
        std::string seen = run.Boxes().empty() ? "no box" : "";
        for (const MessageBoxInfo& box : run.Boxes()) {
            std::string text = Narrow(box.text.substr(0, box.text.find(L'\n')));
            seen += (seen.empty() ? "" : "; ") + IconName(box.icon) + " box '" + text + "'";
        }
        seen += run.StayedOpen() ? ", the wizard stays open" : ", the wizard closes";
        std::vector<std::string>& sights = seen_[entry];
        if (std::find(sights.begin(), sights.end(), seen) == sights.end()) sights.push_back(seen);
    }

    SweepResult Finish(std::chrono::steady_clock::time_point start) {
        result_.seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        const LiveHandles live = Live();
        if (live.contexts || live.keys || live.hashes) {
            ADD_FAILURE() << flow_.name << ": alive after the sweep: " << live.contexts
                          << " contexts, " << live.keys << " keys, " << live.hashes << " hashes";
            trouble_ = true;
        }
        long calls = 0;
        for (const auto& entry : result_.calls) calls += entry.second;
        const std::string verdict =
            result_.failedRuns || trouble_
                ? std::to_string(result_.failedRuns) + " runs went wrong"
                : "all survived, each failure told as it must be, live contexts, keys and hashes 0";
        std::printf(
            "[  SWEEP   ] %s: %d injected failures (%ld calls of %zu entry points) in %d "
            "runs, %s; %.1f s\n",
            flow_.name.c_str(), result_.failures, calls, result_.calls.size(), result_.runs,
            verdict.c_str(), result_.seconds);
        for (const auto& [entry, count] : result_.calls)
            for (const std::string& sight : seen_[entry])
                std::printf("[  SWEEP   ]   %s, %ld call%s: %s\n", entry.c_str(), count,
                            count == 1 ? "" : "s", sight.c_str());
        std::fflush(stdout);
        NoteRunning("no wizard run");
        return result_;
    }

    const WizardFlow& flow_;
    DWORD error_;
    SweepResult result_;
    bool trouble_ = false;  // something beyond the runs went wrong
    std::map<std::string, std::vector<std::string>> seen_;
};

SweepResult SweepProviderFailures(const WizardFlow& flow, DWORD error) {
    return Sweeper(flow, error).Run();
}

}  // namespace wiztest
