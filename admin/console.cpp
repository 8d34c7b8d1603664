#include "admin/console.h"

namespace admin {

namespace {

bool IsConsole(HANDLE handle) {
    DWORD mode = 0;
    return handle && handle != INVALID_HANDLE_VALUE && ::GetConsoleMode(handle, &mode);
}

void WriteBytes(HANDLE handle, const std::string& bytes) {
    for (size_t done = 0; done < bytes.size();) {
        DWORD written = 0;
        if (!::WriteFile(handle, bytes.data() + done, static_cast<DWORD>(bytes.size() - done),
                         &written, nullptr) ||
            written == 0)
            return;
        done += written;
    }
}

void Write(DWORD which, const std::wstring& text) {
    HANDLE handle = ::GetStdHandle(which);
    if (!IsConsole(handle)) {
        WriteBytes(handle, Utf8(text));
        return;
    }
    DWORD written = 0;
    ::WriteConsoleW(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

}  // namespace

void WriteOut(const std::wstring& text) {
    Write(STD_OUTPUT_HANDLE, text);
}

void WriteOutUtf8(const std::string& text) {
    HANDLE handle = ::GetStdHandle(STD_OUTPUT_HANDLE);
    if (IsConsole(handle))
        WriteOut(Wide(text));
    else
        WriteBytes(handle, text);
}

std::wstring OneLine(std::wstring text) {
    for (wchar_t& c : text)
        if (c == L'\r' || c == L'\n') c = L' ';
    while (!text.empty() && text.back() == L' ') text.pop_back();
    return text;
}

void WriteError(const std::wstring& message) {
    Write(STD_ERROR_HANDLE, L"kvadmin: " + OneLine(message) + L"\r\n");
}

Progress::Progress() : console_(IsConsole(::GetStdHandle(STD_ERROR_HANDLE))) {}

Progress::~Progress() {
    if (shown_) Write(STD_ERROR_HANDLE, L"\r" + std::wstring(shown_, L' ') + L"\r");
}

void Progress::Show(const std::wstring& text) {
    if (!console_) return;
    // A console line is 80 characters at least; a longer one would wrap and stay.
    std::wstring line = text.substr(0, 79);
    const size_t width = line.size();
    if (width < shown_) line.append(shown_ - width, L' ');
    Write(STD_ERROR_HANDLE, L"\r" + line);
    shown_ = width;
}

}  // namespace admin
