// The directory functions of a domain controller: the domain's controllers with the identifier
// of each (its directory object GUID), and the repair of the certificate templates so that they
// prescribe no providers and accept 512-bit keys.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace applet {

struct DomainControllerEntry {
    std::wstring name;        // "dNSHostName"
    std::wstring identifier;  // "objectGUID" as UuidToStringW writes it
};

// The computers under "OU=Domain Controllers" of the default naming context, in the directory's
// order; one without a name or a GUID is left out. Fails with the code of a bind or a Get that
// the listing can't do without.
HRESULT ListDomainControllers(std::vector<DomainControllerEntry>& controllers);

// An identifier as it is shown and exported: in braces.
std::wstring ShownIdentifier(const std::wstring& identifier);

// The export file: per controller its name, then its shown identifier, each on a line of its own
// ended by CR LF.
std::string ExportText(const std::vector<DomainControllerEntry>& controllers);
// Creates `path` anew with ExportText; false with the thread's last error when it can't.
bool WriteExportFile(const std::wstring& path,
                     const std::vector<DomainControllerEntry>& controllers);

// True when either template prescribes providers or a minimal key size other than 512. A
// template that can't be reached needs no repair.
bool TemplatesNeedRepair();
// Clears both templates' providers and sets their minimal key size to 512; the first failing
// step's code.
HRESULT RepairTemplates();

}  // namespace applet
