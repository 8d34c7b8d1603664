#include "pages/service_page.h"

#include "resource.h"

namespace applet {

CPropPageConfigCSPServices::CPropPageConfigCSPServices() : CPropPageConfigBase(IDD_PAGE_SERVICE) {}

}  // namespace applet
