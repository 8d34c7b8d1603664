// The version of a file as the applet shows it everywhere: the four parts of its fixed file
// version, "major.minor.build.revision".
#pragma once

#include <string>

namespace applet {

// "" when the file cannot be read or carries no version resource.
std::wstring FileVersionString(const std::wstring& path);

}  // namespace applet
