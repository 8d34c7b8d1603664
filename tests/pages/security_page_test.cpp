// The Security page as an administrator uses it: default providers, the provider's mode with
// its cache, the Diffie-Hellman switch and the removable media switch, against the testbed's
// providers, registry and store. The program runs from the product directory, so the page
// lists the providers the installed applet would list.
#include "applet/support.h"
#include "driver/driver.h"
#include "kvcsp.h"
#include "page_script.h"
#include "pages/security_page.h"
#include "resource.h"
#include "testbed/knobs.h"
#include "ui/handles.h"
#include "wizard_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace driver;
using applettest::Apply;
using wiztest::ScopedValue;

// The registry's native and 32-bit views of the providers and their types.
const std::wstring kViews[] = {L"SOFTWARE\\", L"SOFTWARE\\Wow6432Node\\"};
const std::wstring kProviders = L"Microsoft\\Cryptography\\Defaults\\Provider\\";
const std::wstring kTypes = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\";
constexpr wchar_t kCaption[] = L"Security test";
constexpr wchar_t kModuleName[] = L"KV Module Name";
constexpr wchar_t kRebootQuestion[] =
    L"Reboot is required to change Vestra CSP operation mode. Do you want to reboot now?";
// The product's providers in the order the page lists them.
constexpr int kCloud = 0, kMain = 1;

// A REG_SZ of HKLM, read through `view` (0 or KEY_WOW64_32KEY); "<missing>" when it can't be.
std::wstring RegText(const std::wstring& key, const wchar_t* name, REGSAM view = 0) {
    ui::UniqueHKey hkey;
    wchar_t value[260] = {};
    DWORD size = sizeof(value) - sizeof(wchar_t);
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_QUERY_VALUE | view, hkey.put()) ||
        ::RegQueryValueExW(hkey.get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(value),
                           &size))
        return L"<missing>";
    return value;
}

void SetRegText(const std::wstring& key, const wchar_t* name, const std::wstring& value) {
    ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, value.c_str(),
                      static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

// One provider's own knob of the testbed: what a test gives it, and what the page set.
std::wstring OwnKnobs(const std::wstring& provider) {
    return std::wstring(testbed::knobs::kProvider) + L"\\" + provider;
}
void SetKnob(const std::wstring& provider, const wchar_t* name, DWORD value) {
    ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, OwnKnobs(provider).c_str(), name, REG_DWORD, &value,
                      sizeof(value));
}
DWORD Knob(const std::wstring& provider, const wchar_t* name) {
    DWORD value = 0xFFFFFFFF, size = sizeof(value);
    ::RegGetValueW(HKEY_LOCAL_MACHINE, OwnKnobs(provider).c_str(), name, RRF_RT_REG_DWORD, nullptr,
                   &value, &size);
    return value;
}

// The keys storage service deleted through the service manager for a scope, then made again
// as it was installed. The manager handle that deleted it stays open meanwhile: under Wine the
// deleted service opens again once that handle is closed.
class ServiceRemoved {
public:
    ServiceRemoved() : manager_(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)) {
        ui::UniqueScHandle service(::OpenServiceW(manager_.get(), L"kvcsp1", DELETE));
        EXPECT_TRUE(::DeleteService(service.get())) << ::GetLastError();
    }
    ~ServiceRemoved() {
        const std::wstring binary = std::wstring(wiztest::kProductDir) + L"kvcsp1.exe";
        ui::UniqueScHandle service(::CreateServiceW(
            manager_.get(), L"kvcsp1", L"Vestra CSP keys storage", SERVICE_ALL_ACCESS,
            SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, binary.c_str(),
            nullptr, nullptr, nullptr, nullptr, nullptr));
        EXPECT_TRUE(service) << ::GetLastError();
    }

private:
    ui::UniqueScHandle manager_;
};

// Opens the page alone in a sheet, runs `script` on it and cancels the sheet.
void WithPage(const std::function<void(HWND sheet)>& script) {
    applet::CPropPageConfigCSPSecurity page;
    applettest::RunPageAlone(page, kCaption, [&](HWND sheet, HWND) { script(sheet); });
}

