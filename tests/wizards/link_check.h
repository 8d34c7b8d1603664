// Containers and certificates for the certificate wizards' tests, and whether a certificate
// installed by a wizard leads to its private key.
#pragma once

#include "fixtures.h"
#include "ui/handles.h"

#include <windows.h>
#include <wincrypt.h>

#include <string>
#include <vector>

namespace wiztest {

// A container made as `spec` says (a failure fails the test) and what was made for it.
fixtures::Made Make(const fixtures::ContainerSpec& spec);
void Remove(const fixtures::ContainerSpec& spec);
ui::UniqueCryptProv Open(const fixtures::ContainerSpec& spec);

ui::UniqueCertContext Certificate(const std::vector<BYTE>& encoded);
std::vector<BYTE> Encoded(PCCERT_CONTEXT certificate);
std::wstring TempPath(const std::wstring& name);
// The certificate with these bytes in the personal store of the user or the computer, if there.
ui::UniqueCertContext Installed(const std::vector<BYTE>& encoded, bool machine);

// The private key reached through the certificate's link is key `spec` of its container, is the
// certificate's and signs. Wine can't import this provider's keys from a certificate, so the
// signature is verified with the key whose public part equals the certificate's.
void ExpectLinkSigns(PCCERT_CONTEXT certificate, DWORD spec);

}  // namespace wiztest
