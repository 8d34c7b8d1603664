// The delete saved passwords dialog, opened from the Service page: which boxes it offers for the
// store's password sections, how a scope's two boxes go together, and what OK leaves in the
// store.
#include "applet/support.h"
#include "applet_fixture.h"
#include "driver/driver.h"
#include "pages/delete_passwords_dialog.h"
#include "pages/service_page.h"
#include "resource.h"
#include "testbed/knobs.h"
#include "ui/handles.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <functional>
#include <set>
#include <string>

namespace {

using namespace driver;
namespace knobs = testbed::knobs;

constexpr wchar_t kLocal[] = L"\\local\\KeyDevices\\passwords";
constexpr wchar_t kGlobal[] = L"\\global\\KeyDevices\\passwords";

std::wstring Child(const wchar_t* section, const wchar_t* name) {
    return std::wstring(section) + L"\\" + name;
}

// A removable media record: a subsection with nothing in it.
void AddMedia(const wchar_t* section, const wchar_t* name) {
    ASSERT_EQ(0u, support::support_registry_put_section(Child(section, name).c_str()));
}

// A saved password: a subsection holding the password.
void AddPassword(const wchar_t* section, const wchar_t* name) {
    ASSERT_EQ(0u, support::support_registry_put_string(
                      (Child(section, name) + L"\\password").c_str(), L"secret"));
}

// The subsections of a passwords section as the store keeps them; "-" when the section is gone.
std::set<std::wstring> Subsections(const wchar_t* section) {
    const bool local = std::wcscmp(section, kLocal) == 0;
    const std::wstring key = std::wstring(L"Software\\Kelvane\\Testbed\\Store\\") +
                             (local ? L"local" : L"global") + L"\\KeyDevices\\passwords";
    ui::UniqueHKey hkey;
    if (::RegOpenKeyExW(local ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE, key.c_str(), 0,
                        KEY_ENUMERATE_SUB_KEYS, hkey.put()) != ERROR_SUCCESS)
        return {L"-"};
    std::set<std::wstring> names;
    wchar_t name[256];
    for (DWORD i = 0; ::RegEnumKeyW(hkey.get(), i, name, 256) == ERROR_SUCCESS; ++i)
        names.insert(name);
    return names;
}

void SetRights(const std::wstring& path, DWORD rights) {
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, knobs::kAccess, path.c_str(),
                                               REG_DWORD, &rights, sizeof(rights)));
}

class DeletePasswords : public ::testing::Test {
protected:
    void SetUp() override { Clear(); }
    void TearDown() override { Clear(); }
    static void Clear() {
        for (const std::wstring& path : {std::wstring(kGlobal), Child(kLocal, L"a-kept")})
            ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, knobs::kAccess, path.c_str());
        for (const wchar_t* section : {kLocal, kGlobal})
            support::support_registry_delete_section(section, 0);
    }

    // Opens the dialog from the Service page of a sheet and runs `script` on it; the sheet is
    // closed with OK once the dialog has gone.
    static void RunDialog(const std::function<void(HWND dialog)>& script) {
        applet::CPropPageConfigCSPServices page;
        ui::PropertySheet sheet;
        sheet.SetCaption(L"Service page test");
        sheet.AddPage(page);
        RunModal(
            [&] { return sheet.DoModal(); },
            [&] {
                HWND hwnd = WaitForWindow({L"#32770", L"Service page test"});
                Click(ActivePage(hwnd), IDC_SERVICE_DELETE_PASSWORDS);
                HWND dialog = WaitForWindow({L"#32770", L"Delete saved passwords", hwnd, true});
                EXPECT_FALSE(IsEnabled(hwnd)) << "the dialog is modal";
                script(dialog);
                WaitUntilGone(dialog);
                PressSheetButton(hwnd, PSBTN_OK);
                WaitUntilGone(hwnd);
            });
    }
};

