// The Winlogon page: the logon reader, the Winlogon switch and the KDC setting.
#pragma once

#include "applet/page_base.h"

namespace applet {

class CPropPageConfigWLReaders : public CPropPageConfigBase {
public:
    CPropPageConfigWLReaders();
};

}  // namespace applet
