// The user input timeout dialog: what it shows of the stored timeouts, what OK writes back, and
// the system level greyed out for a user who may not change it.
#include "applet/support.h"
#include "driver/driver.h"
#include "page_support.h"
#include "pages/timeout_dialog.h"
#include "resource.h"
#include "testbed/client.h"

#include <gtest/gtest.h>

#include <tuple>

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

// Numbers out of range are shown at the nearest end; a user without a number of his own sees
// the system's. Each case: global, local, then what is read (system choice and number, user's).
TEST_F(Timeouts, ReadingShowsEachStoredNumberWithinItsRange) {
    using T = TimeoutSettings;
    const std::tuple<std::optional<DWORD>, std::optional<DWORD>, std::vector<int>> cases[] = {
        {std::nullopt, std::nullopt, {T::kSystemTimeout, 600, T::kUserSystemDefault, 600}},
        {DWORD(-5), 0, {T::kSystemTimeout, 1, T::kUserTimeout, 1}},
        {70000, kInfinite, {T::kSystemTimeout, 65535, T::kUserInfinite, 65535}},
        {kInfinite, 70000, {T::kSystemInfinite, 600, T::kUserTimeout, 65535}}};
    for (const auto& [global, local, expected] : cases) {
        Store(L"global", global);
        Store(L"local", local);
        const TimeoutSettings read = applet::ReadTimeoutSettings();
        EXPECT_EQ(expected, (std::vector<int>{read.systemChoice, read.systemValue, read.userChoice,
                                              read.userValue}));
    }
}

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

// A user who may not change the system default: its group is greyed out, the range is
// enforced on OK, and OK writes only the user's timeouts.
TEST_F(Timeouts, TheDialogWithoutSystemAccessWritesOnlyTheUsersTimeouts) {
    Store(L"global", 100);
    testbed::ScopedKnob readOnly(testbed::knobs::kAccess, L"\\global", testbed::knobs::kRead);
    applet::CDialogSetTimeout dialog;
    INT_PTR result = RunModal([&] { return dialog.DoModal(nullptr); }, [&] {
        HWND hwnd = WaitForWindow({L"#32770", L"User input timeout"});
        EXPECT_EQ(std::vector<bool>(7, false),
                  pagetest::Enabled(hwnd, {IDC_TIMEOUT_SYSTEM_GROUP, IDC_TIMEOUT_SYSTEM_INFINITE,
                                           IDC_TIMEOUT_SYSTEM_SET, IDC_TIMEOUT_SYSTEM_VALUE,
                                           IDC_TIMEOUT_SYSTEM_SPIN, IDC_TIMEOUT_SYSTEM_SECONDS,
                                           IDC_TIMEOUT_USER_VALUE}));
        EXPECT_EQ(BST_CHECKED, CheckState(Item(hwnd, IDC_TIMEOUT_USER_DEFAULT)));
        HWND value = Item(hwnd, IDC_TIMEOUT_USER_VALUE);
        EXPECT_EQ(L"100", Text(value)) << "the user's number shows the system's";

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