// Each box is offered for what its scope holds, and a scope's media box follows its passwords
// box while that is checked.
TEST_F(DeletePasswords, OffersEachScopesBoxesByAccessAndRecords) {
    AddPassword(kLocal, L"saved");
    AddMedia(kGlobal, L"flash");
    AddPassword(kGlobal, L"saved");
    RunDialog([](HWND dialog) {
        for (int id : {IDC_DELETE_PASSWORDS_USER, IDC_DELETE_PASSWORDS_COMPUTER,
                       IDC_DELETE_MEDIA_USER, IDC_DELETE_MEDIA_COMPUTER})
            EXPECT_EQ(BST_UNCHECKED, CheckState(Item(dialog, id))) << id;
        EXPECT_TRUE(IsEnabled(Item(dialog, IDC_DELETE_PASSWORDS_USER)));
        EXPECT_FALSE(IsEnabled(Item(dialog, IDC_DELETE_MEDIA_USER)))
            << "saved passwords are no media records";
        EXPECT_TRUE(IsEnabled(Item(dialog, IDC_DELETE_MEDIA_COMPUTER)));

        HWND media = Item(dialog, IDC_DELETE_MEDIA_COMPUTER);
        Click(dialog, IDC_DELETE_PASSWORDS_COMPUTER);
        Flush();
        EXPECT_EQ(BST_CHECKED, CheckState(media));
        EXPECT_FALSE(IsEnabled(media));
        Click(dialog, IDC_DELETE_PASSWORDS_COMPUTER);
        Flush();
        EXPECT_EQ(BST_CHECKED, CheckState(media)) << "kept";
        EXPECT_TRUE(IsEnabled(media));

        Click(dialog, IDC_DELETE_PASSWORDS_USER);
        Flush();
        EXPECT_EQ(BST_UNCHECKED, CheckState(Item(dialog, IDC_DELETE_MEDIA_USER)));
        EXPECT_FALSE(IsEnabled(Item(dialog, IDC_DELETE_MEDIA_USER)));
        Click(dialog, IDCANCEL);
    });
    EXPECT_EQ(std::set<std::wstring>{L"saved"}, Subsections(kLocal));
    EXPECT_EQ((std::set<std::wstring>{L"flash", L"saved"}), Subsections(kGlobal));

    SetRights(kGlobal, knobs::kRead | knobs::kWrite);
    RunDialog([](HWND dialog) {
        EXPECT_FALSE(IsEnabled(Item(dialog, IDC_DELETE_PASSWORDS_COMPUTER)));
        EXPECT_FALSE(IsEnabled(Item(dialog, IDC_DELETE_MEDIA_COMPUTER)))
            << "a section that may not be removed, records or not";
        EXPECT_TRUE(IsEnabled(Item(dialog, IDC_DELETE_PASSWORDS_USER)));
        Click(dialog, IDOK);
    });
    EXPECT_EQ(std::set<std::wstring>{L"saved"}, Subsections(kLocal)) << "OK with nothing checked";
    EXPECT_EQ((std::set<std::wstring>{L"flash", L"saved"}), Subsections(kGlobal));
}

// OK removes a scope's whole section for its passwords box, else only its media records; a
// record the store keeps is tried once and the others still go.
TEST_F(DeletePasswords, OkRemovesTheCheckedScopesRecords) {
    for (const wchar_t* section : {kLocal, kGlobal}) {
        AddMedia(section, L"a-kept");
        AddMedia(section, L"b-flash");
        AddPassword(section, L"c-saved");
        AddMedia(section, L"d-floppy");
    }
    SetRights(Child(kLocal, L"a-kept"), knobs::kRead | knobs::kWrite);
    RunDialog([](HWND dialog) {
        Click(dialog, IDC_DELETE_MEDIA_USER);
        Click(dialog, IDC_DELETE_PASSWORDS_COMPUTER);
        Flush();
        Click(dialog, IDOK);
    });
    EXPECT_EQ((std::set<std::wstring>{L"a-kept", L"c-saved"}), Subsections(kLocal));
    EXPECT_EQ(std::set<std::wstring>{L"-"}, Subsections(kGlobal));
}

}  // namespace
