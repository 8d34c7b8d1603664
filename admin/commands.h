// The console tool's commands over the core: each writes its results to stdout in the
// format asked for and returns the process's exit code.
#pragma once

#include "admin/arguments.h"

#include <nlohmann/json.hpp>

#include <windows.h>

#include <string>
#include <vector>

namespace admin {

enum ExitCode : int {
    kExitOk = 0,      // the check passed, every container read, every link sound
    kExitFailed = 1,  // the check failed, a container unread, a broken link left
    kExitError = 2,   // wrong arguments, or nothing could be done
};

struct Provider {
    std::wstring name;
    DWORD type = 0;
};

// The product's providers the command works on: the one named by --provider, else every one
// (for check: the computer's default among them). An unknown name is an argument error.
std::optional<ArgumentError> ChooseProviders(const Arguments& arguments,
                                             std::vector<Provider>& providers);

int RunCheck(const Arguments& arguments, const Provider& provider);
int RunList(const Arguments& arguments, const std::vector<Provider>& providers);
int RunLinks(const Arguments& arguments, const std::vector<Provider>& providers);
// Exports the computer's settings to a profile, imports one, or compares one with the computer.
int RunSettings(const Arguments& arguments);

// -- Shared by the commands' output ----------------------------------------------------------

// "user" or "machine": the owner as scripts read it.
const char* OwnerName(bool machine);
// The same for people, in the user interface's language.
std::wstring OwnerText(bool machine);
nlohmann::json JsonText(const std::wstring& text);
// The error's text as the applet shows it ("Error 0x... (...) text"), on one line.
std::wstring ErrorLine(DWORD error);
// A UTC file time as ISO 8601 ("2026-04-01T09:30:00Z").
std::string IsoTime(const FILETIME& time);
// Whole days from now until `time`, rounded down: negative once it has passed.
long DaysLeft(const FILETIME& time);
// The document to stdout: indented, UTF-8, one line break at the end.
void WriteJson(const nlohmann::json& document);

}  // namespace admin
