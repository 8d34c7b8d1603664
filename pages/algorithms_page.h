// The Algorithms page: the algorithm parameter sets of each provider type.
#pragma once

#include "applet/page_base.h"

namespace applet {

class CPropPageConfigCSPOID : public CPropPageConfigBase {
public:
    CPropPageConfigCSPOID();
};

}  // namespace applet
