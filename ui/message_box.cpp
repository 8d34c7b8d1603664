#include "ui/message_box.h"

namespace ui {

int MessageBox(HWND owner, const std::wstring& text, const std::wstring& caption, UINT type,
               DWORD helpId) {
    MSGBOXPARAMSW params{};
    params.cbSize = sizeof(params);
    params.hwndOwner = owner;
    params.lpszText = text.c_str();
    params.lpszCaption = caption.c_str();
    params.dwStyle = type;
    params.dwContextHelpId = helpId;
    return ::MessageBoxIndirectW(&params);
}

}  // namespace ui
