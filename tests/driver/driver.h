// Drives the windows of the test's own process from a second thread, the way a person would:
// the code under test runs its modal loop on the main thread, the script waits for windows,
// reads their state and posts input. Every wait is bounded; a window nobody answers fails the
// test instead of hanging the run.
//
// A script acts only on what it has waited for: the actions below wait until their control shows
// and takes input, and a script that asserts that something did not happen calls Flush first, so
// that the input it posted has been handled. A fixed sleep proves neither.
#pragma once

#include <windows.h>
#include <commctrl.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace driver {

constexpr DWORD kTimeoutMs = 10000;

// Thrown by a wait that timed out or a control that cannot be used; RunModal records it as a
// test failure and closes whatever is still open.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string Narrow(const std::wstring& text);

// A visible top-level window of this process (of any process with `anyProcess`). Empty fields
// match anything; `owner` is compared only when `matchOwner` is set.
struct WindowQuery {
    std::wstring className;
    std::wstring title;
    HWND owner = nullptr;
    bool matchOwner = false;
    bool anyProcess = false;
};
HWND WaitForWindow(const WindowQuery& query, DWORD timeoutMs = kTimeoutMs);
// All visible top-level windows of this process, or of every process.
std::vector<HWND> TopLevelWindows(bool anyProcess = false);
void WaitUntilGone(HWND hwnd, DWORD timeoutMs = kTimeoutMs);
// Polls `condition` until it holds; `what` names it in the failure.
void WaitUntil(const std::function<bool()>& condition, const std::string& what,
               DWORD timeoutMs = kTimeoutMs);

// Controls. `Item` searches all descendants, so a sheet finds its pages' controls.
HWND Item(HWND parent, int id);
std::wstring Text(HWND hwnd);
std::wstring ClassName(HWND hwnd);
bool IsEnabled(HWND hwnd);
bool IsVisible(HWND hwnd);
int CheckState(HWND hwnd);
std::vector<std::wstring> ComboItems(HWND combo);
int ComboSelection(HWND combo);
std::vector<std::vector<std::wstring>> ListRows(HWND list);
HWND FocusedWindow(HWND anyWindowOfThatThread);

// The clipboard's CF_UNICODETEXT ("" when there is none), and emptying it.
std::wstring ClipboardText();
void ClearClipboard();

// Input as a person gives it: each waits (bounded) until its control is visible and enabled, and
// fails naming the control and what it waited for.
void SetText(HWND hwnd, const std::wstring& text);  // an edit also notifies EN_CHANGE
void Click(HWND button);  // posted: the click may open a modal loop
void Click(HWND parent, int id);
void SelectCombo(HWND combo, int index);  // the owner gets CBN_SELCHANGE

// Returns once the thread of RunModal has handled every message posted to it before the call, and
// every message that those posted in turn (PSM_SETWIZBUTTONS from a page change, for instance):
// it has found its posted queue empty. A message whose handler opened a modal loop (a message box)
// counts as handled once that loop runs; the box is then on the screen. Timers and paints may still
// be due. Returns at once when the modal run has ended. Fails outside RunModal, and when the
// thread does not get there within `timeoutMs`.
void Flush(DWORD timeoutMs = kTimeoutMs);

// Property sheets and wizards. Button ids: IDOK, IDCANCEL, kApply, kBack, kNext, kFinish.
constexpr int kApply = 0x3021;
constexpr int kBack = 0x3023;
constexpr int kNext = 0x3024;
constexpr int kFinish = 0x3025;
HWND ActivePage(HWND sheet);
int ActivePageIndex(HWND sheet);
// The sheet's own interface, as the code under test would use it: no wait for the tab or button.
void SetPage(HWND sheet, int index);
void PressSheetButton(HWND sheet, int psbtn);  // PSBTN_*
HWND SheetButton(HWND sheet, int id);

// Message boxes.
struct MessageBoxInfo {
    HWND hwnd = nullptr;
    std::wstring caption;
    std::wstring text;
    UINT icon = 0;  // MB_ICONERROR, MB_ICONEXCLAMATION, MB_ICONINFORMATION, MB_ICONQUESTION or 0
};
bool IsMessageBox(HWND hwnd);
MessageBoxInfo WaitForMessageBox(DWORD timeoutMs = kTimeoutMs);
// Waits for the next message box, presses `button` (IDOK, IDYES, ...) and reports what it said.
MessageBoxInfo AnswerMessageBox(int button, DWORD timeoutMs = kTimeoutMs);

// Runs `modal` on this thread and `script` on a second one. Returns what `modal` returned.
// A failing or timed-out script is recorded; windows still open after the script are closed
// (and recorded as a failure), so the modal run always ends.
INT_PTR RunModal(const std::function<INT_PTR()>& modal, const std::function<void()>& script,
                 DWORD graceMs = 5000);

// Runs this program again with only the tests that `filter` names (a gtest filter; disabled
// tests included) and returns its exit code: for code that reads the system's state once per
// process. Nonzero when the program could not be started or did not end within `timeoutMs`.
DWORD RunTestsInNewProcess(const std::wstring& filter, DWORD timeoutMs = 120000);

}  // namespace driver
