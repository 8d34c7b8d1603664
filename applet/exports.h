// The wizard entry points other programs call with their window as the parent.
#pragma once

#include <windows.h>

extern "C" {
void WINAPI WizDeleteContainer(HWND parent);
void WINAPI WizChangePassword(HWND parent);
void WINAPI WizInstallPrivateCertificate(HWND parent);
void WINAPI WizViewCertificateInContainer(HWND parent);
}
