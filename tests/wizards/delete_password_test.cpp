// Deleting a container and changing its password, as a user does it.
#include "driver/driver.h"
#include "resource.h"
#include "testbed/knobs.h"
#include "wizard_fixture.h"
#include "wizards/change_password.h"
#include "wizards/delete_container.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using namespace wiztest;

// Types `name`, chooses Computer when asked, presses Finish.
void NameAndFinish(HWND wizard, const std::wstring& name, bool machine = false) {
    if (machine) Click(wizard, IDC_SELECT_COMPUTER);
    SetText(Item(wizard, IDC_SELECT_NAME), name);
    Click(SheetButton(wizard, kFinish));
}

std::wstring DeleteQuestion(const std::wstring& name) {
    return L"All private keys and certificates from container '" + name +
           L"' will be deleted now. The container stop exists and you cannot recover these keys "
           L"any more. Continue?";
}

TEST(DeleteContainer, NoKeepsTheContainerYesDeletesIt) {
    CreateContainer(L"kv-delete-user", false);
    CreateContainer(L"kv-delete-machine", true);
    struct Case {
        const wchar_t* name;
        bool machine;
        int answer;
        bool remains;
    };
    for (Case c : {Case{L"kv-delete-user", false, IDNO, true},
                   Case{L"kv-delete-user", false, IDYES, false},
                   Case{L"kv-delete-machine", true, IDYES, false}}) {
        SCOPED_TRACE(Narrow(c.name) + (c.answer == IDYES ? " yes" : " no"));
        applet::CWizardDeleteContainer wizard(nullptr);
        RunModal([&] { return wizard.DoModal(); },
                 [&] {
                     HWND hwnd = WaitForWindow({L"#32770", L"Delete private key container"});
                     NameAndFinish(hwnd, c.name, c.machine);
                     MessageBoxInfo box = AnswerMessageBox(c.answer);
                     EXPECT_EQ(DeleteQuestion(c.name), box.text);
                     EXPECT_EQ(static_cast<UINT>(MB_ICONEXCLAMATION), box.icon);
                     WaitUntilGone(hwnd);
                 });
        EXPECT_EQ(c.remains, ContainerExists(c.name, c.machine));
    }
    EXPECT_EQ(0, Live().contexts);
}

TEST(DeleteContainer, AMissingContainerShowsTheProvidersErrorAndStays) {
    applet::CWizardDeleteContainer wizard(nullptr);
    RunModal([&] { return wizard.DoModal(); },
             [&] {
                 HWND hwnd = WaitForWindow({L"#32770", L"Delete private key container"});
                 NameAndFinish(hwnd, L"kv-no-such-container");
                 AnswerMessageBox(IDYES);
                 MessageBoxInfo box = AnswerMessageBox(IDOK);
                 const std::wstring head =
                     L"Access private key container 'kv-no-such-container' error:\nError 0x";
                 EXPECT_EQ(head, box.text.substr(0, head.size()));
                 EXPECT_NE(std::wstring::npos, box.text.find(L"(-2146893802)"))
                     << "NTE_BAD_KEYSET from the provider: " << Narrow(box.text);
                 EXPECT_EQ(static_cast<UINT>(MB_ICONERROR), box.icon);
                 Flush();
                 EXPECT_TRUE(IsVisible(hwnd));
                 PressSheetButton(hwnd, PSBTN_CANCEL);
             });
    EXPECT_EQ(0, Live().contexts);
}

TEST(ChangePassword, TheProviderChangesItAndAFailureLetsTheUserTryAgain) {
    CreateContainer(L"kv-password", false);
    const DWORD before = CallCount(testbed::knobs::kCallPasswordChange);
    {
        applet::CWizardChangePassword wizard(nullptr);
        {
            ScopedValue refuse(HKEY_LOCAL_MACHINE, ProviderKnobKey(),
                               testbed::knobs::kPasswordResult, static_cast<DWORD>(SCARD_W_CANCELLED_BY_USER));
            RunModal([&] { return wizard.DoModal(); },
                     [&] {
                         HWND hwnd = WaitForWindow(
                             {L"#32770", L"Change password for private key container"});
                         NameAndFinish(hwnd, L"kv-password");
                         MessageBoxInfo box = AnswerMessageBox(IDOK);
                         EXPECT_EQ(L"Error 0x8010006E (-2146434962) ",
                                   box.text.substr(0, 31));
                         EXPECT_EQ(static_cast<UINT>(MB_ICONERROR), box.icon);
                         Flush();
                         EXPECT_TRUE(IsVisible(hwnd));
                         EXPECT_EQ(1, Live().contexts);
                         PressSheetButton(hwnd, PSBTN_CANCEL);
                     });
        }
        // The wizard still holds the container of the failed attempt; its release keeps the
        // caller's last error.
        EXPECT_EQ(1, Live().contexts);
        ::SetLastError(static_cast<DWORD>(SCARD_W_CANCELLED_BY_USER));
    }
    EXPECT_EQ(static_cast<DWORD>(SCARD_W_CANCELLED_BY_USER), ::GetLastError());
    EXPECT_EQ(0, Live().contexts);

    applet::CWizardChangePassword wizard(nullptr);
    RunModal([&] { return wizard.DoModal(); },
             [&] {
                 HWND hwnd = WaitForWindow({L"#32770", L"Change password for private key container"});
                 {
                     ScopedValue refuse(HKEY_LOCAL_MACHINE, ProviderKnobKey(),
                                        testbed::knobs::kPasswordResult,
                                        static_cast<DWORD>(NTE_BAD_DATA));
                     NameAndFinish(hwnd, L"kv-password");
                     AnswerMessageBox(IDOK);
                 }
                 Click(SheetButton(hwnd, kFinish));  // the second attempt succeeds
                 WaitUntilGone(hwnd);
             });
    EXPECT_EQ(1, Live().contexts) << "the second attempt released the first handle";
    EXPECT_EQ(before + 3, CallCount(testbed::knobs::kCallPasswordChange));
    DeleteContainer(L"kv-password", false);
}

}  // namespace
