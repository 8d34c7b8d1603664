#include "driver/driver.h"

#include <commctrl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace driver {

namespace {

constexpr DWORD kSendTimeoutMs = 5000;
constexpr DWORD kPollMs = 20;
constexpr UINT kFlushMessage = WM_APP + 0x7F1;

// The message-only window that RunModal keeps on its thread for Flush, and the numbers of the
// flush requests posted to it and handled by it.
std::atomic<HWND> g_flusher{nullptr};
std::atomic<unsigned> g_flushPosted{0};
// Guarded by g_flushLock and announced through g_flushDone: the last request handled, and
// whether the modal run of RunModal has returned (its thread reads no more messages, so nothing
// is left to flush).
unsigned g_flushHandled = 0;
bool g_modalReturned = false;
std::mutex g_flushLock;
std::condition_variable g_flushDone;

void AnnounceFlush(unsigned handled, bool modalReturned) {
    {
        std::lock_guard<std::mutex> lock(g_flushLock);
        g_flushHandled = std::max(g_flushHandled, handled);
        g_modalReturned = modalReturned;
    }
    g_flushDone.notify_all();
}

[[noreturn]] void Fail(const std::string& what) { throw Failure(what); }

std::string Describe(HWND hwnd) {
    return "'" + Narrow(Text(hwnd)) + "' (" + Narrow(ClassName(hwnd)) + ")";
}

// SendMessage with a bound: the main thread may be stuck, the driver must not be.
LRESULT Send(HWND hwnd, UINT msg, WPARAM wp = 0, LPARAM lp = 0) {
    DWORD_PTR result = 0;
    if (!::SendMessageTimeoutW(hwnd, msg, wp, lp, SMTO_NORMAL | SMTO_ABORTIFHUNG, kSendTimeoutMs,
                               &result))
        Fail("no answer to message " + std::to_string(msg) + " from " + Describe(hwnd));
    return static_cast<LRESULT>(result);
}

void Post(HWND hwnd, UINT msg, WPARAM wp = 0, LPARAM lp = 0) {
    if (!::PostMessageW(hwnd, msg, wp, lp)) Fail("cannot post to " + Describe(hwnd));
}

bool IsSheet(HWND hwnd) {
    DWORD_PTR page = 0;
    return ::FindWindowExW(hwnd, nullptr, WC_TABCONTROLW, nullptr) ||
           (::SendMessageTimeoutW(hwnd, PSM_GETCURRENTPAGEHWND, 0, 0, SMTO_ABORTIFHUNG,
                                  kSendTimeoutMs, &page) &&
            page);
}

struct Search {
    int id;
    HWND found = nullptr;
};

BOOL CALLBACK FindChild(HWND hwnd, LPARAM lp) {
    auto search = reinterpret_cast<Search*>(lp);
    if (::GetDlgCtrlID(hwnd) != search->id) return TRUE;
    // Prefer a visible control: a sheet's hidden pages may carry the same ids.
    if (!search->found || (!::IsWindowVisible(search->found) && ::IsWindowVisible(hwnd)))
        search->found = hwnd;
    return TRUE;
}

// A person can act on a control only once it shows and takes input.
void WaitUntilUsable(HWND control, const char* action) {
    if (!::IsWindow(control)) Fail(std::string("cannot ") + action + ": the control is gone");
    // Described only on failure: reading its text waits for its thread, which may be busy.
    try {
        WaitUntil([&] { return IsVisible(control) && IsEnabled(control); }, "a control");
    } catch (const Failure&) {
        Fail("timed out after " + std::to_string(kTimeoutMs) + " ms waiting for " +
             Describe(control) + " to be visible and enabled, to " + action + " it; it is " +
             (!::IsWindow(control) ? "gone" : IsVisible(control) ? "disabled" : "hidden"));
    }
}

// The thread's posted queue is first in, first out, also in nested modal loops: when a flush
// request comes out of it, everything posted before it has been dispatched. A request that finds
// more posted work behind it, which what it followed may have posted, goes to the back again.
LRESULT CALLBACK FlusherProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg != kFlushMessage) return ::DefWindowProcW(hwnd, msg, wp, lp);
    if (HIWORD(::GetQueueStatus(QS_POSTMESSAGE)) & QS_POSTMESSAGE)
        ::PostMessageW(hwnd, msg, wp, lp);
    else
        AnnounceFlush(static_cast<unsigned>(wp), false);
    return 0;
}

