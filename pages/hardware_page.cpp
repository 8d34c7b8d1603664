#include "pages/hardware_page.h"

#include "resource.h"

namespace applet {

CPropPageConfigCSPHardware::CPropPageConfigCSPHardware() : CPropPageConfigBase(IDD_PAGE_HARDWARE) {}

}  // namespace applet
