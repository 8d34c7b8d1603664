// The delete saved passwords dialog: removes, for the current user and for the computer, every
// saved password to private keys or only the removable media information. Both live in the
// store's "KeyDevices\passwords" section of the scope; a media record is a subsection that holds
// nothing of its own, while saved passwords are subsections with entries.
#pragma once

#include "applet/lang_bases.h"

#include <set>
#include <string>

namespace applet {

// The store lets this user remove the section.
bool PasswordsDeletable(const wchar_t* section);

// The name of the section's first media record that is not in `skip`; empty when there is none
// or the section can't be searched.
std::wstring FirstMediaRecord(const std::wstring& section, const std::set<std::wstring>& skip = {});

// Removes every media record of the section that the store lets go. Each record is tried once:
// one that stays would otherwise be found again and again.
void DeleteMediaRecords(const std::wstring& section);

class CDialogDeletePasswords : public CDialogLang {
public:
    CDialogDeletePasswords();

protected:
    BOOL OnInitDialog() override;
    void DoDataExchange(ui::DataExchange& dx) override;
    bool OnCommand(UINT id, UINT code) override;
    void OnOK() override;

private:
    struct Scope {
        const wchar_t* section;
        int passwordsBox, mediaBox;
        bool passwords = false, media = false;  // the boxes' check states
        bool deletable = false, hasMedia = false;
    };
    // Deleting every saved password takes the media records with it: the media box follows the
    // passwords box while that is checked.
    void Couple();

    Scope scopes_[2];
};

}  // namespace applet
