// The user input timeout dialog: what it shows of the stored timeouts, what OK writes back, and
// the system level greyed out for a user who may not change it.
#include "applet/support.h"
#include "applet_fixture.h"
#include "client.h"
#include "driver/driver.h"
#include "pages/timeout_dialog.h"
#include "resource.h"
#include "testbed/knobs.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using namespace driver;
using applet::TimeoutSettings;

const wchar_t* const kNames[] = {L"retry_time", L"login_time", L"passwd_time", L"choice_time",
                                 L"bio_time"};
constexpr DWORD kInfinite = 0xFFFFFFFF;

std::wstring Path(const wchar_t* level, const wchar_t* name) {
    return std::wstring(L"\\") + level + L"\\KeyDevices\\" + name;
}

// Stores `value` under every timeout name of `level` ("local" or "global"), or removes them.
void Store(const wchar_t* level, std::optional<DWORD> value) {
    for (const wchar_t* name : kNames) {
        if (value)
            support::support_registry_put_long(Path(level, name).c_str(), *value);
        else
            support::support_registry_delete_param(Path(level, name).c_str());
    }
}

// The five timeouts of `level`, nullopt where absent.
std::vector<std::optional<DWORD>> Stored(const wchar_t* level) {
    std::vector<std::optional<DWORD>> values;
    for (const wchar_t* name : kNames) {
        DWORD value = 0;
        if (support::support_registry_get_long(Path(level, name).c_str(), &value) == 0)
            values.emplace_back(value);
        else
            values.emplace_back();
    }
    return values;
}

std::vector<std::optional<DWORD>> Five(std::optional<DWORD> value) {
    return std::vector<std::optional<DWORD>>(5, value);
}

class Timeouts : public ::testing::Test {
protected:
    void SetUp() override {
        Store(L"local", std::nullopt);
        Store(L"global", std::nullopt);
    }
    void TearDown() override { SetUp(); }
};

TEST_F(Timeouts, ReadingShowsEachStoredNumberWithinItsRange) {
    struct Case {
        std::optional<DWORD> global, local;
        int systemChoice, systemValue, userChoice, userValue;
    };
    const Case cases[] = {
        {std::nullopt, std::nullopt, TimeoutSettings::kSystemTimeout, 600,
         TimeoutSettings::kUserSystemDefault, 600},
        {0, 45, TimeoutSettings::kSystemTimeout, 1, TimeoutSettings::kUserTimeout, 45},
        {static_cast<DWORD>(-5), 0, TimeoutSettings::kSystemTimeout, 1,
         TimeoutSettings::kUserTimeout, 1},
        {70000, kInfinite, TimeoutSettings::kSystemTimeout, 65535, TimeoutSettings::kUserInfinite,
         65535},
        {kInfinite, 70000, TimeoutSettings::kSystemInfinite, 600, TimeoutSettings::kUserTimeout,
         65535},
        {30, std::nullopt, TimeoutSettings::kSystemTimeout, 30, TimeoutSettings::kUserSystemDefault,
         30},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message()
                     << "global " << (c.global ? std::to_string(*c.global) : "absent") << ", local "
                     << (c.local ? std::to_string(*c.local) : "absent"));
        Store(L"global", c.global);
        Store(L"local", c.local);
        TimeoutSettings read = applet::ReadTimeoutSettings();
        EXPECT_EQ(c.systemChoice, read.systemChoice);
        EXPECT_EQ(c.systemValue, read.systemValue);
        EXPECT_EQ(c.userChoice, read.userChoice);
        EXPECT_EQ(c.userValue, read.userValue) << "a user level without its own number shows "
                                                  "the system's";
        EXPECT_TRUE(read.mayWriteUser && read.mayWriteSystem);
    }
}

TEST_F(Timeouts, WritingGivesAllFiveOneNumberAndTheDefaultRemovesTheUsers) {
    for (const wchar_t* level : {L"local", L"global"}) {
        DWORD different = 10;
        for (const wchar_t* name : kNames)
            support::support_registry_put_long(Path(level, name).c_str(), different++);
    }
    TimeoutSettings settings = applet::ReadTimeoutSettings();
    settings.systemChoice = TimeoutSettings::kSystemTimeout;
    settings.systemValue = 77;
    settings.userChoice = TimeoutSettings::kUserTimeout;
    settings.userValue = 33;
    applet::WriteTimeoutSettings(settings);
    EXPECT_EQ(Five(77), Stored(L"global"));
    EXPECT_EQ(Five(33), Stored(L"local"));

    settings.systemChoice = TimeoutSettings::kSystemInfinite;
    settings.userChoice = TimeoutSettings::kUserInfinite;
    applet::WriteTimeoutSettings(settings);
    EXPECT_EQ(Five(kInfinite), Stored(L"global"));
    EXPECT_EQ(Five(kInfinite), Stored(L"local"));

    settings.userChoice = TimeoutSettings::kUserSystemDefault;
    applet::WriteTimeoutSettings(settings);
    EXPECT_EQ(Five(std::nullopt), Stored(L"local")) << "not the system's number written in";
    EXPECT_EQ(Five(kInfinite), Stored(L"global"));
}

// A user who may not change the system default: its group is greyed out, the range is
// enforced on OK, and OK writes only the user's timeouts.
TEST_F(Timeouts, TheDialogWithoutSystemAccessWritesOnlyTheUsersTimeouts) {
    Store(L"global", 100);
    testbed::ScopedKnob readOnly(testbed::knobs::kAccess, L"\\global", testbed::knobs::kRead);
    applet::CDialogSetTimeout dialog;
    INT_PTR result = RunModal(
        [&] { return dialog.DoModal(nullptr); },
        [&] {
            HWND hwnd = WaitForWindow({L"#32770", L"User input timeout"});
            for (int id :
                 {IDC_TIMEOUT_SYSTEM_GROUP, IDC_TIMEOUT_SYSTEM_INFINITE, IDC_TIMEOUT_SYSTEM_SET,
                  IDC_TIMEOUT_SYSTEM_VALUE, IDC_TIMEOUT_SYSTEM_SPIN, IDC_TIMEOUT_SYSTEM_SECONDS})
                EXPECT_FALSE(IsEnabled(Item(hwnd, id))) << "system control " << id;
            EXPECT_EQ(L"100", Text(Item(hwnd, IDC_TIMEOUT_SYSTEM_VALUE)));
            EXPECT_EQ(BST_CHECKED, CheckState(Item(hwnd, IDC_TIMEOUT_USER_DEFAULT)));
            HWND value = Item(hwnd, IDC_TIMEOUT_USER_VALUE);
            EXPECT_FALSE(IsEnabled(value)) << "the user's number waits for its own choice";
            EXPECT_EQ(L"100", Text(value)) << "meanwhile it shows the system's";

            Click(hwnd, IDC_TIMEOUT_USER_SET);
            SetText(value, L"70000");
            Click(hwnd, IDOK);
            EXPECT_EQ(L"Enter a whole number from 1 to 65535.", AnswerMessageBox(IDOK).text);
            Flush();
            EXPECT_TRUE(IsVisible(hwnd)) << "OK refused";
            SetText(value, L"45");
            Click(hwnd, IDOK);
            WaitUntilGone(hwnd);
        });
    EXPECT_EQ(IDOK, result);
    EXPECT_EQ(Five(45), Stored(L"local"));
    EXPECT_EQ(Five(100), Stored(L"global"));
}

}  // namespace
