#include "pages/general_page.h"

#include "resource.h"

namespace applet {

CPropPageConfigCSPGeneral::CPropPageConfigCSPGeneral() : CPropPageConfigBase(IDD_PAGE_GENERAL) {}

}  // namespace applet
