// The crypt library: only the thread default provider, which it records for tests.
#include "common/knob.h"
#include "testbed/knobs.h"
#include "testbed/libraries.h"

extern "C" BOOL WINAPI SetThreadDefaultCryptProv(HCRYPTPROV prov) {
    testbed::CountCall(testbed::knobs::kCallThreadDefaultProv);
    testbed::WriteKnob(testbed::knobs::kRoot, testbed::knobs::kThreadDefaultProv, prov);
    return TRUE;
}