// The flusher for the length of a RunModal, created on its thread.
class Flusher {
public:
    Flusher() {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = FlusherProc;
        windowClass.hInstance = ::GetModuleHandleW(nullptr);
        windowClass.lpszClassName = L"driver flusher";
        ::RegisterClassW(&windowClass);  // fails harmlessly from the second run on
        hwnd_ = ::CreateWindowExW(0, windowClass.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                  nullptr, windowClass.hInstance, nullptr);
        g_flusher = hwnd_;
    }
    ~Flusher() {
        g_flusher = nullptr;
        if (hwnd_) ::DestroyWindow(hwnd_);
    }
    Flusher(const Flusher&) = delete;
    Flusher& operator=(const Flusher&) = delete;

private:
    HWND hwnd_;
};

}  // namespace

std::string Narrow(const std::wstring& text) {
    int n = ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), nullptr,
                                  0, nullptr, nullptr);
    std::string out(n, '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), out.data(), n,
                          nullptr, nullptr);
    return out;
}

std::vector<HWND> TopLevelWindows(bool anyProcess) {
    struct Search {
        bool anyProcess;
        std::vector<HWND> windows;
    } search{anyProcess, {}};
    ::EnumWindows(
        [](HWND hwnd, LPARAM lp) -> BOOL {
            auto search = reinterpret_cast<Search*>(lp);
            DWORD pid = 0;
            ::GetWindowThreadProcessId(hwnd, &pid);
            if ((search->anyProcess || pid == ::GetCurrentProcessId()) && ::IsWindowVisible(hwnd))
                search->windows.push_back(hwnd);
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.windows;
}

void WaitUntil(const std::function<bool()>& condition, const std::string& what, DWORD timeoutMs) {
    DWORD start = ::GetTickCount();
    while (!condition()) {
        if (::GetTickCount() - start > timeoutMs)
            Fail("timed out after " + std::to_string(timeoutMs) + " ms waiting for " + what);
        ::Sleep(kPollMs);
    }
}

HWND WaitForWindow(const WindowQuery& query, DWORD timeoutMs) {
    HWND found = nullptr;
    WaitUntil(
        [&] {
            for (HWND hwnd : TopLevelWindows(query.anyProcess)) {
                if (!query.className.empty() && ClassName(hwnd) != query.className) continue;
                if (!query.title.empty() && Text(hwnd) != query.title) continue;
                if (query.matchOwner && ::GetWindow(hwnd, GW_OWNER) != query.owner) continue;
                found = hwnd;
                return true;
            }
            return false;
        },
        "window '" + Narrow(query.title) + "' of class '" + Narrow(query.className) + "'",
        timeoutMs);
    return found;
}

void WaitUntilGone(HWND hwnd, DWORD timeoutMs) {
    WaitUntil([&] { return !::IsWindow(hwnd) || !::IsWindowVisible(hwnd); },
              "window " + Describe(hwnd) + " to close", timeoutMs);
}

HWND Item(HWND parent, int id) {
    Search search{id};
    ::EnumChildWindows(parent, FindChild, reinterpret_cast<LPARAM>(&search));
    if (!search.found) Fail("no control " + std::to_string(id) + " in " + Describe(parent));
    return search.found;
}

std::wstring Text(HWND hwnd) {
    wchar_t buffer[4096] = {};
    DWORD_PTR length = 0;
    if (!::SendMessageTimeoutW(hwnd, WM_GETTEXT, 4096, reinterpret_cast<LPARAM>(buffer),
                               SMTO_NORMAL | SMTO_ABORTIFHUNG, kSendTimeoutMs, &length))
        return {};
    return std::wstring(buffer, length);
}

std::wstring ClassName(HWND hwnd) {
    wchar_t buffer[256] = {};
    int n = ::GetClassNameW(hwnd, buffer, 256);
    return std::wstring(buffer, n > 0 ? n : 0);
}

void SetText(HWND hwnd, const std::wstring& text) {
    WaitUntilUsable(hwnd, "type into");
    Send(hwnd, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
}

bool IsEnabled(HWND hwnd) { return ::IsWindowEnabled(hwnd) != FALSE; }
bool IsVisible(HWND hwnd) { return ::IsWindowVisible(hwnd) != FALSE; }
int CheckState(HWND hwnd) { return static_cast<int>(Send(hwnd, BM_GETCHECK)); }

void Click(HWND button) {
    WaitUntilUsable(button, "click");
    // Posted: the click may start a modal loop that would block a sent message.
    Post(button, BM_CLICK);
}

void Click(HWND parent, int id) { Click(Item(parent, id)); }

std::vector<std::wstring> ComboItems(HWND combo) {
    std::vector<std::wstring> items;
    auto count = Send(combo, CB_GETCOUNT);
    for (LRESULT i = 0; i < count; ++i) {
        auto length = Send(combo, CB_GETLBTEXTLEN, i);
        std::wstring text(length + 1, L'\0');
        auto copied = Send(combo, CB_GETLBTEXT, i, reinterpret_cast<LPARAM>(text.data()));
        text.resize(copied > 0 ? copied : 0);
        items.push_back(text);
    }
    return items;
}

int ComboSelection(HWND combo) { return static_cast<int>(Send(combo, CB_GETCURSEL)); }

void SelectCombo(HWND combo, int index) {
    WaitUntilUsable(combo, "select in");
    if (Send(combo, CB_SETCURSEL, index) != index)
        Fail("no item " + std::to_string(index) + " in " + Describe(combo));
    Post(::GetParent(combo), WM_COMMAND, MAKEWPARAM(::GetDlgCtrlID(combo), CBN_SELCHANGE),
         reinterpret_cast<LPARAM>(combo));
}

std::vector<std::vector<std::wstring>> ListRows(HWND list) {
    std::vector<std::vector<std::wstring>> rows;
    HWND header = reinterpret_cast<HWND>(Send(list, LVM_GETHEADER));
    int columns = header ? static_cast<int>(Send(header, HDM_GETITEMCOUNT)) : 1;
    auto count = Send(list, LVM_GETITEMCOUNT);
    for (LRESULT i = 0; i < count; ++i) {
        std::vector<std::wstring> row;
        for (int c = 0; c < std::max(columns, 1); ++c) {
            wchar_t buffer[1024] = {};
            LVITEMW item{};
            item.iSubItem = c;
            item.pszText = buffer;
            item.cchTextMax = 1024;
            auto n = Send(list, LVM_GETITEMTEXTW, i, reinterpret_cast<LPARAM>(&item));
            row.emplace_back(buffer, n);
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

std::wstring ClipboardText() {
    std::wstring text;
    if (!::OpenClipboard(nullptr)) return text;
    if (HANDLE data = ::GetClipboardData(CF_UNICODETEXT)) {
        if (auto chars = static_cast<const wchar_t*>(::GlobalLock(data))) {
            text = chars;
            ::GlobalUnlock(data);
        }
    }
    ::CloseClipboard();
    return text;
}

void ClearClipboard() {
    if (!::OpenClipboard(nullptr)) return;
    ::EmptyClipboard();
    ::CloseClipboard();
}

HWND FocusedWindow(HWND anyWindowOfThatThread) {
    GUITHREADINFO info{};
    info.cbSize = sizeof(info);
    ::GetGUIThreadInfo(::GetWindowThreadProcessId(anyWindowOfThatThread, nullptr), &info);
    return info.hwndFocus;
}

void Flush(DWORD timeoutMs) {
    HWND flusher = g_flusher;
    if (!flusher) Fail("nothing to flush: Flush works while RunModal runs");
    if (::GetWindowThreadProcessId(flusher, nullptr) == ::GetCurrentThreadId())
        Fail("Flush from the thread it would wait for");
    const unsigned number = ++g_flushPosted;
    Post(flusher, kFlushMessage, number);
    std::unique_lock<std::mutex> lock(g_flushLock);
    if (!g_flushDone.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                              [&] { return g_flushHandled >= number || g_modalReturned; }))
        Fail("timed out after " + std::to_string(timeoutMs) +
             " ms waiting for the UI thread to handle what was posted to it");
}

HWND ActivePage(HWND sheet) { return reinterpret_cast<HWND>(Send(sheet, PSM_GETCURRENTPAGEHWND)); }

int ActivePageIndex(HWND sheet) {
    return static_cast<int>(
        Send(sheet, PSM_HWNDTOINDEX, reinterpret_cast<WPARAM>(ActivePage(sheet))));
}

void SetPage(HWND sheet, int index) { Post(sheet, PSM_SETCURSEL, index, 0); }

void PressSheetButton(HWND sheet, int psbtn) { Post(sheet, PSM_PRESSBUTTON, psbtn, 0); }

HWND SheetButton(HWND sheet, int id) {
    HWND button = ::GetDlgItem(sheet, id);
    if (!button) Fail("sheet " + Describe(sheet) + " has no button " + std::to_string(id));
    return button;
}

bool IsMessageBox(HWND hwnd) {
    HWND text = ::GetDlgItem(hwnd, 0xFFFF);
    return ClassName(hwnd) == L"#32770" && text && ClassName(text) == L"Static";
}

MessageBoxInfo WaitForMessageBox(DWORD timeoutMs) {
    MessageBoxInfo info;
    WaitUntil(
        [&] {
            for (HWND hwnd : TopLevelWindows())
                if (IsMessageBox(hwnd)) {
                    info.hwnd = hwnd;
                    return true;
                }
            return false;
        },
        "a message box", timeoutMs);
    info.caption = Text(info.hwnd);
    info.text = Text(::GetDlgItem(info.hwnd, 0xFFFF));
    struct Known {
        LPCWSTR id;
        UINT type;
    };
    static const Known known[] = {{IDI_HAND, MB_ICONERROR},
                                  {IDI_EXCLAMATION, MB_ICONEXCLAMATION},
                                  {IDI_ASTERISK, MB_ICONINFORMATION},
                                  {IDI_QUESTION, MB_ICONQUESTION}};
    for (HWND child = ::GetWindow(info.hwnd, GW_CHILD); child;
         child = ::GetWindow(child, GW_HWNDNEXT)) {
        if ((::GetWindowLongW(child, GWL_STYLE) & SS_TYPEMASK) != SS_ICON) continue;
        auto icon = reinterpret_cast<HICON>(Send(child, STM_GETICON));
        for (const Known& k : known)
            if (icon && icon == ::LoadIconW(nullptr, k.id)) info.icon = k.type;
    }
    return info;
}

MessageBoxInfo AnswerMessageBox(int button, DWORD timeoutMs) {
    MessageBoxInfo info = WaitForMessageBox(timeoutMs);
    HWND control = ::GetDlgItem(info.hwnd, button);
    if (!control)
        Fail("message box '" + Narrow(info.text) + "' has no button " + std::to_string(button));
    Post(info.hwnd, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED), reinterpret_cast<LPARAM>(control));
    WaitUntilGone(info.hwnd);
    return info;
}

INT_PTR RunModal(const std::function<INT_PTR()>& modal, const std::function<void()>& script,
                 DWORD graceMs) {
    Flusher flusher;
    AnnounceFlush(0, false);
    std::atomic<bool> finished{false};
    std::thread worker([&] {
        bool failed = false;
        try {
            script();
        } catch (const std::exception& e) {
            failed = true;
            ADD_FAILURE() << "driver: " << e.what();
        }
        // The script's last step usually ends the modal run; give it time to do so.
        DWORD start = ::GetTickCount();
        while (!finished && !failed && ::GetTickCount() - start < graceMs) ::Sleep(kPollMs);
        if (finished) return;
        std::string open;
        for (HWND hwnd : TopLevelWindows()) open += " " + Describe(hwnd);
        if (!failed) ADD_FAILURE() << "driver: still open after the script:" << open;
        for (int round = 0; !finished && round < 200; ++round) {
            for (HWND hwnd : TopLevelWindows()) {
                if (IsMessageBox(hwnd) || !IsSheet(hwnd))
                    ::PostMessageW(hwnd, WM_COMMAND, IDCANCEL, 0);
                else
                    ::PostMessageW(hwnd, PSM_PRESSBUTTON, PSBTN_CANCEL, 0);
            }
            ::Sleep(50);
        }
        if (!finished) {
            std::fprintf(stderr, "driver: the modal loop does not end; giving up\n");
            std::fflush(stderr);
            ::ExitProcess(3);
        }
    });
    INT_PTR result = modal();
    AnnounceFlush(0, true);
    finished = true;
    worker.join();
    return result;
}

DWORD RunTestsInNewProcess(const std::wstring& filter, DWORD timeoutMs) {
    wchar_t self[MAX_PATH];
    const DWORD length = ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    if (length == 0 || length == MAX_PATH) return 1;
    std::wstring command =
        std::wstring(L"\"") + self + L"\" --gtest_also_run_disabled_tests --gtest_filter=" + filter;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(self, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                          &startup, &process))
        return 1;
    DWORD code = 1;
    if (::WaitForSingleObject(process.hProcess, timeoutMs) == WAIT_OBJECT_0)
        ::GetExitCodeProcess(process.hProcess, &code);
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    return code;
}

}  // namespace driver
