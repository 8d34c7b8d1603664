// The Advanced page: versions of the installed modules and the user input timeouts.
#pragma once

#include "applet/page_base.h"

namespace applet {

class CPropPageConfigCSPAdvanced : public CPropPageConfigBase {
public:
    CPropPageConfigCSPAdvanced();
};

}  // namespace applet
