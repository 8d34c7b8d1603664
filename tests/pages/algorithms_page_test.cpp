// The parameter combo's rules and the Algorithms page over the testbed's providers: the lists
// each type offers, what Apply hands back to the provider, and the page for someone who may not
// change it.
#include "applet/combo_param.h"
#include "applet_fixture.h"
#include "driver/driver.h"
#include "pages/algorithms_page.h"
#include "resource.h"
#include "testbed/calls.h"
#include "testbed/client.h"
#include "testbed/knobs.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace driver;
using applet::ParamEntry;
using testbed::ScopedKnob;
namespace knobs = testbed::knobs;

TEST(ComboParam, SelectsTheLastEntryWithExactlyTheCurrentBytes) {
    const auto entry = [](const char* value) {
        return ParamEntry{L"", std::vector<BYTE>(value, value + std::strlen(value) + 1)};
    };
    const std::vector<ParamEntry> entries = {entry("1.2.3"), entry("1.2.30"), entry("1.2.3")};
    EXPECT_EQ(2, applet::MatchingEntry(entries, entry("1.2.3").value)) << "the last match";
    EXPECT_EQ(1, applet::MatchingEntry(entries, entry("1.2.30").value));
    EXPECT_EQ(0, applet::MatchingEntry(entries, {'1', '.', '2', '.', '3'})) << "no NUL, no match";
    EXPECT_EQ(0, applet::MatchingEntry(entries, entry("9.9").value));
}

constexpr int kCombos[] = {IDC_ALGORITHMS_HASH, IDC_ALGORITHMS_ENCRYPTION, IDC_ALGORITHMS_SIGNATURE,
                           IDC_ALGORITHMS_DH};

std::wstring Selected(HWND combo) {
    const int index = ComboSelection(combo);
    const std::vector<std::wstring> items = ComboItems(combo);
    return index >= 0 && index < static_cast<int>(items.size()) ? items[index] : L"";
}

// The provider's default for `name` ("Signature") of `type`, as it keeps it.
std::wstring ProviderDefault(const wchar_t* type, const wchar_t* name) {
    const std::wstring key =
        std::wstring(L"Software\\Kelvane\\Testbed\\Store\\config\\oid\\") + type;
    wchar_t value[64] = {};
    DWORD size = sizeof(value);
    ::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_SZ, nullptr, value, &size);
    return value;
}

class Algorithms : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"Software\\Kelvane\\Testbed\\Store\\config\\oid");
    }

    static void Run(const std::function<void(HWND sheet, HWND page)>& script,
                    applettest::AfterScript after = applettest::AfterScript::kCancel) {
        applet::CPropPageConfigCSPOID page;
        applettest::RunPageAlone(page, L"Algorithms page", script, after);
    }
};

TEST_F(Algorithms, SwitchingTypesRebuildsTheListsAndApplyHandsTheChoiceToTheProvider) {
    Run(
        [&](HWND sheet, HWND page) {
            HWND types = Item(page, IDC_ALGORITHMS_PROV_TYPE);
            ASSERT_EQ(2u, ComboItems(types).size());
            EXPECT_EQ(0, ComboSelection(types));
            HWND signature = Item(page, IDC_ALGORITHMS_SIGNATURE);
            const std::vector<std::wstring> signatures75 = ComboItems(signature);
            EXPECT_EQ(
                (std::vector<std::wstring>{L"Signature parameters A", L"Signature parameters B",
                                           L"Signature parameters C", L"Test parameter set"}),
                signatures75);
            for (int id : kCombos) {
                EXPECT_TRUE(IsEnabled(Item(page, id))) << id;
                EXPECT_EQ(0, ComboSelection(Item(page, id))) << id << ": the provider's default";
            }

            SelectCombo(signature, 2);
            WaitUntil([&] { return IsEnabled(SheetButton(sheet, kApply)); }, "Apply offered");
            Click(sheet, kApply);
            WaitUntil([&] { return !IsEnabled(SheetButton(sheet, kApply)); }, "applied");
            EXPECT_EQ(L"1.2.643.2.2.35.3", ProviderDefault(L"Type 075", L"Signature"));
            EXPECT_EQ(L"", ProviderDefault(L"Type 075", L"Hash")) << "only what changed is written";

            // The product's provider is registered for type 75 only: under type 71 it gives no
            // lists, and coming back builds them afresh.
            HWND dh = Item(page, IDC_ALGORITHMS_DH);
            SelectCombo(dh, 1);
            WaitUntil([&] { return IsEnabled(SheetButton(sheet, kApply)); }, "Apply offered");
            SelectCombo(types, 1);
            WaitUntil([&] { return ComboItems(signature).empty(); }, "no type-71 lists");
            for (int id : kCombos) EXPECT_FALSE(IsEnabled(Item(page, id))) << id;
            SelectCombo(types, 0);
            WaitUntil([&] { return ComboItems(signature) == signatures75; }, "the type-75 lists");
            EXPECT_EQ(L"Signature parameters C", Selected(signature)) << "what the provider keeps";
            EXPECT_EQ(0, ComboSelection(dh)) << "the choice not applied is gone";
            Flush();
            EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply)));
            PressSheetButton(sheet, PSBTN_OK);
        },
        applettest::AfterScript::kScriptCloses);
    EXPECT_EQ(L"", ProviderDefault(L"Type 075", L"DH"));
}

