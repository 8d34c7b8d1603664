// The directory service's extended error, which Wine's own activeds.dll does not keep: the last
// one set is handed out until another is set. One per process: the tests use one thread.
#include "testbed/libraries.h"

namespace {

DWORD g_error = 0;
wchar_t g_text[256] = L"";
wchar_t g_provider[256] = L"";

void CopyOut(wchar_t* to, DWORD capacity, const wchar_t* from) {
    if (to && capacity) ::lstrcpynW(to, from, static_cast<int>(capacity));
}

}  // namespace

extern "C" HRESULT WINAPI ADsGetLastError(DWORD* error, wchar_t* text, DWORD textLength,
                                          wchar_t* provider, DWORD providerLength) {
    if (!error) return E_POINTER;
    *error = g_error;
    CopyOut(text, textLength, g_text);
    CopyOut(provider, providerLength, g_provider);
    return S_OK;
}

extern "C" void WINAPI ADsSetLastError(DWORD error, const wchar_t* text, const wchar_t* provider) {
    g_error = error;
    ::lstrcpynW(g_text, text ? text : L"", ARRAYSIZE(g_text));
    ::lstrcpynW(g_provider, provider ? provider : L"", ARRAYSIZE(g_provider));
}
