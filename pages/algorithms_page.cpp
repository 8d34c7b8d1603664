#include "pages/algorithms_page.h"

#include "resource.h"

namespace applet {

CPropPageConfigCSPOID::CPropPageConfigCSPOID() : CPropPageConfigBase(IDD_PAGE_ALGORITHMS) {}

}  // namespace applet
