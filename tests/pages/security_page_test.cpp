// The Security page as an administrator uses it, against the testbed's providers, registry and
// store. The program runs from the product directory, so the page lists the providers the
// installed applet would list.
#include "applet/support.h"
#include "driver/driver.h"
#include "page_support.h"
#include "pages/security_page.h"
#include "resource.h"
#include "testbed/knobs.h"
#include "wizard_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace driver;
using namespace pagetest;
using applettest::Apply;
using wiztest::kDefaultProvider, wiztest::kSecondProvider, wiztest::kProvider71;
namespace knobs = testbed::knobs;

// The registry's native and 32-bit views of the providers and their types.
const std::wstring kViews[] = {L"SOFTWARE\\", L"SOFTWARE\\Wow6432Node\\"};
const std::wstring kProviders = L"Microsoft\\Cryptography\\Defaults\\Provider\\";
const std::wstring kTypes = L"Microsoft\\Cryptography\\Defaults\\Provider Types\\Type 07";
constexpr wchar_t kModuleName[] = L"KV Module Name";
constexpr wchar_t kRebootQuestion[] =
    L"Reboot is required to change Vestra CSP operation mode. Do you want to reboot now?";
// The product's providers in the order the page lists them.
constexpr int kMain = 1;

// One provider's own knobs of the testbed: what a test gives it, and what the page set.
std::wstring Own(const std::wstring& provider) {
    return std::wstring(knobs::kProvider) + L"\\" + provider;
}

// The main provider's module name in both views.
std::vector<std::optional<std::wstring>> MainModules() {
    return {RegText(kViews[0] + kProviders + kDefaultProvider, kModuleName),
            RegText(kViews[1] + kProviders + kDefaultProvider, kModuleName)};
}
using Modules = std::vector<std::optional<std::wstring>>;

// Opens the page alone in a sheet, runs `script` on it and cancels the sheet.
void WithPage(const std::function<void(HWND sheet)>& script) {
    RunPage<applet::CPropPageConfigCSPSecurity>(L"Security test",
                                                [&](HWND sheet, HWND) { script(sheet); });
}

// A selection as the user makes it, handled before the test looks.
void Choose(HWND sheet, int combo, int index) {
    SelectCombo(Item(sheet, combo), index);
    Flush();
}

class SecurityPage : public ::testing::Test {
protected:
    // Back to the installation: its defaults and module names in both views, the providers'
    // answers, the store's switch.
    void TearDown() override {
        for (const std::wstring& view : kViews) {
            SetRegText(view + kTypes + L"5", L"Name", kDefaultProvider);
            SetRegText(view + kTypes + L"1", L"Name", kProvider71);
            SetRegText(view + kProviders + kSecondProvider, kModuleName, L"kvcspi.dll");
            SetRegText(view + kProviders + kDefaultProvider, kModuleName, L"kvcspr.dll");
            SetRegText(view + kProviders + kProvider71, kModuleName, L"kvcspr.dll");
        }
        for (const wchar_t* provider : {kDefaultProvider, kSecondProvider, kProvider71})
            ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, Own(provider).c_str());
        support::support_registry_delete_param(store::kDisableShortcuts);
    }

    applettest::ScopedSeams seams_;
};

// "<Absent>" writes an empty name.
TEST_F(SecurityPage, ChoosingDefaultProvidersWritesBothRegistryViews) {
    WithPage([](HWND sheet) {
        const std::vector<std::wstring> items = ComboItems(Item(sheet, IDC_SECURITY_TYPE75));
        auto cloud = std::find(items.begin(), items.end(), kSecondProvider);
        Choose(sheet, IDC_SECURITY_TYPE75, static_cast<int>(cloud - items.begin()));
        Choose(sheet, IDC_SECURITY_TYPE71, 0);
        Apply(sheet);
    });
    for (REGSAM view : {REGSAM{0}, REGSAM{KEY_WOW64_32KEY}}) {
        EXPECT_EQ(kSecondProvider, RegText(kViews[0] + kTypes + L"5", L"Name", view)) << view;
        EXPECT_EQ(L"", RegText(kViews[0] + kTypes + L"1", L"Name", view));
    }
}

// The main provider keeps its keys in the service with 5 of them cached; moving them into the
// applications' memory switches the cache off in the same apply.
TEST_F(SecurityPage, SwitchingTheModeAppliesCacheOffAndAsksToReboot) {
    SetRegNumber(Own(kDefaultProvider), knobs::kCacheSize, 5);
    SetRegNumber(Own(kProvider71), knobs::kCacheMaximum, 0);
    WithPage([](HWND sheet) {
        Choose(sheet, IDC_SECURITY_PROVIDER, kMain);
        HWND caching = Item(sheet, IDC_SECURITY_CACHING);
        // A provider without caching shows none, whatever the one before it had.
        Choose(sheet, IDC_SECURITY_PROVIDER, kMain + 1);
        EXPECT_FALSE(CheckState(caching) || IsEnabled(caching));
        Choose(sheet, IDC_SECURITY_PROVIDER, kMain);
        Click(sheet, IDC_SECURITY_MODE_MEMORY);
        Flush();
        EXPECT_FALSE(CheckState(caching) || IsEnabled(caching));
        Click(SheetButton(sheet, kApply));
        EXPECT_EQ(kRebootQuestion, AnswerMessageBox(IDNO).text);
        Flush();
        EXPECT_EQ(0u, RegNumber(Own(kDefaultProvider), knobs::kCacheSize));
        EXPECT_EQ(Modules(2, L"kvcspi.dll"), MainModules());
    });
}

TEST_F(SecurityPage, TheRemovableMediaSwitchGoesToTheStoreUnlessItIsDenied) {
    WithPage([](HWND sheet) {
        HWND media = Item(sheet, IDC_SECURITY_SAVE_MEDIA_INFO);
        EXPECT_EQ(BST_CHECKED, CheckState(media)) << "shortcuts are not disabled";
        Click(media);
        Apply(sheet);
    });
    BOOL disabled = FALSE;
    EXPECT_EQ(0u, support::support_registry_get_bool(store::kDisableShortcuts, &disabled));
    EXPECT_TRUE(disabled);

    ScopedRegValue readOnly(knobs::kAccess, store::kParameters, knobs::kRead);
    WithPage([](HWND sheet) {
        HWND media = Item(sheet, IDC_SECURITY_SAVE_MEDIA_INFO);
        EXPECT_EQ(BST_UNCHECKED, CheckState(media));
        EXPECT_FALSE(IsEnabled(media));
    });
}

}  // namespace
