// The Hardware and Winlogon pages of the installed applet: the library windows, the default
// logon reader per provider, the Winlogon switch, and a domain controller.
#include "applet/support.h"
#include "applet_fixture.h"
#include "client.h"
#include "driver/driver.h"
#include "resource.h"
#include "testbed/calls.h"
#include "testbed/knobs.h"

#include <gtest/gtest.h>

#include <cpl.h>

#include <optional>

namespace {

using namespace driver;
namespace knobs = testbed::knobs;
using Texts = std::vector<std::wstring>;
using applettest::Apply;
using applettest::RunSheet;

// Opens a library window from the Hardware page and closes it; the page's windows are owned by
// the sheet, which stays disabled meanwhile.
void OpenAndClose(HWND sheet, int button, const wchar_t* title) {
    Click(Item(ActivePage(sheet), button));
    HWND window = WaitForWindow({L"#32770", title, sheet, true});
    EXPECT_FALSE(IsEnabled(sheet)) << Narrow(title);
    Click(Item(window, IDCANCEL));
    WaitUntilGone(window);
}

TEST(HardwarePage, EachButtonOpensItsWindowAndTheReaderLibraryStaysLoaded) {
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
}

TEST(HardwarePage, WithoutTheReaderLibraryBothReaderButtonsSaySoAndTheRngStillOpens) {
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
constexpr wchar_t kEnableDefaultReader[] = L"\\config\\Parameters\\EnableDefaultReader";
const Texts kAllReaders{L"Not set", L"Removable disk", L"Rutoken reader", L"Smart card"};

std::wstring ReaderPath(const std::wstring& provider) {
    return L"\\cryptography\\Defaults\\provider\\" + provider + L"\\ReaderDefault";
}

std::optional<std::wstring> StoredReader(const std::wstring& provider) {
    wchar_t text[256] = {};
    DWORD length = 255;
    if (support::support_registry_get_string(ReaderPath(provider).c_str(), &length, text))
        return std::nullopt;
    return text;
}

void SetValue(const std::wstring& key, const wchar_t* name, DWORD type, const void* data,
              size_t size) {
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, type, data,
                                               static_cast<DWORD>(size)));
}

void AddReader(const std::wstring& nickname, const std::wstring& connect,
               const std::wstring& name) {
    const std::wstring key = std::wstring(knobs::kReaders) + L"\\" + nickname;
    if (!connect.empty())
        SetValue(key, knobs::kConnect, REG_SZ, connect.c_str(), (connect.size() + 1) * 2);
    if (!name.empty())
        SetValue(key, knobs::kDisplayName, REG_SZ, name.c_str(), (name.size() + 1) * 2);
}

const std::wstring kProviderKey = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";

void RemoveImpType(const std::wstring& provider) {
    ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, (kProviderKey + provider).c_str(), L"ImpType");
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
        AddReader(L"fat12", L"", L"Removable disk");
        AddReader(L"hidden", L"H0", L"");
        AddReader(L"rutoken", L"0001", L"Rutoken reader");
        AddReader(L"smart", L"S1", L"Smart card");
        support::support_registry_put_long(kEnableDefaultReader, 1);
    }
    void TearDown() override {
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, knobs::kReaders);
        support::support_registry_delete_param(store::kDisableWinlogon);
        const DWORD software = 2;
        for (const std::wstring& provider : {kCloud, kVestra, kGost94}) {
            support::support_registry_delete_param(ReaderPath(provider).c_str());
            SetValue(kProviderKey + provider, L"ImpType", REG_DWORD, &software, sizeof(software));
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
        EXPECT_TRUE(IsEnabled(Item(page, IDC_WINLOGON_DISABLE)));
        for (int id : {IDC_WINLOGON_KDC, IDC_WINLOGON_DC, IDC_WINLOGON_DC_ID, IDC_WINLOGON_EXPORT,
                       IDC_WINLOGON_FIX_TEMPLATES})
            EXPECT_FALSE(IsEnabled(Item(page, id))) << id;

        SelectCombo(readers, 1);
        Apply(sheet);
        EXPECT_EQ(L"fat12", StoredReader(kCloud)) << "no connect name: the nickname alone";
        SelectCombo(readers, 0);
        Apply(sheet);
        EXPECT_EQ(std::nullopt, StoredReader(kCloud)) << "\"Not set\" removes the value";

        SelectCombo(providers, 2);
        Flush();
        EXPECT_EQ(3, ComboSelection(readers)) << "the other provider's default";
        SelectCombo(readers, 2);
        Apply(sheet);
        EXPECT_EQ(L"rutoken_0001", StoredReader(kGost94));
    });
}

