// The Hardware page: opens the reader, key carrier and random number generator windows of the
// product's libraries.
#pragma once

#include "applet/page_base.h"

namespace applet {

class CPropPageConfigCSPHardware : public CPropPageConfigBase {
public:
    CPropPageConfigCSPHardware();
};

}  // namespace applet