class SecurityPage : public ::testing::Test {
protected:
    // Back to the installation: its defaults and module names in both views, the providers'
    // answers, the store's switch.
    void TearDown() override {
        for (const std::wstring& view : kViews) {
            const std::wstring types =
                view + L"Microsoft\\Cryptography\\Defaults\\Provider Types\\";
            SetRegText(types + L"Type 075", L"Name", wiztest::kDefaultProvider);
            SetRegText(types + L"Type 071", L"Name", wiztest::kProvider71);
            const std::wstring providers = view + kProviders;
            SetRegText(providers + wiztest::kSecondProvider, kModuleName, L"kvcspi.dll");
            SetRegText(providers + wiztest::kDefaultProvider, kModuleName, L"kvcspr.dll");
            SetRegText(providers + wiztest::kProvider71, kModuleName, L"kvcspr.dll");
        }
        for (const wchar_t* provider :
             {wiztest::kDefaultProvider, wiztest::kSecondProvider, wiztest::kProvider71})
            ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, OwnKnobs(provider).c_str());
        support::support_registry_delete_param(store::kDisableShortcuts);
    }

    applettest::ScopedSeams seams_;
};

// A selection as the user makes it, handled before the test looks.
void Choose(HWND combo, int index) {
    SelectCombo(combo, index);
    Flush();
}

TEST_F(SecurityPage, ChoosingDefaultProvidersWritesBothRegistryViews) {
    WithPage([](HWND sheet) {
        EXPECT_EQ(L"GOST R 34.10-2001 Signature with Diffie-Hellman Key Exchange:",
                  Text(Item(sheet, IDC_SECURITY_TYPE75_LABEL)));
        HWND type75 = Item(sheet, IDC_SECURITY_TYPE75);
        HWND type71 = Item(sheet, IDC_SECURITY_TYPE71);
        const std::vector<std::wstring> items = ComboItems(type75);
        ASSERT_EQ(4u, items.size()) << "<Absent> and the three providers of type 75";
        EXPECT_EQ(L"<Absent>", items[0]);
        EXPECT_EQ(wiztest::kDefaultProvider, items[ComboSelection(type75)]);
        EXPECT_EQ(1, ComboSelection(type71));

        auto cloud = std::find(items.begin(), items.end(), wiztest::kSecondProvider);
        Choose(type75, static_cast<int>(cloud - items.begin()));
        Choose(type71, 0);
        Apply(sheet);
        EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply))) << "both saved";
    });
    for (REGSAM view : {REGSAM{0}, REGSAM{KEY_WOW64_32KEY}}) {
        SCOPED_TRACE(view ? "32-bit view" : "native view");
        EXPECT_EQ(wiztest::kSecondProvider, RegText(kTypes + L"Type 075", L"Name", view));
        EXPECT_EQ(L"", RegText(kTypes + L"Type 071", L"Name", view)) << "<Absent> writes \"\"";
    }
    // Without a default of type 71 its row goes; without a provider of the type its combo is
    // disabled as well.
    ScopedValue notType71(HKEY_LOCAL_MACHINE, kViews[0] + kProviders + wiztest::kProvider71,
                          L"Type", DWORD{72});
    WithPage([](HWND sheet) {
        HWND type71 = Item(sheet, IDC_SECURITY_TYPE71);
        EXPECT_EQ((std::vector<std::wstring>{L"<Absent>"}), ComboItems(type71));
        EXPECT_FALSE(IsEnabled(type71));
        EXPECT_FALSE(IsVisible(type71));
        EXPECT_FALSE(IsVisible(Item(sheet, IDC_SECURITY_TYPE71_LABEL)));
    });
}

