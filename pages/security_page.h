// The Security page: default providers, key storage mode, caching and Diffie-Hellman control.
#pragma once

#include "applet/page_base.h"

namespace applet {

class CPropPageConfigCSPSecurity : public CPropPageConfigBase {
public:
    CPropPageConfigCSPSecurity();
};

}  // namespace applet
