// A combo box over one of the provider's parameters: it lists the values the provider offers
// (one enumerating parameter) and selects and writes back the current one (a value parameter).
// The values are passed through as the provider's bytes.
#pragma once

#include "applet/param_sets.h"
#include "ui/controls.h"

#include <windows.h>
#include <wincrypt.h>

#include <string>
#include <vector>

namespace applet {

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
