#include "common/knob.h"

#include "testbed/knobs.h"

// The linker's symbol for the start of the image that holds it.
extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace testbed {

DWORD ReadKnob(const wchar_t* key, const wchar_t* name, DWORD fallback) noexcept {
    DWORD value = 0;
    DWORD size = sizeof(value);
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_DWORD, nullptr, &value, &size) !=
        ERROR_SUCCESS)
        return fallback;
    return value;
}

void WriteKnob(const wchar_t* key, const wchar_t* name, ULONGLONG value) noexcept {
    ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, REG_QWORD, &value, sizeof(value));
}

void CountCall(const wchar_t* name) noexcept {
    DWORD count = ReadKnob(knobs::kCalls, name, 0) + 1;
    ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, knobs::kCalls, name, REG_DWORD, &count, sizeof(count));
}

namespace {

INT_PTR CALLBACK ModalWindowProc(HWND window, UINT message, WPARAM wparam, LPARAM) noexcept {
    switch (message) {
        case WM_INITDIALOG:
            return TRUE;
        case WM_COMMAND:
            if (LOWORD(wparam) == IDOK || LOWORD(wparam) == IDCANCEL) {
                ::EndDialog(window, LOWORD(wparam));
                return TRUE;
            }
            break;
    }
    return FALSE;
}

}  // namespace

HINSTANCE ThisModule() noexcept {
    return reinterpret_cast<HINSTANCE>(&__ImageBase);
}

DWORD ShowModalWindow(WORD id, HWND parent) noexcept {
    ::SetLastError(ERROR_SUCCESS);
    INT_PTR result =
        ::DialogBoxParamW(ThisModule(), MAKEINTRESOURCEW(id), parent, ModalWindowProc, 0);
    if (result > 0) return ERROR_SUCCESS;
    DWORD error = ::GetLastError();
    return error ? error : ERROR_INVALID_WINDOW_HANDLE;
}

}  // namespace testbed
