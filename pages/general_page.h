// The General page: versions, the display language, the administrator and console links.
#pragma once

#include "applet/page_base.h"

namespace applet {

class CPropPageConfigCSPGeneral : public CPropPageConfigBase {
public:
    CPropPageConfigCSPGeneral();
};

}  // namespace applet
