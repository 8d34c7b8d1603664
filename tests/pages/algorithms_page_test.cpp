// The Algorithms page over the testbed's providers: the lists each type offers and what Apply
// hands back to the provider.
#include "driver/driver.h"
#include "page_support.h"
#include "pages/algorithms_page.h"
#include "resource.h"
#include "testbed/calls.h"
#include "testbed/client.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using namespace pagetest;
using Texts = std::vector<std::wstring>;
namespace knobs = testbed::knobs;

const std::wstring kStore = L"Software\\Kelvane\\Testbed\\Store\\config\\oid";
const std::wstring kType75 = kStore + L"\\Type 075";
const std::initializer_list<int> kCombos = {IDC_ALGORITHMS_HASH, IDC_ALGORITHMS_ENCRYPTION,
                                            IDC_ALGORITHMS_SIGNATURE, IDC_ALGORITHMS_DH};
const std::vector<bool> kNoneEnabled(4, false);

class Algorithms : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override { ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kStore.c_str()); }

    static void Run(const std::function<void(HWND sheet, HWND page)>& script,
                    applettest::AfterScript after = applettest::AfterScript::kCancel) {
        RunPage<applet::CPropPageConfigCSPOID>(L"Algorithms page", script, after);
    }
};

TEST_F(Algorithms, SwitchingTypesRebuildsTheListsAndApplyHandsTheChoiceToTheProvider) {
    Run(
        [&](HWND sheet, HWND page) {
            HWND types = Item(page, IDC_ALGORITHMS_PROV_TYPE);
            HWND signature = Item(page, IDC_ALGORITHMS_SIGNATURE), dh = Item(page, IDC_ALGORITHMS_DH);
            const Texts signatures75 = ComboItems(signature);
            SelectCombo(signature, 2);
            applettest::Apply(sheet);
            EXPECT_EQ(L"1.2.643.2.2.35.3", RegText(kType75, L"Signature"));
            EXPECT_EQ(std::nullopt, RegText(kType75, L"Hash")) << "only what changed is written";

            // The product's provider is registered for type 75 only: under type 71 it gives no
            // lists, and coming back builds them afresh.
            SelectCombo(dh, 1);
            SelectCombo(types, 1);
            WaitUntil([&] { return ComboItems(signature).empty(); }, "no type-71 lists");
            EXPECT_EQ(kNoneEnabled, Enabled(page, kCombos));
            SelectCombo(types, 0);
            WaitUntil([&] { return ComboItems(signature) == signatures75; }, "the type-75 lists");
            EXPECT_EQ(2, ComboSelection(signature)) << "what the provider keeps";
            EXPECT_EQ(0, ComboSelection(dh)) << "the choice not applied is gone";
            Flush();
            EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply)));
            PressSheetButton(sheet, PSBTN_OK);
        },
        applettest::AfterScript::kScriptCloses);
    EXPECT_EQ(std::nullopt, RegText(kType75, L"DH"));
}

TEST_F(Algorithms, AParameterTheProviderCannotListIsNeverSet) {
    // A provider that cannot list the hash parameters: that combo is empty and disabled, the
    // others work, and the hash parameter is never set.
    const std::wstring fail = std::wstring(knobs::kProvider) + L"\\Fail\\CPGetProvParam.103";
    testbed::ScopedKnob failing(fail.c_str(), knobs::kFailCall, 1);
    testbed::ScopedKnob error(fail.c_str(), knobs::kFailError, DWORD(NTE_BAD_TYPE));
    const long before = testbed::ProviderCalls()["CPSetProvParam.92"];
    Run(
        [&](HWND sheet, HWND page) {
            EXPECT_FALSE(IsEnabled(Item(page, IDC_ALGORITHMS_HASH)));
            SelectCombo(Item(page, IDC_ALGORITHMS_ENCRYPTION), 1);
            Click(sheet, IDOK);
            WaitUntilGone(sheet);
        },
        applettest::AfterScript::kScriptCloses);
    EXPECT_EQ(before, testbed::ProviderCalls()["CPSetProvParam.92"]);
    EXPECT_EQ(L"1.2.643.2.2.31.2", RegText(kType75, L"Cipher"));
}

}  // namespace
