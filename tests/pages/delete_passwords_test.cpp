// The delete saved passwords dialog, opened from the Service page: what OK leaves behind of the
// store's password sections.
#include "applet/support.h"
#include "client.h"
#include "driver/driver.h"
#include "page_support.h"
#include "pages/service_page.h"
#include "resource.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace driver;
namespace knobs = testbed::knobs;
using Names = std::set<std::wstring>;

constexpr wchar_t kUser[] = L"\\local\\KeyDevices\\passwords";
constexpr wchar_t kComputer[] = L"\\global\\KeyDevices\\passwords";

// Removable media records are subsections with nothing in them; saved passwords hold a value.
void Fill(const std::wstring& section, const Names& media, const Names& passwords) {
    for (const std::wstring& name : media)
        support::support_registry_put_section((section + L"\\" + name).c_str());
    for (const std::wstring& name : passwords)
        support::support_registry_put_string((section + L"\\" + name + L"\\pin").c_str(), L"s");
}

// The subsections as the testbed keeps them; {"-"} when the section is gone.
Names Subsections(const std::wstring& section) {
    const bool user = section == kUser;
    const std::wstring key = L"Software\\Kelvane\\Testbed\\Store" + section;
    HKEY hkey = nullptr;
    if (::RegOpenKeyExW(user ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ,
                        &hkey))
        return {L"-"};
    Names names;
    wchar_t name[256];
    for (DWORD i = 0; ::RegEnumKeyW(hkey, i, name, 256) == ERROR_SUCCESS; ++i) names.insert(name);
    ::RegCloseKey(hkey);
    return names;
}

class DeletePasswords : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        for (const wchar_t* section : {kUser, kComputer})
            support::support_registry_delete_section(section, 0);
    }

    // Opens the dialog from the Service page and runs `script` on it; the script closes it.
    static void RunDialog(const std::function<void(HWND dialog)>& script) {
        pagetest::RunPage<applet::CPropPageConfigCSPServices>(L"Service", [&](HWND sheet, HWND page) {
            Click(page, IDC_SERVICE_DELETE_PASSWORDS);
            HWND dialog = WaitForWindow({L"#32770", L"Delete saved passwords", sheet, true});
            script(dialog);
            WaitUntilGone(dialog);
        });
    }
};

// OK removes what is checked: the user's media records (a record the store keeps is tried once
// and the ones after it still go, saved passwords stay) and the computer's whole section.
TEST_F(DeletePasswords, OkRemovesTheCheckedScopesRecords) {
    Fill(kUser, {L"a-kept", L"b-flash"}, {L"c-saved"});
    Fill(kComputer, {L"flash"}, {L"saved"});
    testbed::ScopedKnob kept(knobs::kAccess, kUser + std::wstring(L"\\a-kept"), knobs::kRead);
    RunDialog([](HWND dialog) {
        Click(dialog, IDC_DELETE_PASSWORDS_COMPUTER);
        Click(dialog, IDC_DELETE_MEDIA_USER);
        Click(dialog, IDOK);
    });
    EXPECT_EQ((Names{L"a-kept", L"c-saved"}), Subsections(kUser));
    EXPECT_EQ(Names{L"-"}, Subsections(kComputer));
}

}  // namespace
