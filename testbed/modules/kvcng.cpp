// The CNG module: its registration entries answer what the knobs say.
#include "common/knob.h"
#include "testbed/knobs.h"

#include <objbase.h>

STDAPI DllRegisterServer() {
    testbed::CountCall(testbed::knobs::kCallCngRegister);
    return static_cast<HRESULT>(
        testbed::ReadKnob(testbed::knobs::kRoot, testbed::knobs::kCngRegisterResult, S_OK));
}

STDAPI DllUnregisterServer() {
    testbed::CountCall(testbed::knobs::kCallCngUnregister);
    return static_cast<HRESULT>(
        testbed::ReadKnob(testbed::knobs::kRoot, testbed::knobs::kCngUnregisterResult, S_OK));
}
