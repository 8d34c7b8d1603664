// The keys storage service, as far as the applet can see it: a service named "kvcsp1" that the
// service manager knows. Started, it reports itself running until it is told to stop; it keeps
// no keys.
#include <windows.h>

namespace {

wchar_t g_name[] = L"kvcsp1";
SERVICE_STATUS_HANDLE g_status = nullptr;
HANDLE g_stop = nullptr;

void Report(DWORD state) {
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
    ::SetServiceStatus(g_status, &status);
}

DWORD WINAPI Control(DWORD control, DWORD, void*, void*) {
    if (control == SERVICE_CONTROL_STOP || control == SERVICE_CONTROL_SHUTDOWN) {
        Report(SERVICE_STOP_PENDING);
        ::SetEvent(g_stop);
    }
    return NO_ERROR;
}

void WINAPI ServiceMain(DWORD, wchar_t**) {
    g_status = ::RegisterServiceCtrlHandlerExW(g_name, Control, nullptr);
    if (!g_status) return;
    g_stop = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    Report(SERVICE_RUNNING);
    ::WaitForSingleObject(g_stop, INFINITE);
    Report(SERVICE_STOPPED);
}

}  // namespace

int main() {
    SERVICE_TABLE_ENTRYW services[] = {{g_name, ServiceMain}, {nullptr, nullptr}};
    return ::StartServiceCtrlDispatcherW(services) ? 0 : 1;
}
