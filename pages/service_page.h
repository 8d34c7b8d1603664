// The Service page: starts the key container wizards and the saved password dialog.
#pragma once

#include "applet/page_base.h"

namespace applet {

class CPropPageConfigCSPServices : public CPropPageConfigBase {
public:
    CPropPageConfigCSPServices();
};

}  // namespace applet
