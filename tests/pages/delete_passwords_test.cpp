// The delete saved passwords dialog, opened from the Service page: the boxes it offers for the
// store's password sections, how a scope's two boxes go together, and what OK leaves behind.
#include "applet/support.h"
#include "applet_fixture.h"
#include "client.h"
#include "driver/driver.h"
#include "pages/service_page.h"
#include "resource.h"
#include "testbed/knobs.h"
#include "ui/handles.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace {

using namespace driver;
namespace knobs = testbed::knobs;
using Names = std::set<std::wstring>;

struct Scope {
    const wchar_t* section;
    HKEY hive;
    const wchar_t* key;  // where the testbed keeps the section
};
const Scope kUser{L"\\local\\KeyDevices\\passwords", HKEY_CURRENT_USER,
                  L"Software\\Kelvane\\Testbed\\Store\\local\\KeyDevices\\passwords"};
const Scope kComputer{L"\\global\\KeyDevices\\passwords", HKEY_LOCAL_MACHINE,
                      L"Software\\Kelvane\\Testbed\\Store\\global\\KeyDevices\\passwords"};

// Removable media records are subsections with nothing in them; saved passwords hold a value.
void Fill(const Scope& scope, const Names& media, const Names& passwords) {
    for (const std::wstring& name : media)
        support::support_registry_put_section((scope.section + (L"\\" + name)).c_str());
    for (const std::wstring& name : passwords)
        support::support_registry_put_string((scope.section + (L"\\" + name + L"\\pin")).c_str(),
                                             L"secret");
}

// The subsections as the store keeps them; {"-"} when the section is gone.
Names Subsections(const Scope& scope) {
    ui::UniqueHKey hkey;
    if (::RegOpenKeyExW(scope.hive, scope.key, 0, KEY_READ, hkey.put()) != ERROR_SUCCESS)
        return {L"-"};
    Names names;
    wchar_t name[256];
    for (DWORD i = 0; ::RegEnumKeyW(hkey.get(), i, name, 256) == ERROR_SUCCESS; ++i)
        names.insert(name);
    return names;
}

class DeletePasswords : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        for (const Scope& scope : {kUser, kComputer})
            support::support_registry_delete_section(scope.section, 0);
    }

    // Opens the dialog from the Service page and runs `script` on it; the script closes it.
    static void RunDialog(const std::function<void(HWND dialog)>& script) {
        applet::CPropPageConfigCSPServices page;
        applettest::RunPageAlone(page, L"Service", [&](HWND sheet, HWND servicePage) {
            Click(servicePage, IDC_SERVICE_DELETE_PASSWORDS);
            HWND dialog = WaitForWindow({L"#32770", L"Delete saved passwords", sheet, true});
            script(dialog);
            WaitUntilGone(dialog);
        });
    }
};

TEST_F(DeletePasswords, OffersEachScopesBoxesByAccessAndRecords) {
    Fill(kUser, {}, {L"saved"});
    Fill(kComputer, {L"flash"}, {L"saved"});
    RunDialog([](HWND dialog) {
        auto state = [&](int id) {
            return std::pair(CheckState(Item(dialog, id)), IsEnabled(Item(dialog, id)));
        };
        EXPECT_EQ(std::pair(BST_UNCHECKED, true), state(IDC_DELETE_PASSWORDS_USER));
        EXPECT_EQ(std::pair(BST_UNCHECKED, false), state(IDC_DELETE_MEDIA_USER))
            << "saved passwords are no media records";
        EXPECT_EQ(std::pair(BST_UNCHECKED, true), state(IDC_DELETE_MEDIA_COMPUTER));

        for (auto [box, expected] : {std::pair{IDC_DELETE_PASSWORDS_COMPUTER, false},
                                     std::pair{IDC_DELETE_PASSWORDS_COMPUTER, true}}) {
            Click(dialog, box);
            Flush();
            EXPECT_EQ(std::pair(BST_CHECKED, expected), state(IDC_DELETE_MEDIA_COMPUTER));
        }
        Click(dialog, IDC_DELETE_PASSWORDS_USER);
        Flush();
        EXPECT_EQ(std::pair(BST_UNCHECKED, false), state(IDC_DELETE_MEDIA_USER));
        Click(dialog, IDCANCEL);
    });
    EXPECT_EQ(Names{L"saved"}, Subsections(kUser));

    testbed::ScopedKnob readOnly(knobs::kAccess, kComputer.section, knobs::kRead);
    RunDialog([](HWND dialog) {
        EXPECT_FALSE(IsEnabled(Item(dialog, IDC_DELETE_PASSWORDS_COMPUTER)));
        EXPECT_FALSE(IsEnabled(Item(dialog, IDC_DELETE_MEDIA_COMPUTER)));
        Click(dialog, IDOK);
    });
    EXPECT_EQ(Names{L"saved"}, Subsections(kUser)) << "OK with nothing checked";
    EXPECT_EQ((Names{L"flash", L"saved"}), Subsections(kComputer));
}

// A media record the store keeps is tried once; the records after it still go.
TEST_F(DeletePasswords, OkRemovesTheCheckedScopesRecords) {
    for (const Scope& scope : {kUser, kComputer})
        Fill(scope, {L"a-kept", L"b-flash", L"d-floppy"}, {L"c-saved"});
    testbed::ScopedKnob kept(knobs::kAccess, kUser.section + std::wstring(L"\\a-kept"),
                             knobs::kRead);
    RunDialog([](HWND dialog) {
        Click(dialog, IDC_DELETE_MEDIA_USER);
        Click(dialog, IDC_DELETE_PASSWORDS_COMPUTER);
        Flush();
        Click(dialog, IDOK);
    });
    EXPECT_EQ((Names{L"a-kept", L"c-saved"}), Subsections(kUser));
    EXPECT_EQ(Names{L"-"}, Subsections(kComputer));
}

}  // namespace
