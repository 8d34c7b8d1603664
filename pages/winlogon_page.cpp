#include "pages/winlogon_page.h"

#include "resource.h"

namespace applet {

CPropPageConfigWLReaders::CPropPageConfigWLReaders() : CPropPageConfigBase(IDD_PAGE_WINLOGON) {}

}  // namespace applet
