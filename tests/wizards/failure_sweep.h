// Runs a wizard flow again and again while the testbed provider fails one call at a time: the
// 1st, 2nd, 3rd ... call of every entry point the flow uses (learned from a clean first run),
// until a run no longer reaches the call. After each run: the program still runs, the failure
// reached the user as the flow says (one box naming the error, or none), the wizard stayed open
// or closed as it must, and no provider context, key or hash is left alive.
#pragma once

#include "driver/driver.h"

#include <windows.h>

#include <functional>
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

// One provider call made to fail: the `call`th of `entry` ("CPExportKey", "CPGetProvParam.133").
struct Injection {
    std::string entry;
    DWORD call = 0;
    DWORD error = 0;
};

// One run as its script saw it. The script runs on the driver's thread and acts only through
// Await and Answer (or the helpers over them), so that a box a failure brings up never stalls it.
class SweepRun {
public:
    HWND Wizard() const { return wizard_; }
    // Waits until `reached` holds (true) or a box shows up: the box is answered (OK, else Cancel
    // or No) and recorded, and the run has left the script's path (false).
    bool Await(const std::string& what, const std::function<bool()>& reached);
    // Waits for a box that belongs to the flow's path (a confirmation) and answers `button`.
    driver::MessageBoxInfo Answer(int button) { return driver::AnswerMessageBox(button); }
    // Types `name` into the active page's container name, if given, and presses `button` once
    // it is enabled.
    bool Press(int button, const std::wstring& name = {});
    bool AwaitPage(int index);
    bool AwaitClosed();
    void Problem(const std::string& what) { problems_.push_back(what); }

    const std::vector<driver::MessageBoxInfo>& Boxes() const { return boxes_; }
    bool StayedOpen() const { return stayedOpen_; }
    const std::vector<std::string>& Problems() const { return problems_; }

private:
    friend class Sweeper;
    void Drive(const std::wstring& caption, const std::function<void(SweepRun&)>& script);

    HWND wizard_ = nullptr;
    bool stayedOpen_ = false;
    std::vector<driver::MessageBoxInfo> boxes_;
    std::vector<std::string> problems_;
};

struct WizardFlow {
    WizardFlow(std::string n, std::wstring c, std::function<INT_PTR()> r)
        : name(std::move(n)), caption(std::move(c)), run(std::move(r)) {}
    std::string name;      // in the summary line
    std::wstring caption;  // the wizard window's title
    // Constructs the wizard, runs it modally and destroys it (on the test's main thread).
    std::function<INT_PTR()> run;
    // Drives the wizard from the driver's thread along the path of a run without failures.
    std::function<void(SweepRun&)> script;
    // What a failure of the call must do; none when the flow has no word for it.
    std::function<std::optional<Outcome>(const Injection& injection)> expect;
    // Optional: before each run, before the failure is armed (its calls are not counted).
    std::function<void()> prepare;
    // Optional: the flow's own checks once the wizard is gone; null when no call failed.
    std::function<void(SweepRun&, const Injection* injection)> verify;
};

// Sweeps `flow`, every injected call failing with a card removed mid-operation (an error no
// step of the flows produces by itself). Each problem is a test failure naming the entry
// point, the call and the error; a crash names them on stderr. Returns the failures that fired.
int SweepProviderFailures(const WizardFlow& flow);

}  // namespace wiztest
