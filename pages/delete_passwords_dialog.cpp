#include "pages/delete_passwords_dialog.h"

#include "applet/support.h"
#include "resource.h"
#include "ui/data_exchange.h"

namespace applet {

namespace {

// The name of a search entry; empty when it can't be read.
std::wstring EntryName(support::Value value) {
    DWORD length = 0;
    if (support::support_registry_value_name(value, &length, nullptr) != 0) return {};
    std::wstring name(length, L'\0');
    if (support::support_registry_value_name(value, &length, name.data()) != 0) return {};
    name.resize(length);
    return name;
}

}  // namespace

bool PasswordsDeletable(const wchar_t* section) {
    DWORD rights = support::kRightRemove;
    return support::support_registry_check_access(section, &rights) == 0 &&
           rights == support::kRightRemove;
}

std::wstring FirstMediaRecord(const std::wstring& section, const std::set<std::wstring>& skip) {
    support::UniqueSearch search;
    if (support::support_registry_search_open(section.c_str(), search.put()) != 0) return {};
    support::UniqueValue entry;
    while (support::support_registry_search_next(search.get(), entry.put()) == 0) {
        const std::wstring name = EntryName(entry.get());
        if (name.empty()) return {};
        if (skip.count(name)) continue;
        support::UniqueSearch inner;
        if (support::support_registry_search_open((section + L"\\" + name).c_str(), inner.put()) !=
            0)
            return {};
        support::UniqueValue content;
        if (support::support_registry_search_next(inner.get(), content.put()) != 0) return name;
    }
    return {};
}

void DeleteMediaRecords(const std::wstring& section) {
    std::set<std::wstring> tried;
    for (std::wstring name = FirstMediaRecord(section); !name.empty();
         name = FirstMediaRecord(section, tried)) {
        tried.insert(name);
        support::support_registry_delete_section((section + L"\\" + name).c_str(), 0);
    }
}

CDialogDeletePasswords::CDialogDeletePasswords()
    : CDialogLang(IDD_DELETE_PASSWORDS),
      scopes_{{store::kLocalPasswords, IDC_DELETE_PASSWORDS_USER, IDC_DELETE_MEDIA_USER},
              {store::kGlobalPasswords, IDC_DELETE_PASSWORDS_COMPUTER, IDC_DELETE_MEDIA_COMPUTER}} {
}

BOOL CDialogDeletePasswords::OnInitDialog() {
    CDialogLang::OnInitDialog();
    for (Scope& scope : scopes_) {
        scope.deletable = PasswordsDeletable(scope.section);
        scope.hasMedia = scope.deletable && !FirstMediaRecord(scope.section).empty();
        ::EnableWindow(Item(scope.passwordsBox), scope.deletable);
        ::EnableWindow(Item(scope.mediaBox), scope.hasMedia);
    }
    Couple();
    UpdateData(false);
    return TRUE;
}

void CDialogDeletePasswords::DoDataExchange(ui::DataExchange& dx) {
    for (Scope& scope : scopes_) {
        dx.Check(scope.passwordsBox, scope.passwords);
        dx.Check(scope.mediaBox, scope.media);
    }
}

void CDialogDeletePasswords::Couple() {
    for (Scope& scope : scopes_) {
        if (!scope.hasMedia) continue;
        if (scope.passwords) scope.media = true;
        ::EnableWindow(Item(scope.mediaBox), !scope.passwords);
    }
}

bool CDialogDeletePasswords::OnCommand(UINT id, UINT code) {
    if (code != BN_CLICKED || id < IDC_DELETE_PASSWORDS_USER || id > IDC_DELETE_MEDIA_COMPUTER)
        return false;
    UpdateData(true);
    Couple();
    UpdateData(false);
    return true;
}

void CDialogDeletePasswords::OnOK() {
    UpdateData(true);
    // What the deletions answer changes nothing here: the dialog closes either way.
    for (const Scope& scope : scopes_) {
        if (scope.passwords)
            support::support_registry_delete_section(scope.section, 0);
        else if (scope.media)
            DeleteMediaRecords(scope.section);
    }
    EndDialog(IDOK);
}

}  // namespace applet
