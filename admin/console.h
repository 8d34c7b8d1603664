// What the console tool writes: texts for people to the console as Unicode, documents for
// scripts as UTF-8, one-line errors, and progress that only a person watching sees.
#pragma once

#include "applet/strings.h"

#include <windows.h>

#include <string>

namespace admin {

using applet::Utf8;
using applet::Wide;
// `text` with its line breaks made spaces: system error texts end in one of their own.
std::wstring OneLine(std::wstring text);

// Writes `text` to stdout: through the console as it is, or as UTF-8 into a file or pipe.
void WriteOut(const std::wstring& text);
// A UTF-8 document (JSON, CSV) to stdout.
void WriteOutUtf8(const std::string& text);
// "kvadmin: " and the message, as one line on stderr.
void WriteError(const std::wstring& message);

// One line of progress that overwrites the last; nothing unless stderr is a console.
class Progress {
public:
    Progress();
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    void Show(const std::wstring& text);

private:
    bool console_ = false;
    size_t shown_ = 0;
};

}  // namespace admin