// The main provider keeps its keys in the service with 5 of them cached; moving them into the
// applications' memory switches the cache off in the same apply.
TEST_F(SecurityPage, SwitchingTheModeAppliesCacheOffAndAsksToReboot) {
    SetKnob(wiztest::kDefaultProvider, testbed::knobs::kCacheSize, 5);
    WithPage([](HWND sheet) {
        Choose(Item(sheet, IDC_SECURITY_PROVIDER), kMain);
        EXPECT_EQ(BST_CHECKED, CheckState(Item(sheet, IDC_SECURITY_MODE_SERVICE)));
        EXPECT_EQ(BST_CHECKED, CheckState(Item(sheet, IDC_SECURITY_CACHING)));
        EXPECT_EQ(L"5", Text(Item(sheet, IDC_SECURITY_CACHE_SIZE)));

        Click(sheet, IDC_SECURITY_MODE_MEMORY);
        Flush();
        EXPECT_EQ(BST_UNCHECKED, CheckState(Item(sheet, IDC_SECURITY_CACHING)));
        EXPECT_FALSE(IsEnabled(Item(sheet, IDC_SECURITY_CACHING)));
        Click(SheetButton(sheet, kApply));
        MessageBoxInfo box = AnswerMessageBox(IDNO);
        EXPECT_EQ(kRebootQuestion, box.text);
        EXPECT_EQ(static_cast<UINT>(MB_ICONEXCLAMATION), box.icon);
        Flush();
        EXPECT_EQ(0, applettest::ScopedSeams::Restarts().count);
        EXPECT_EQ(0u, Knob(wiztest::kDefaultProvider, testbed::knobs::kCacheSize));
        for (const std::wstring& view : kViews)
            EXPECT_EQ(L"kvcspi.dll",
                      RegText(view + kProviders + wiztest::kDefaultProvider, kModuleName));
        EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply)));

        Click(sheet, IDC_SECURITY_MODE_SERVICE);
        Click(SheetButton(sheet, kApply));
        EXPECT_EQ(kRebootQuestion, AnswerMessageBox(IDYES).text);
        Flush();
        EXPECT_EQ(1, applettest::ScopedSeams::Restarts().count);
        for (const std::wstring& view : kViews)
            EXPECT_EQ(L"kvcspr.dll",
                      RegText(view + kProviders + wiztest::kDefaultProvider, kModuleName));
    });
}

TEST_F(SecurityPage, ACacheMaximumAboveWhatTheServiceHoldsIsCapped) {
    SetKnob(wiztest::kDefaultProvider, testbed::knobs::kCacheMaximum, 5000);
    SetKnob(wiztest::kProvider71, testbed::knobs::kCacheMaximum, 0);
    WithPage([](HWND sheet) {
        EXPECT_EQ(L"&CSP mode", Text(Item(sheet, IDC_SECURITY_MODE_GROUP)));
        Choose(Item(sheet, IDC_SECURITY_PROVIDER), kMain);
        HWND size = Item(sheet, IDC_SECURITY_CACHE_SIZE);
        EXPECT_EQ(L"8", Text(size)) << "caching off offers 8";
        Click(sheet, IDC_SECURITY_CACHING);
        Flush();
        HWND spin = Item(sheet, IDC_SECURITY_CACHE_SIZE_SPIN);
        int low = 0, high = 0;
        ::SendMessageW(spin, UDM_GETRANGE32, reinterpret_cast<WPARAM>(&low),
                       reinterpret_cast<LPARAM>(&high));
        EXPECT_EQ(1, low);
        EXPECT_EQ(2457, high);

        HWND page = ActivePage(sheet);
        auto leave = [&](const std::wstring& text) {
            ::SendMessageW(page, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(size), TRUE);
            SetText(size, text);
            ::SendMessageW(page, WM_NEXTDLGCTL,
                           reinterpret_cast<WPARAM>(Item(sheet, IDC_SECURITY_CACHING)), TRUE);
            Flush();
            return Text(size);
        };
        EXPECT_EQ(L"1", leave(L"0"));
        EXPECT_EQ(L"2457", leave(L"3000"));
        Apply(sheet);
        EXPECT_EQ(2457u, Knob(wiztest::kDefaultProvider, testbed::knobs::kCacheSize));

        // A provider without caching shows none, whatever the one before it had.
        Choose(Item(sheet, IDC_SECURITY_PROVIDER), kMain + 1);
        HWND caching = Item(sheet, IDC_SECURITY_CACHING);
        EXPECT_EQ(BST_UNCHECKED, CheckState(caching));
        EXPECT_FALSE(IsEnabled(caching));
        EXPECT_EQ(L"8", Text(size));
    });
}

