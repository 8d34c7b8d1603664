// The applet module's entry points.
#include "applet/application.h"

#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) ::DisableThreadLibraryCalls(instance);
    return TRUE;
}

extern "C" __declspec(dllexport) LONG APIENTRY CPlApplet(HWND hwndCPl, UINT message,
                                                         LPARAM lParam1, LPARAM lParam2) {
    return applet::ControlPanelEntry(applet::TheApp(), hwndCPl, message, lParam1, lParam2);
}
