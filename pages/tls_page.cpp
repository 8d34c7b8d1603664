#include "pages/tls_page.h"

#include "resource.h"

namespace applet {

CPropPageConfigTLS::CPropPageConfigTLS() : CPropPageConfigBase(IDD_PAGE_TLS) {}

}  // namespace applet
