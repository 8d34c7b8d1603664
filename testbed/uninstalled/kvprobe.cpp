// A library that notes how it was loaded: the process's error mode and the root manifest of the
// activation context that was active while it attached.
#include "testbed/libraries.h"

namespace {

UINT g_errorMode = 0;
wchar_t g_manifest[MAX_PATH] = L"";

void NoteActivationContext() {
    HANDLE context = nullptr;
    // No context of its own is active for the process default.
    if (!::GetCurrentActCtx(&context) || !context) return;
    alignas(ACTIVATION_CONTEXT_DETAILED_INFORMATION) BYTE buffer[4096];
    SIZE_T needed = 0;
    if (::QueryActCtxW(0, context, nullptr, ActivationContextDetailedInformation, buffer,
                       sizeof(buffer), &needed)) {
        auto info = reinterpret_cast<const ACTIVATION_CONTEXT_DETAILED_INFORMATION*>(buffer);
        if (info->lpRootManifestPath)
            ::lstrcpynW(g_manifest, info->lpRootManifestPath, ARRAYSIZE(g_manifest));
    }
    ::ReleaseActCtx(context);
}

}  // namespace

extern "C" UINT probe_error_mode(void) { return g_errorMode; }
extern "C" const wchar_t* probe_activation_manifest(void) { return g_manifest; }

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        ::DisableThreadLibraryCalls(instance);
        g_errorMode = ::GetErrorMode();
        NoteActivationContext();
    }
    return TRUE;
}
