// The TLS Settings page: the TLS client and server switches and limits.
#pragma once

#include "applet/page_base.h"

namespace applet {

class CPropPageConfigTLS : public CPropPageConfigBase {
public:
    CPropPageConfigTLS();
};

}  // namespace applet
