// The random number generator library: its configuration window.
#include "common/knob.h"
#include "modules/windows.h"
#include "testbed/knobs.h"
#include "testbed/libraries.h"

extern "C" DWORD rndm_wnd_configure(HWND parent) {
    testbed::CountCall(testbed::knobs::kCallRng);
    return testbed::ShowModalWindow(IDD_RNG, parent);
}
