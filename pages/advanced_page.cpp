#include "pages/advanced_page.h"

#include "resource.h"

namespace applet {

CPropPageConfigCSPAdvanced::CPropPageConfigCSPAdvanced() : CPropPageConfigBase(IDD_PAGE_ADVANCED) {}

}  // namespace applet
