// Whether a certificate installed by a wizard leads to its private key.
#pragma once

#include <windows.h>
#include <wincrypt.h>

namespace wiztest {

// The private key reached through the certificate's link is key `spec` of its container, is the
// certificate's and signs. Wine can't import this provider's keys from a certificate, so the
// signature is verified with the key whose public part equals the certificate's.
void ExpectLinkSigns(PCCERT_CONTEXT certificate, DWORD spec);

}  // namespace wiztest
