// The Hardware and Winlogon pages of the installed applet: the library windows, the default
// logon reader per provider, the Winlogon switch, and a domain controller.
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

// Opens a library window from the Hardware page and closes it; the sheet is disabled meanwhile.
void OpenAndClose(HWND sheet, int button, const wchar_t* title) {
    Click(Item(ActivePage(sheet), button));
    HWND window = WaitForWindow({L"#32770", title, sheet, true});
    EXPECT_FALSE(IsEnabled(sheet)) << Narrow(title);
    Click(Item(window, IDCANCEL));
    WaitUntilGone(window);
}

TEST(HardwarePage, EachButtonOpensItsWindowAndWithoutTheReaderLibraryTheReadersSaySo) {
    const DWORD readers = testbed::CallCount(knobs::kCallReaders);
    RunSheet(1, [&](HWND sheet) {
        OpenAndClose(sheet, IDC_HARDWARE_READERS, knobs::kTitleReaders);
        HMODULE library = ::GetModuleHandleW(L"kvrdr.dll");
        EXPECT_TRUE(library) << "still loaded after the window closed";
        OpenAndClose(sheet, IDC_HARDWARE_READERS, knobs::kTitleReaders);
        EXPECT_EQ(library, ::GetModuleHandleW(L"kvrdr.dll"));
        OpenAndClose(sheet, IDC_HARDWARE_CARRIERS, knobs::kTitleCarriers);
        OpenAndClose(sheet, IDC_HARDWARE_RNG, knobs::kTitleRng);
    });
    EXPECT_EQ(readers + 2, testbed::CallCount(knobs::kCallReaders));

    const std::wstring installed = testbed::InstalledPath(L"kvrdr.dll");
    applettest::SetAppPath(L"kvrdr.dll", std::wstring(applettest::kProductDir) + L"x\\kvrdr.dll");
    RunSheet(1, [&](HWND sheet) {
        for (int button : {IDC_HARDWARE_READERS, IDC_HARDWARE_CARRIERS}) {
            Click(Item(ActivePage(sheet), button));
            MessageBoxInfo box = AnswerMessageBox(IDOK);
            EXPECT_EQ(L"RDR library does not available", box.text);
            EXPECT_EQ(UINT{MB_ICONERROR}, box.icon);
        }
        OpenAndClose(sheet, IDC_HARDWARE_RNG, knobs::kTitleRng);
    });
    applettest::SetAppPath(L"kvrdr.dll", installed);
}

constexpr int kWinlogon = 6;
const std::wstring kCloud = L"Kelvane Cloud CSP", kVestra = L"Kelvane Vestra CSP",
                   kGost94 = L"Kelvane Vestra CSP (GOST 94)";
const std::wstring kProviderKey = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr wchar_t kEnableDefaultReader[] = L"\\config\\Parameters\\EnableDefaultReader";
const Texts kAllReaders{L"Not set", L"Removable disk", L"Rutoken reader", L"Smart card"};

std::wstring ReaderPath(const std::wstring& provider) {
    return L"\\cryptography\\Defaults\\provider\\" + provider + L"\\ReaderDefault";
}

std::vector<LPARAM> ItemData(HWND combo) {
    std::vector<LPARAM> data;
    for (int i = 0, n = int(::SendMessageW(combo, CB_GETCOUNT, 0, 0)); i < n; ++i)
        data.push_back(::SendMessageW(combo, CB_GETITEMDATA, i, 0));
    return data;
}

// Readers in the registry's order: one without a connect name, one whose display name can't be
// read, two with connect names.
class WinlogonPage : public ::testing::Test {
protected:
    void SetUp() override {
        const wchar_t* const readers[][3] = {{L"fat12", L"", L"Removable disk"},
                                             {L"hidden", L"H0", L""},
                                             {L"rutoken", L"0001", L"Rutoken reader"},
                                             {L"smart", L"S1", L"Smart card"}};
        for (const auto& reader : readers) {
            const std::wstring key = std::wstring(knobs::kReaders) + L"\\" + reader[0];
            if (*reader[1]) SetRegText(key, knobs::kConnect, reader[1]);
            if (*reader[2]) SetRegText(key, knobs::kDisplayName, reader[2]);
        }
        support::support_registry_put_long(kEnableDefaultReader, 1);
    }
    void TearDown() override {
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, knobs::kReaders);
        support::support_registry_delete_param(store::kDisableWinlogon);
        for (const std::wstring& provider : {kCloud, kVestra, kGost94}) {
            support::support_registry_delete_param(ReaderPath(provider).c_str());
            SetRegNumber(kProviderKey + provider, L"ImpType", 2);
        }
    }
};

