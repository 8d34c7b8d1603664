// The Hardware and Winlogon pages of the installed applet: the library windows, the default
// logon reader per provider, the Winlogon switch on a domain controller.
#include "applet/support.h"
#include "applet_fixture.h"
#include "client.h"
#include "driver/driver.h"
#include "page_support.h"
#include "resource.h"
#include "testbed/calls.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using namespace pagetest;
namespace knobs = testbed::knobs;
using Texts = std::vector<std::wstring>;
using applettest::Apply;
using applettest::RunSheet;

// The carriers window is not the readers' window: the readers' library is called once per open.
TEST(HardwarePage, EachButtonOpensItsOwnWindow) {
    const DWORD readers = testbed::CallCount(knobs::kCallReaders);
    RunSheet(1, [&](HWND sheet) {
        for (auto [button, title] : {std::pair{IDC_HARDWARE_READERS, knobs::kTitleReaders},
                                     {IDC_HARDWARE_CARRIERS, knobs::kTitleCarriers},
                                     {IDC_HARDWARE_RNG, knobs::kTitleRng}}) {
            Click(Item(ActivePage(sheet), button));
            HWND window = WaitForWindow({L"#32770", title, sheet, true});
            Click(Item(window, IDCANCEL));
            WaitUntilGone(window);
        }
    });
    EXPECT_EQ(readers + 1, testbed::CallCount(knobs::kCallReaders));
}

constexpr int kWinlogon = 6;
const std::wstring kCloud = L"Kelvane Cloud CSP", kVestra = L"Kelvane Vestra CSP",
                   kGost94 = L"Kelvane Vestra CSP (GOST 94)";
constexpr wchar_t kEnableDefaultReader[] = L"\\config\\Parameters\\EnableDefaultReader";

std::wstring ReaderPath(const std::wstring& provider) {
    return L"\\cryptography\\Defaults\\provider\\" + provider + L"\\ReaderDefault";
}

// Readers in the registry's order: one without a connect name, two with connect names.
class WinlogonPage : public ::testing::Test {
protected:
    void SetUp() override {
        const wchar_t* const readers[][3] = {{L"fat12", L"", L"Removable disk"},
                                             {L"rutoken", L"0001", L"Rutoken reader"},
                                             {L"smart", L"S1", L"Smart card"}};
        for (const auto& reader : readers) {
            const std::wstring key = std::wstring(knobs::kReaders) + L"\\" + reader[0];
            if (*reader[1]) SetRegText(key, knobs::kConnect, reader[1]);
            SetRegText(key, knobs::kDisplayName, reader[2]);
        }
        support::support_registry_put_long(kEnableDefaultReader, 1);
    }
    void TearDown() override {
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, knobs::kReaders);
        support::support_registry_delete_param(store::kDisableWinlogon);
        for (const std::wstring& provider : {kCloud, kVestra, kGost94})
            support::support_registry_delete_param(ReaderPath(provider).c_str());
    }
};

// A reader's write the store refuses keeps the change for another Apply.
TEST_F(WinlogonPage, ShowsAndStoresEachProvidersDefaultReader) {
    support::support_registry_put_string(ReaderPath(kCloud).c_str(), L"rutoken_0001");
    support::support_registry_put_string(ReaderPath(kGost94).c_str(), L"smart_S1");
    RunSheet(kWinlogon, [&](HWND sheet) {
        HWND page = ActivePage(sheet);
        HWND providers = Item(page, IDC_WINLOGON_PROVIDER),
             readers = Item(page, IDC_WINLOGON_READER);
        EXPECT_EQ((Texts{kCloud, kVestra, kGost94}), ComboItems(providers));
        EXPECT_EQ(2, ComboSelection(readers));
        SelectCombo(readers, 1);
        Apply(sheet);
        EXPECT_EQ(L"fat12", StoredText(ReaderPath(kCloud))) << "no connect name: the nickname";
        SelectCombo(readers, 0);
        Apply(sheet);
        EXPECT_EQ(std::nullopt, StoredText(ReaderPath(kCloud))) << "\"Not set\" removes it";

        SelectCombo(providers, 2);
        Flush();
        EXPECT_EQ(3, ComboSelection(readers)) << "the other provider's default";
        SelectCombo(readers, 2);
        {
            ScopedRegValue denied(knobs::kAccess, ReaderPath(kGost94), knobs::kRead);
            ApplyFails(sheet);
        }
        Apply(sheet);
        EXPECT_EQ(L"rutoken_0001", StoredText(ReaderPath(kGost94)));
    });
}

// A stored reader that is not present is reported, and stays stored.
TEST_F(WinlogonPage, AStoredReaderThatIsNotPresentIsReportedAndKept) {
    support::support_registry_put_string(ReaderPath(kCloud).c_str(), L"gone_7");
    RunSheet(
        kWinlogon,
        [&](HWND sheet) { EXPECT_EQ(-1, ComboSelection(Item(sheet, IDC_WINLOGON_READER))); },
        [] { EXPECT_EQ(L"Can not find default reader [gone_7].", AnswerMessageBox(IDOK).text); });
    EXPECT_EQ(L"gone_7", StoredText(ReaderPath(kCloud)));
}

TEST_F(WinlogonPage, OnADomainControllerTheSwitchClearsTheKdc) {
    testbed::ScopedDomainController domainController;
    EXPECT_EQ(0u, RunTestsInNewProcess(L"WinlogonPage.DISABLED_OnADomainController"))
        << "the page in a program that sees a domain controller (output above)";
}

// Run by the test above. The KDC box shows the value but can't be changed on its own; the
// Winlogon switch clears it, and a KDC value that can't be written keeps the change.
TEST_F(WinlogonPage, DISABLED_OnADomainController) {
    constexpr wchar_t kKdcValue[] = L"NotChangeDefaultVerifyProvider";
    RunSheet(kWinlogon, [&](HWND sheet) {
        HWND kdc = Item(sheet, IDC_WINLOGON_KDC);
        EXPECT_EQ(BST_CHECKED, CheckState(kdc)) << "no value: the KDC uses the product's";
        Click(Item(sheet, IDC_WINLOGON_DISABLE));
        Flush();
        EXPECT_EQ(BST_UNCHECKED, CheckState(kdc));
        ASSERT_EQ(ERROR_SUCCESS, ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, knobs::kKdcParameters));
        ApplyFails(sheet);
        SetRegNumber(knobs::kKdcParameters, kKdcValue, 0);
        Apply(sheet);
        EXPECT_EQ(1u, RegNumber(knobs::kKdcParameters, kKdcValue));
    });
}

}  // namespace