TEST_F(Algorithms, WithoutTheRightOrTheListsNothingIsWritten) {
    {
        // The provider keeps the choices in the store; who may not write there only looks.
        ScopedKnob access(knobs::kAccess, L"\\config\\oid", knobs::kRead);
        Run([&](HWND, HWND page) {
            for (int id : kCombos) {
                EXPECT_FALSE(IsEnabled(Item(page, id))) << id;
                EXPECT_GE(ComboItems(Item(page, id)).size(), 2u) << id;
            }
        });
    }
    {
        // A provider that cannot list the hash parameters: that combo is empty and disabled, the
        // others work, and the hash parameter is never set.
        ScopedKnob fail(L"Software\\Kelvane\\Testbed\\Provider\\Fail\\CPGetProvParam.103",
                        knobs::kFailCall, 1);
        ScopedKnob error(L"Software\\Kelvane\\Testbed\\Provider\\Fail\\CPGetProvParam.103",
                         knobs::kFailError, static_cast<DWORD>(NTE_BAD_TYPE));
        const long before = testbed::ProviderCalls()["CPSetProvParam.92"];
        Run(
            [&](HWND sheet, HWND page) {
                HWND hash = Item(page, IDC_ALGORITHMS_HASH);
                EXPECT_FALSE(IsEnabled(hash));
                EXPECT_TRUE(ComboItems(hash).empty());
                SelectCombo(Item(page, IDC_ALGORITHMS_ENCRYPTION), 1);
                Click(sheet, IDOK);
                WaitUntilGone(sheet);
            },
            applettest::AfterScript::kScriptCloses);
        EXPECT_EQ(before, testbed::ProviderCalls()["CPSetProvParam.92"]);
        EXPECT_EQ(L"1.2.643.2.2.31.2", ProviderDefault(L"Type 075", L"Cipher"));
    }
}

// Renames a value of HKLM for the scope.
class HiddenValue {
public:
    HiddenValue(const wchar_t* key, const wchar_t* name) : key_(key), name_(name) {
        DWORD size = sizeof(value_);
        EXPECT_EQ(ERROR_SUCCESS, ::RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_SZ,
                                                nullptr, value_, &size));
        ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key, name);
    }
    ~HiddenValue() {
        ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key_, name_, REG_SZ, value_,
                          static_cast<DWORD>((std::wcslen(value_) + 1) * sizeof(wchar_t)));
    }

private:
    const wchar_t* key_;
    const wchar_t* name_;
    wchar_t value_[256] = {};
};

TEST_F(Algorithms, WithoutRegisteredTypesThereIsNothingToConfigure) {
    constexpr wchar_t kTypes[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\";
    const std::wstring type75 = std::wstring(kTypes) + L"Type 075";
    const std::wstring type71 = std::wstring(kTypes) + L"Type 071";
    {
        // The type-71 entry takes the first place but not the type: no provider answers.
        HiddenValue hidden(type75.c_str(), L"TypeName");
        Run([&](HWND, HWND page) {
            EXPECT_EQ(1u, ComboItems(Item(page, IDC_ALGORITHMS_PROV_TYPE)).size());
            for (int id : kCombos) EXPECT_FALSE(IsEnabled(Item(page, id))) << id;
        });
        HiddenValue both(type71.c_str(), L"TypeName");
        const long acquired = testbed::ProviderCalls()["CPAcquireContext"];
        Run([&](HWND, HWND page) {
            EXPECT_TRUE(ComboItems(Item(page, IDC_ALGORITHMS_PROV_TYPE)).empty());
            for (int id : kCombos) {
                EXPECT_FALSE(IsEnabled(Item(page, id))) << id;
                EXPECT_TRUE(ComboItems(Item(page, id)).empty()) << id;
            }
        });
        EXPECT_EQ(acquired, testbed::ProviderCalls()["CPAcquireContext"]);
    }
}

}  // namespace
