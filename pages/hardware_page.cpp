#include "pages/hardware_page.h"

#include "applet/strings.h"
#include "resource.h"

namespace applet {

namespace {

enum ReaderSlot : size_t { kReaderWindow, kCarrierWindow, kRegisterStart };
enum RandomSlot : size_t { kRandomWindow };

using WindowRequestFn = DWORD (*)(const RdrWindowRequest*);

// Runs `open` while holding a reference on `library`. The windows report their own errors, so
// only a library that can't be loaded at all is the page's to tell.
template <class Open>
void WithLibrary(LibraryBinding& library, UINT missingId, Open open) {
    if (library.AddRef() != 0) {
        MessageBoxId(missingId, MB_ICONERROR);
        return;
    }
    open();
    library.Release();
}

}  // namespace

LibraryBinding& ReaderLibrary() {
    static LibraryBinding binding(
        L"kvrdr.dll", {"rdr_wnd_configure", "rdr_media_wnd_configure", "rdr_register_start"});
    return binding;
}

LibraryBinding& RandomLibrary() {
    static LibraryBinding binding(L"kvrndm.dll", {"rndm_wnd_configure"});
    return binding;
}

DWORD rdr_wnd_configure(const RdrWindowRequest* request) {
    return ReaderLibrary().Call<WindowRequestFn>(kReaderWindow, request);
}
DWORD rdr_media_wnd_configure(const RdrWindowRequest* request) {
    return ReaderLibrary().Call<WindowRequestFn>(kCarrierWindow, request);
}
DWORD rdr_register_start(support::Context* registration) {
    return ReaderLibrary().Call<DWORD (*)(support::Context*)>(kRegisterStart, registration);
}
DWORD rndm_wnd_configure(HWND parent) {
    return RandomLibrary().Call<DWORD (*)(HWND)>(kRandomWindow, parent);
}

CPropPageConfigCSPHardware::CPropPageConfigCSPHardware() : CPropPageConfigBase(IDD_PAGE_HARDWARE) {}

bool CPropPageConfigCSPHardware::OnCommand(UINT id, UINT code) {
    if (code != BN_CLICKED) return false;
    const RdrWindowRequest request{sizeof(RdrWindowRequest), hwnd()};
    switch (id) {
        case IDC_HARDWARE_READERS:
            WithLibrary(ReaderLibrary(), IDS_RDR_LIBRARY_MISSING,
                        [&] { rdr_wnd_configure(&request); });
            return true;
        case IDC_HARDWARE_CARRIERS:
            WithLibrary(ReaderLibrary(), IDS_RDR_LIBRARY_MISSING,
                        [&] { rdr_media_wnd_configure(&request); });
            return true;
        case IDC_HARDWARE_RNG:
            WithLibrary(RandomLibrary(), IDS_RNDM_LIBRARY_MISSING,
                        [&] { rndm_wnd_configure(hwnd()); });
            return true;
        default:
            return false;
    }
}

}  // namespace applet
