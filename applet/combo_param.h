// A combo box over one of the provider's parameters: it lists the values the provider offers
// (one enumerating parameter) and selects and writes back the current one (a value parameter).
// The values are passed through as the provider's bytes.
#pragma once

#include "ui/controls.h"

#include <windows.h>
#include <wincrypt.h>

#include <string>
#include <vector>

namespace applet {

// One entry of an enumerating parameter: what the list shows and the bytes that select it.
struct ParamEntry {
    std::wstring text;
    std::vector<BYTE> value;
};

// The provider's entry record: a 32-bit string id (0: the name follows as NUL-terminated
// UTF-16), the 32-bit length of the value, the name, then the value. Names given by id come from
// the applet's string table. False when the record is malformed.
bool ParseParamEntry(const BYTE* data, DWORD length, ParamEntry& entry);

// Which entry shows `current`: the last one whose bytes equal it exactly, else the first.
int MatchingEntry(const std::vector<ParamEntry>& entries, const std::vector<BYTE>& current);

class CComboParam : public ui::ComboBox {
public:
    CComboParam(DWORD enumParam, DWORD valueParam);

    void SetWindow(HWND combo) { hwnd_ = combo; }
    // Empties the list and fills it from `provider`; none (0), or a provider that cannot give
    // the list or the current value, leaves it disabled.
    void Attach(HCRYPTPROV provider);
    // The selection differs from the one the list was filled with.
    bool IsModified() const;
    // Writes the selected entry's value when it is modified. The provider's answer is not
    // checked: what it refuses stays as it was.
    void Save();

    const std::vector<ParamEntry>& Entries() const { return entries_; }

private:
    bool Fill();

    DWORD enumParam_;
    DWORD valueParam_;
    HCRYPTPROV provider_ = 0;
    std::vector<ParamEntry> entries_;
    int filledIndex_ = -1;
};

}  // namespace applet
