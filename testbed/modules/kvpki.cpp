// The "Vestra PKI" console: counts its starts and ends at once, so that tests see it was opened
// without a window to close.
#include "common/knob.h"
#include "testbed/knobs.h"

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    testbed::CountCall(testbed::knobs::kCallConsole);
    return 0;
}
