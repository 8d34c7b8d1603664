// The user input timeout dialog: what OK writes back, and the system level greyed out for a user
// who may not change it.
#include "applet/support.h"
#include "driver/driver.h"
#include "page_support.h"
#include "pages/timeout_dialog.h"
#include "resource.h"
#include "testbed/client.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using applet::TimeoutSettings;
using Values = std::vector<std::optional<DWORD>>;
constexpr DWORD kInfinite = 0xFFFFFFFF;

std::wstring Path(const wchar_t* level, const wchar_t* name) {
    return std::wstring(L"\\") + level + L"\\KeyDevices\\" + name;
}

// The five timeouts of `level` ("local" or "global"): stored (`value` for each, nullopt removes
// them) and read back.
const wchar_t* const kNames[] = {L"retry_time", L"login_time", L"passwd_time", L"choice_time",
                                 L"bio_time"};
void Store(const wchar_t* level, std::optional<DWORD> value) {
    for (const wchar_t* name : kNames)
        value ? support::support_registry_put_long(Path(level, name).c_str(), *value)
              : support::support_registry_delete_param(Path(level, name).c_str());
}
Values Stored(const wchar_t* level) {
    Values values;
    for (const wchar_t* name : kNames) values.push_back(pagetest::StoredNumber(Path(level, name)));
    return values;
}

class Timeouts : public ::testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        Store(L"local", std::nullopt);
        Store(L"global", std::nullopt);
    }
};

TEST_F(Timeouts, WritingGivesAllFiveOneNumberAndTheDefaultRemovesTheUsers) {
    TimeoutSettings settings = applet::ReadTimeoutSettings();
    settings.systemChoice = TimeoutSettings::kSystemTimeout;
    settings.systemValue = 77;
    settings.userChoice = TimeoutSettings::kUserInfinite;
    applet::WriteTimeoutSettings(settings);
    EXPECT_EQ(Values(5, 77), Stored(L"global"));
    EXPECT_EQ(Values(5, kInfinite), Stored(L"local"));

    settings.userChoice = TimeoutSettings::kUserSystemDefault;
    applet::WriteTimeoutSettings(settings);
    EXPECT_EQ(Values(5, std::nullopt), Stored(L"local")) << "not the system's number written in";
}

// A user who may not change the system default: its choice is greyed out, the range (up to its
// maximum) is enforced on OK, and OK writes only the user's timeouts.
TEST_F(Timeouts, TheDialogWithoutSystemAccessWritesOnlyTheUsersTimeouts) {
    Store(L"global", 100);
    testbed::ScopedKnob readOnly(testbed::knobs::kAccess, L"\\global", testbed::knobs::kRead);
    applet::CDialogSetTimeout dialog;
    INT_PTR result = RunModal([&] { return dialog.DoModal(nullptr); }, [&] {
        HWND hwnd = WaitForWindow({L"#32770", L"User input timeout"});
        EXPECT_FALSE(IsEnabled(Item(hwnd, IDC_TIMEOUT_SYSTEM_SET)));
        HWND value = Item(hwnd, IDC_TIMEOUT_USER_VALUE);

        Click(hwnd, IDC_TIMEOUT_USER_SET);
        SetText(value, L"65536");
        Click(hwnd, IDOK);
        EXPECT_EQ(L"Enter a whole number from 1 to 65535.", AnswerMessageBox(IDOK).text);
        Flush();
        EXPECT_TRUE(IsVisible(hwnd)) << "OK refused";
        SetText(value, L"65535");
        Click(hwnd, IDOK);
        WaitUntilGone(hwnd);
    });
    EXPECT_EQ(IDOK, result);
    EXPECT_EQ(Values(5, 65535), Stored(L"local"));
    EXPECT_EQ(Values(5, 100), Stored(L"global"));
}

}  // namespace