TEST_F(WinlogonPage, ShowsAndStoresEachProvidersDefaultReader) {
    support::support_registry_put_string(ReaderPath(kCloud).c_str(), L"rutoken_0001");
    support::support_registry_put_string(ReaderPath(kGost94).c_str(), L"smart_S1");
    const long acquired = testbed::ProviderCalls()["CPAcquireContext"];
    RunSheet(kWinlogon, [&](HWND sheet) {
        HWND page = ActivePage(sheet);
        HWND providers = Item(page, IDC_WINLOGON_PROVIDER),
             readers = Item(page, IDC_WINLOGON_READER);
        EXPECT_EQ((Texts{kCloud, kVestra, kGost94}), ComboItems(providers));
        EXPECT_EQ((std::vector<LPARAM>{75, 75, 71}), ItemData(providers));
        EXPECT_EQ(4, testbed::ProviderCalls()["CPAcquireContext"] - acquired)
            << "each provider once, then the first one again";
        EXPECT_EQ(kAllReaders, ComboItems(readers));
        EXPECT_EQ(2, ComboSelection(readers));
        // Away from a domain controller only the Winlogon switch can be changed.
        EXPECT_EQ((std::vector<bool>{true, false, false, false, false, false}),
                  Enabled(page, {IDC_WINLOGON_DISABLE, IDC_WINLOGON_KDC, IDC_WINLOGON_DC,
                                 IDC_WINLOGON_DC_ID, IDC_WINLOGON_EXPORT,
                                 IDC_WINLOGON_FIX_TEMPLATES}));

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

// Without EnableDefaultReader the combos are filled but disabled; a provider without an
// implementation type is left out, and the later ones lose their type. A stored reader that is
// not present is reported and nothing is selected.
TEST_F(WinlogonPage, WithoutEnableDefaultReaderOrTheStoredReaderNothingCanBeChosen) {
    support::support_registry_delete_param(kEnableDefaultReader);
    support::support_registry_put_string(ReaderPath(kCloud).c_str(), L"gone_7");
    ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, (kProviderKey + kVestra).c_str(), L"ImpType");
    const auto report = [] {
        MessageBoxInfo box = AnswerMessageBox(IDOK);
        EXPECT_EQ(L"Can not find default reader [gone_7].", box.text);
        EXPECT_EQ(UINT{MB_ICONEXCLAMATION}, box.icon);
    };
    RunSheet(
        kWinlogon,
        [&](HWND sheet) {
            HWND providers = Item(sheet, IDC_WINLOGON_PROVIDER),
                 readers = Item(sheet, IDC_WINLOGON_READER);
            EXPECT_FALSE(IsEnabled(providers) || IsEnabled(readers));
            EXPECT_EQ((Texts{kCloud, kGost94}), ComboItems(providers));
            EXPECT_EQ((std::vector<LPARAM>{75, 0}), ItemData(providers));
            EXPECT_EQ(kAllReaders, ComboItems(readers));
            EXPECT_EQ(-1, ComboSelection(readers));
            EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply)));
        },
        report);
    EXPECT_EQ(L"gone_7", StoredText(ReaderPath(kCloud)));
}

TEST_F(WinlogonPage, OnADomainControllerEveryProviderIsOfferedAndTheSwitchClearsTheKdc) {
    ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, (kProviderKey + kVestra).c_str(), L"ImpType");
    testbed::ScopedDomainController domainController;
    EXPECT_EQ(0u, RunTestsInNewProcess(L"WinlogonPage.DISABLED_OnADomainController"))
        << "the page in a program that sees a domain controller (output above)";
}

// Run by the test above. No directory answers, so nothing is listed: the KDC box shows the value
// but can't be changed on its own; the Winlogon switch still clears it, and a KDC value that
// can't be written keeps the change for another Apply.
TEST_F(WinlogonPage, DISABLED_OnADomainController) {
    constexpr wchar_t kKdcValue[] = L"NotChangeDefaultVerifyProvider";
    RunSheet(kWinlogon, [&](HWND sheet) {
        HWND providers = Item(sheet, IDC_WINLOGON_PROVIDER), kdc = Item(sheet, IDC_WINLOGON_KDC);
        EXPECT_EQ((Texts{kCloud, kVestra, kGost94}), ComboItems(providers));
        EXPECT_EQ((std::vector<LPARAM>{75, 75, 71}), ItemData(providers));
        EXPECT_EQ(BST_CHECKED, CheckState(kdc)) << "no value: the KDC uses the product's";
        EXPECT_FALSE(IsEnabled(kdc) || IsEnabled(Item(sheet, IDC_WINLOGON_DC)));

        Click(Item(sheet, IDC_WINLOGON_DISABLE));
        Flush();
        EXPECT_EQ(BST_UNCHECKED, CheckState(kdc));
        ASSERT_EQ(ERROR_SUCCESS, ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, knobs::kKdcParameters));
        ApplyFails(sheet);
        EXPECT_EQ(1u, StoredNumber(store::kDisableWinlogon));
        SetRegNumber(knobs::kKdcParameters, kKdcValue, 0);
        Apply(sheet);
        EXPECT_EQ(1u, RegNumber(knobs::kKdcParameters, kKdcValue));
        EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply)));
    });
}

}  // namespace
