#include "pages/security_page.h"

#include "resource.h"

namespace applet {

CPropPageConfigCSPSecurity::CPropPageConfigCSPSecurity() : CPropPageConfigBase(IDD_PAGE_SECURITY) {}

}  // namespace applet
