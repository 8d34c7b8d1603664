// The reader library: the reader and carrier type windows, and the start of reader registration,
// which it leaves to the support library next to it.
#include "common/knob.h"
#include "modules/windows.h"
#include "testbed/knobs.h"
#include "testbed/libraries.h"

#include <string>

namespace {

DWORD ShowFor(const RDR_WND_REQUEST* request, WORD dialog, const wchar_t* call) {
    testbed::CountCall(call);
    if (!request || request->size != sizeof(RDR_WND_REQUEST)) return ERROR_INVALID_PARAMETER;
    return testbed::ShowModalWindow(dialog, request->parent);
}

HMODULE SupportLibrary() noexcept {
    if (HMODULE loaded = ::GetModuleHandleW(L"kvsuprt.dll")) return loaded;
    wchar_t path[MAX_PATH];
    DWORD length = ::GetModuleFileNameW(testbed::ThisModule(), path, MAX_PATH);
    if (length == 0 || length == MAX_PATH) return nullptr;
    std::wstring sibling(path, length);
    sibling.replace(sibling.rfind(L'\\') + 1, std::wstring::npos, L"kvsuprt.dll");
    return ::LoadLibraryW(sibling.c_str());
}

}  // namespace

extern "C" {

DWORD rdr_wnd_configure(const RDR_WND_REQUEST* request) {
    return ShowFor(request, IDD_READERS, testbed::knobs::kCallReaders);
}

DWORD rdr_media_wnd_configure(const RDR_WND_REQUEST* request) {
    return ShowFor(request, IDD_CARRIERS, testbed::knobs::kCallCarriers);
}

DWORD rdr_register_start(SUPSYS_CONTEXT* registration) {
    HMODULE support = SupportLibrary();
    FARPROC proc = support ? ::GetProcAddress(support, "supsys_context_new") : nullptr;
    auto start = reinterpret_cast<decltype(&supsys_context_new)>(reinterpret_cast<void*>(proc));
    return start ? start(registration) : static_cast<DWORD>(ERROR_MOD_NOT_FOUND);
}

}  // extern "C"