// The switch follows the provider: off and changeable, absent, fixed.
TEST_F(SecurityPage, DiffieHellmanControlIsShownAsEachProviderOffersIt) {
    SetKnob(wiztest::kSecondProvider, testbed::knobs::kDhControl, kvcsp::kDhOff);
    SetKnob(wiztest::kDefaultProvider, testbed::knobs::kDhControl, 0);
    SetKnob(wiztest::kProvider71, testbed::knobs::kDhControlFixed, 1);
    WithPage([](HWND sheet) {
        HWND dh = Item(sheet, IDC_SECURITY_DH_CONTROL);
        HWND providers = Item(sheet, IDC_SECURITY_PROVIDER);
        EXPECT_TRUE(IsVisible(dh));
        EXPECT_TRUE(IsEnabled(dh));
        EXPECT_EQ(BST_UNCHECKED, CheckState(dh));

        Choose(providers, kMain);
        EXPECT_FALSE(IsVisible(dh)) << "a provider without the switch";
        EXPECT_EQ(BST_CHECKED, CheckState(dh)) << "NTE_BAD_TYPE: works as if on";
        EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply))) << "and that is no change";

        Choose(providers, kMain + 1);
        EXPECT_TRUE(IsVisible(dh));
        EXPECT_FALSE(IsEnabled(dh)) << "a switch the provider does not let change";
        EXPECT_EQ(BST_CHECKED, CheckState(dh));

        Choose(providers, kCloud);
        EXPECT_EQ(BST_UNCHECKED, CheckState(dh));
        Click(dh);
        Apply(sheet);
        EXPECT_EQ(kvcsp::kDhOn, Knob(wiztest::kSecondProvider, testbed::knobs::kDhControl));
        EXPECT_EQ(0u, Knob(wiztest::kDefaultProvider, testbed::knobs::kDhControl));
    });
}

// Class KC1 keeps its keys in the service only where the service is installed, any other class
// only in the service; a module name the page does not know offers neither.
TEST_F(SecurityPage, TheModesOfferedFollowTheClassTheServiceAndTheModuleName) {
    auto offered = [](bool service, bool memory) {
        WithPage([=](HWND sheet) {
            Choose(Item(sheet, IDC_SECURITY_PROVIDER), kMain);
            EXPECT_EQ(service, IsEnabled(Item(sheet, IDC_SECURITY_MODE_SERVICE)));
            EXPECT_EQ(memory, IsEnabled(Item(sheet, IDC_SECURITY_MODE_MEMORY)));
        });
    };
    offered(true, true);
    {
        ServiceRemoved removed;
        offered(false, true);
    }
    SetKnob(wiztest::kDefaultProvider, testbed::knobs::kProtectionClass, 2);
    offered(true, false);
    SetRegText(kViews[0] + kProviders + wiztest::kDefaultProvider, kModuleName, L"KVCSPR.dll");
    offered(false, false);
}

TEST_F(SecurityPage, AFailedProviderWriteKeepsThePageModifiedForAnotherApply) {
    wiztest::InjectedFailure failure(std::string("CPSetProvParam.143"), 1,
                                     static_cast<DWORD>(NTE_FAIL));
    WithPage([&](HWND sheet) {
        Click(sheet, IDC_SECURITY_DH_CONTROL);
        Click(SheetButton(sheet, kApply));
        MessageBoxInfo box = AnswerMessageBox(IDOK);
        EXPECT_EQ(L"Error saving parameters.", box.text);
        EXPECT_EQ(static_cast<UINT>(MB_ICONERROR), box.icon);
        Flush();
        EXPECT_TRUE(failure.Fired());
        EXPECT_TRUE(IsEnabled(SheetButton(sheet, kApply))) << "still modified";
        EXPECT_EQ(0xFFFFFFFFu, Knob(wiztest::kSecondProvider, testbed::knobs::kDhControl));
        Apply(sheet);
        EXPECT_EQ(kvcsp::kDhOff, Knob(wiztest::kSecondProvider, testbed::knobs::kDhControl));
        EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply)));
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

    ScopedValue readOnly(HKEY_LOCAL_MACHINE, testbed::knobs::kAccess, store::kParameters,
                         static_cast<DWORD>(testbed::knobs::kRead));
    WithPage([](HWND sheet) {
        HWND media = Item(sheet, IDC_SECURITY_SAVE_MEDIA_INFO);
        EXPECT_EQ(BST_UNCHECKED, CheckState(media));
        EXPECT_FALSE(IsEnabled(media));
    });
}

}  // namespace