TEST_F(WinlogonPage, AStoredReaderThatIsNotPresentIsReportedAndNothingIsSelected) {
    support::support_registry_put_string(ReaderPath(kCloud).c_str(), L"gone_7");
    RunSheet(
        kWinlogon,
        [&](HWND sheet) {
            EXPECT_EQ(-1, ComboSelection(Item(sheet, IDC_WINLOGON_READER)));
            EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply)));
        },
        [] {
            MessageBoxInfo box = AnswerMessageBox(IDOK);
            EXPECT_EQ(L"Can not find default reader [gone_7].", box.text);
            EXPECT_EQ(UINT{MB_ICONEXCLAMATION}, box.icon);
        });
    EXPECT_EQ(L"gone_7", StoredReader(kCloud));
}

// The third reader fails: the listing keeps what came before and looks for no default, so the
// absent stored reader goes unreported (a message box would hold the sheet back).
TEST_F(WinlogonPage, AListingThatFailsMidwayKeepsTheReadersBeforeAndSelectsNone) {
    const DWORD error = ERROR_DEVICE_NOT_CONNECTED;
    SetValue(std::wstring(knobs::kReaders) + L"\\rutoken", knobs::kNicknameError, REG_DWORD, &error,
             sizeof(error));
    support::support_registry_put_string(ReaderPath(kCloud).c_str(), L"gone_7");
    RunSheet(kWinlogon, [&](HWND sheet) {
        EXPECT_EQ((Texts{L"Not set", L"Removable disk"}),
                  ComboItems(Item(sheet, IDC_WINLOGON_READER)));
        EXPECT_EQ(-1, ComboSelection(Item(sheet, IDC_WINLOGON_READER)));
    });
}

// Also: a provider without an implementation type is left out, and the later ones lose their type.
TEST_F(WinlogonPage, WithoutEnableDefaultReaderTheCombosAreFilledButDisabled) {
    support::support_registry_delete_param(kEnableDefaultReader);
    support::support_registry_put_string(ReaderPath(kCloud).c_str(), L"fat12");
    RemoveImpType(kVestra);
    RunSheet(kWinlogon, [&](HWND sheet) {
        HWND providers = Item(sheet, IDC_WINLOGON_PROVIDER),
             readers = Item(sheet, IDC_WINLOGON_READER);
        EXPECT_FALSE(IsEnabled(providers) || IsEnabled(readers));
        EXPECT_EQ((Texts{kCloud, kGost94}), ComboItems(providers));
        EXPECT_EQ((std::vector<LPARAM>{75, 0}), ItemData(providers));
        EXPECT_EQ(kAllReaders, ComboItems(readers));
        EXPECT_EQ(1, ComboSelection(readers));
    });
}

TEST_F(WinlogonPage, OnADomainControllerEveryProviderIsOfferedAndTheSwitchClearsTheKdc) {
    RemoveImpType(kVestra);
    testbed::ScopedDomainController domainController;
    EXPECT_EQ(0u, RunTestsInNewProcess(L"WinlogonPage.DISABLED_OnADomainController"))
        << "the page in a program that sees a domain controller (output above)";
}

// Run by the test above. No directory answers, so nothing is listed: the KDC box shows the value
// but can't be changed on its own; the Winlogon switch still clears it.
TEST_F(WinlogonPage, DISABLED_OnADomainController) {
    RunSheet(kWinlogon, [&](HWND sheet) {
        HWND providers = Item(sheet, IDC_WINLOGON_PROVIDER), kdc = Item(sheet, IDC_WINLOGON_KDC);
        EXPECT_EQ((Texts{kCloud, kVestra, kGost94}), ComboItems(providers));
        EXPECT_EQ((std::vector<LPARAM>{75, 75, 71}), ItemData(providers));
        EXPECT_EQ(BST_CHECKED, CheckState(kdc)) << "no value: the KDC uses the product's";
        EXPECT_FALSE(IsEnabled(kdc) || IsEnabled(Item(sheet, IDC_WINLOGON_DC)));

        Click(Item(sheet, IDC_WINLOGON_DISABLE));
        Flush();
        EXPECT_EQ(BST_UNCHECKED, CheckState(kdc));
        Apply(sheet);
        DWORD disabled = 0, kept = 0, size = sizeof(kept);
        EXPECT_EQ(0u, support::support_registry_get_long(store::kDisableWinlogon, &disabled));
        EXPECT_EQ(1u, disabled);
        EXPECT_EQ(ERROR_SUCCESS, ::RegGetValueW(HKEY_LOCAL_MACHINE, knobs::kKdcParameters,
                                                L"NotChangeDefaultVerifyProvider", RRF_RT_REG_DWORD,
                                                nullptr, &kept, &size));
        EXPECT_EQ(1u, kept);
    });
}

}  // namespace
