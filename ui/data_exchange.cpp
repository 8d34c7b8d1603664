#include "ui/data_exchange.h"

#include "ui/controls.h"
#include "ui/dialog.h"
#include "ui/resources.h"

#include <cerrno>
#include <cwchar>
#include <cwctype>

namespace ui {

HWND DataExchange::Control(int id) const { return failed_ ? nullptr : window_.Item(id); }

namespace {

// Loading an edit while its user types in it: the same text set again would put the caret back
// at the start and announce a change that did not happen.
void Load(const Edit& edit, const std::wstring& text) {
    if (edit.Text() != text) edit.SetText(text);
}

}  // namespace

void DataExchange::Check(int id, int& state) {
    Button button(Control(id));
    if (!button.hwnd()) return;
    if (save_)
        state = button.Check();
    else
        button.SetCheck(state);
}

void DataExchange::Check(int id, bool& checked) {
    int state = checked ? BST_CHECKED : BST_UNCHECKED;
    Check(id, state);
    if (save_) checked = state == BST_CHECKED;
}

void DataExchange::Radio(int firstId, int& index) {
    HWND hwnd = Control(firstId);
    if (!hwnd) return;
    if (save_) index = -1;
    int position = 0;
    do {
        Button button(hwnd);
        if (save_) {
            if (button.IsChecked()) index = position;
        } else {
            button.SetCheck(position == index);
        }
        ++position;
        hwnd = ::GetWindow(hwnd, GW_HWNDNEXT);
    } while (hwnd && !(::GetWindowLongW(hwnd, GWL_STYLE) & WS_GROUP));
}

void DataExchange::ComboIndex(int id, int& index) {
    ComboBox combo(Control(id));
    if (!combo.hwnd()) return;
    if (save_)
        index = combo.Selection();
    else
        combo.Select(index);
}

void DataExchange::Text(int id, std::wstring& value, size_t maxLength) {
    Edit edit(Control(id));
    if (!edit.hwnd()) return;
    if (!save_) {
        if (maxLength) edit.LimitText(static_cast<int>(maxLength));
        Load(edit, value);
        return;
    }
    std::wstring text = edit.Text();
    if (maxLength && text.size() > maxLength) {
        Fail(id, FormatInserts(window_.LoadText(kIdsTextTooLong), {std::to_wstring(maxLength)}));
        return;
    }
    value = std::move(text);
}

void DataExchange::Number(int id, int& value, int minimum, int maximum) {
    Edit edit(Control(id));
    if (!edit.hwnd()) return;
    if (!save_) {
        Load(edit, std::to_wstring(value));
        return;
    }
    std::wstring text = edit.Text();
    const wchar_t* begin = text.c_str();
    while (std::iswspace(*begin)) ++begin;
    wchar_t* end = nullptr;
    errno = 0;
    long long number = std::wcstoll(begin, &end, 10);
    while (end && std::iswspace(*end)) ++end;
    bool parsed = *begin && end && !*end && errno == 0;
    if (!parsed || number < minimum || number > maximum) {
        Fail(id, FormatInserts(window_.LoadText(kIdsNumberRange),
                               {std::to_wstring(minimum), std::to_wstring(maximum)}));
        return;
    }
    value = static_cast<int>(number);
}

void DataExchange::Fail(int id, const std::wstring& message) {
    if (failed_) return;
    failed_ = true;
    window_.MessageBox(message, MB_OK | MB_ICONEXCLAMATION);
    HWND control = window_.Item(id);
    ::SetFocus(control);
    Edit(control).SelectAll();
}

}  // namespace ui
