// Moves values between a dialog's members and its controls. Loading (save = false) fills the
// controls; saving validates and fills the members, and the first control that fails shows why,
// takes the focus with its text selected, and stops the exchange.
#pragma once

#include <windows.h>

#include <string>

namespace ui {

class DialogBase;

// Framework message ids; their texts live in the string table of each language.
constexpr UINT kIdsNumberRange = 0xF103;  // "%1" = minimum, "%2" = maximum
constexpr UINT kIdsTextTooLong = 0xF110;  // "%1" = the limit

class DataExchange {
public:
    DataExchange(DialogBase& window, bool save) : window_(window), save_(save) {}

    bool Saving() const { return save_; }
    bool Failed() const { return failed_; }

    void Check(int id, bool& checked);
    void Check(int id, int& state);  // BST_UNCHECKED, BST_CHECKED, BST_INDETERMINATE
    // A group of radio buttons that starts at `firstId` and runs to the next WS_GROUP;
    // `index` is the checked one's position, -1 for none.
    void Radio(int firstId, int& index);
    void ComboIndex(int id, int& index);
    // `maxLength` 0 means unlimited; otherwise the edit is limited to it.
    void Text(int id, std::wstring& value, size_t maxLength = 0);
    void Number(int id, int& value, int minimum, int maximum);

    // Shows `message` for control `id` and ends the exchange as failed.
    void Fail(int id, const std::wstring& message);

private:
    HWND Control(int id) const;

    DialogBase& window_;
    bool save_;
    bool failed_ = false;
};

}  // namespace ui
