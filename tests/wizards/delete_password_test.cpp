// Deleting a container and changing its password, as a user does it, and the wizard entry
// points of the installed applet called by another program with its window.
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

const std::wstring kDelete = L"Delete private key container";
const std::wstring kChange = L"Change password for private key container";

// Runs the wizard; `script` gets it once it shows.
template <class Wizard>
void RunWizard(const std::wstring& title, const std::function<void(HWND)>& script) {
    Wizard wizard(nullptr);
    RunModal([&] { return wizard.DoModal(); }, [&] { script(WaitForWindow({L"#32770", title})); });
}

// Types `name`, chooses Computer when asked, presses Finish.
void NameAndFinish(HWND wizard, const std::wstring& name, bool machine = false) {
    if (machine) Click(wizard, IDC_SELECT_COMPUTER);
    SetText(Item(wizard, IDC_SELECT_NAME), name);
    Click(SheetButton(wizard, kFinish));
}

void ExpectBox(int answer, UINT icon, const std::wstring& head) {
    const MessageBoxInfo box = AnswerMessageBox(answer);
    EXPECT_EQ(head, box.text.substr(0, head.size()));
    EXPECT_EQ(icon, box.icon);
}

TEST(DeleteContainer, NoKeepsTheContainerYesDeletesItAMissingOneStays) {
    CreateContainer(L"kv-delete-user", false);
    CreateContainer(L"kv-delete-machine", true);
    for (const auto& [name, machine, answer] :
         {std::tuple{L"kv-delete-user", false, IDNO}, std::tuple{L"kv-delete-user", false, IDYES},
          std::tuple{L"kv-delete-machine", true, IDYES}}) {
        RunWizard<applet::CWizardDeleteContainer>(kDelete, [&](HWND hwnd) {
            NameAndFinish(hwnd, name, machine);
            ExpectBox(answer, MB_ICONEXCLAMATION,
                      L"All private keys and certificates from container '" + std::wstring(name) +
                          L"' will be deleted now. The container stop exists and you cannot "
                          L"recover these keys any more. Continue?");
            WaitUntilGone(hwnd);
        });
        EXPECT_EQ(answer == IDNO, ContainerExists(name, machine)) << Narrow(name) << answer;
    }
    RunWizard<applet::CWizardDeleteContainer>(kDelete, [](HWND hwnd) {
        NameAndFinish(hwnd, L"kv-no-such-container");
        AnswerMessageBox(IDYES);
        // NTE_BAD_KEYSET from the provider.
        ExpectBox(IDOK, MB_ICONERROR,
                  L"Access private key container 'kv-no-such-container' error:\nError 0x80090016 "
                  L"(-2146893802)");
        Flush();
        EXPECT_TRUE(IsVisible(hwnd));
        PressSheetButton(hwnd, PSBTN_CANCEL);
    });
    EXPECT_EQ(0, Live().contexts);
}

TEST(ChangePassword, TheProviderChangesItAndAFailureLetsTheUserTryAgain) {
    CreateContainer(L"kv-password", false);
    const DWORD before = CallCount(testbed::knobs::kCallPasswordChange);
    RunWizard<applet::CWizardChangePassword>(kChange, [](HWND hwnd) {
        {
            ScopedValue refuse(HKEY_LOCAL_MACHINE, testbed::knobs::kProvider,
                               testbed::knobs::kPasswordResult, static_cast<DWORD>(NTE_BAD_DATA));
            NameAndFinish(hwnd, L"kv-password");
            ExpectBox(IDOK, MB_ICONERROR, L"Error 0x80090005 ");
            Flush();
        }
        Click(SheetButton(hwnd, kFinish));  // the second attempt succeeds
        WaitUntilGone(hwnd);
    });
    EXPECT_EQ(0, Live().contexts) << "the second attempt released the first handle";
    EXPECT_EQ(before + 2, CallCount(testbed::knobs::kCallPasswordChange));
    DeleteContainer(L"kv-password", false);
}

TEST(Exports, OpenTheirWizardsOverTheCallersWindow) {
    HMODULE applet = ::LoadLibraryW((std::wstring(kProductDir) + L"kvconfig.cpl").c_str());
    ASSERT_TRUE(applet);
    HWND parent = ::CreateWindowExW(0, L"STATIC", L"caller", WS_POPUP | WS_VISIBLE, 0, 0, 50, 50,
                                    nullptr, nullptr, nullptr, nullptr);
    for (const auto& [exportName, title, firstPageControl] :
         {std::tuple{"WizDeleteContainer", kDelete.c_str(), IDC_SELECT_NAME},
          std::tuple{"WizChangePassword", kChange.c_str(), IDC_SELECT_NAME},
          std::tuple{"WizInstallPrivateCertificate", L"Private certificate installation wizard",
                     IDC_INSTALL_FILE_NAME},
          std::tuple{"WizViewCertificateInContainer", L"Certificates in private key container",
                     IDC_SELECT_NAME}}) {
        auto entry = reinterpret_cast<void(WINAPI*)(HWND)>(
            reinterpret_cast<void*>(::GetProcAddress(applet, exportName)));
        ASSERT_TRUE(entry) << exportName;
        RunModal(
            [&] {
                entry(parent);
                return INT_PTR{0};
            },
            [&] {
                HWND wizard = WaitForWindow({L"#32770", title, parent, true});
                EXPECT_FALSE(IsEnabled(parent)) << "modal over the caller's window";
                EXPECT_TRUE(IsVisible(Item(ActivePage(wizard), firstPageControl)));
                PressSheetButton(wizard, PSBTN_CANCEL);
                WaitUntilGone(wizard);
            });
        EXPECT_TRUE(IsEnabled(parent));
    }
    ::DestroyWindow(parent);
    EXPECT_EQ(0, Live().contexts);
}

}  // namespace
