// The Hardware page: opens the reader, key carrier and random number generator windows of the
// product's libraries. It also binds the reader library for the Winlogon page, which lists the
// readers through it.
#pragma once

#include "applet/library_binding.h"
#include "applet/page_base.h"
#include "applet/support.h"

namespace applet {

// kvrdr.dll and kvrndm.dll, one binding each for the process.
LibraryBinding& ReaderLibrary();
LibraryBinding& RandomLibrary();

// What the reader library's windows take: the record's own size, then their owner.
struct RdrWindowRequest {
    DWORD size;
    HWND parent;
};
static_assert(sizeof(RdrWindowRequest) == 16, "the reader library checks the size");

// The bound functions; results as the support library's wrappers give them.
DWORD rdr_wnd_configure(const RdrWindowRequest* request);
DWORD rdr_media_wnd_configure(const RdrWindowRequest* request);
DWORD rdr_register_start(support::Context* registration);
DWORD rndm_wnd_configure(HWND parent);

class CPropPageConfigCSPHardware : public CPropPageConfigBase {
public:
    CPropPageConfigCSPHardware();

protected:
    bool OnCommand(UINT id, UINT code) override;
};

}  // namespace applet
