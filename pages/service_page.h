// The Service page: starts the key container wizards and the saved password dialog. It stores
// nothing.
#pragma once

#include "applet/page_base.h"

namespace applet {

class CPropPageConfigCSPServices : public CPropPageConfigBase {
public:
    CPropPageConfigCSPServices();

protected:
    bool OnCommand(UINT id, UINT code) override;
};

}  // namespace applet
