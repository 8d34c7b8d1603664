// What the installer and the provider say about this installation: its product code and
// properties, the product's own provider, the provider's version, and the management console.
#pragma once

#include <windows.h>

#include <string>

namespace applet {

// The installer product that installed this module (its component path is our file), else the
// product's usual code.
std::wstring InstallationProductCode();

// An installer property of the installation ("VersionString", "InstalledProductName",
// "URLInfoAbout", "URLUpdateInfo"), else of the product's other edition; "" when neither has it.
std::wstring ProductProperty(const std::wstring& productCode, const wchar_t* name);

// The name of the product's own provider as the configuration store records it for the
// installation; "" when it can't be read.
std::wstring ProductProviderName(const std::wstring& productCode);

// "major.minor.build" with the protection class and " Debug" for a debug build, from a
// verification context of type 75 on `provider`; "" when the provider can't tell.
std::wstring CoreVersionText(const std::wstring& provider);
std::wstring FormatCoreVersion(DWORD version, DWORD build, DWORD protectionClass, bool debug);

// The file of the "Vestra PKI" console, from whichever of its installer components is installed
// locally; "" when neither is.
std::wstring ConsolePath();

}  // namespace applet
