// Runs a wizard flow again and again while the testbed provider fails one call at a time: the
// 1st, 2nd, 3rd ... call of every entry point the flow uses, until a run no longer reaches the
// call. Which entry points those are is learned from a first run without failures, through the
// provider's call counters. After each run: the program still runs, the failure reached the
// user as the flow says it must (a message box naming the error, or the flow's silent path),
// the wizard stayed open or closed as it must, and once the wizard is gone no provider context,
// key or hash is left alive.
#pragma once

#include "driver/driver.h"

#include <windows.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace wiztest {

// What a failure of one provider entry point must lead to.
struct Outcome {
    UINT icon = 0;           // the icon of the one box that tells the user; 0: no box at all
    bool staysOpen = false;  // the wizard is still open when the script has ended
    bool namesError = true;  // the box's text carries the provider's error
};

// One provider call made to fail.
struct Injection {
    std::string entry;  // as the failure knobs name it: "CPExportKey", "CPGetProvParam.133"
    DWORD call = 0;     // the Nth call of the run
    DWORD error = 0;
};
std::string Describe(const Injection& injection);

// One run as its script saw it. The script runs on the driver's thread and acts only through
// Await and Answer, so that a box the failure brings up never stalls it.
class SweepRun {
public:
    HWND Wizard() const { return wizard_; }

    // Waits until `reached` holds (true) or a message box shows up: the box is answered (OK,
    // else Cancel or No) and recorded, and the run has left the script's path (false).
    bool Await(const std::string& what, const std::function<bool()>& reached);
    // Waits for a box that belongs to the flow's path (a confirmation) and answers `button`.
    driver::MessageBoxInfo Answer(int button);
    // Something the flow's own checks found wrong; reported with the injection.
    void Problem(const std::string& what);

    // The boxes the script did not ask for, in order.
    const std::vector<driver::MessageBoxInfo>& Boxes() const { return boxes_; }
    // The wizard was still open when the script ended (the sweep then cancelled it).
    bool StayedOpen() const { return stayedOpen_; }
    const std::vector<std::string>& Problems() const { return problems_; }

private:
    friend class Sweeper;
    // Finds the wizard, runs the script, answers what is left and closes an open wizard.
    void Drive(const std::wstring& caption, const std::function<void(SweepRun&)>& script);
    // Lets the wizard's thread finish what it is doing; answers the boxes it brings up.
    void Settle();
    driver::MessageBoxInfo AnswerAnyBox();

    HWND wizard_ = nullptr;
    bool stayedOpen_ = false;
    std::vector<driver::MessageBoxInfo> boxes_;
    std::vector<std::string> problems_;
};

struct WizardFlow {
    std::string name;      // in the summary line
    std::wstring caption;  // the wizard window's title
    // Constructs the wizard, runs it modally and destroys it (on the test's main thread).
    std::function<INT_PTR()> run;
    // Drives the wizard from the driver's thread along the path of a run without failures.
    std::function<void(SweepRun&)> script;
    // What a failure of `entry` must do; none when the flow has no word for that entry point.
    std::function<std::optional<Outcome>(const std::string& entry)> expect;
    // Optional, in place of `expect`: for flows where the same entry point's calls differ.
    std::function<std::optional<Outcome>(const Injection& injection)> expectCall;
    // Optional: before each run, before the failure is armed (its calls are not counted).
    std::function<void()> prepare;
    // Optional: the flow's own checks once the wizard is gone; `injection` is null when no
    // call failed.
    std::function<void(SweepRun&, const Injection* injection)> verify;
};

struct SweepResult {
    std::map<std::string, long> calls;  // the names swept and their calls in the clean run
    int failures = 0;                   // injected failures that fired
    int runs = 0;                       // wizard runs, the clean one included
    int failedRuns = 0;                 // runs with a problem
    double seconds = 0;
};

// Sweeps `flow`, every injected call failing with `error`. Each problem is a test failure that
// names the entry point, the call and the error; a crash names them on stderr. Prints one
// summary line.
SweepResult SweepProviderFailures(const WizardFlow& flow, DWORD error);

}  // namespace wiztest
