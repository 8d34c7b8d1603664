// The installation wizard as a person runs it from the Service page: a certificate file read,
// its container found by hand or searched for, the certificate installed with its link and
// installed again.
#include "driver/driver.h"
#include "fixtures.h"
#include "link_check.h"
#include "kvcsp.h"
#include "resource.h"
#include "ui/handles.h"
#include "wizard_fixture.h"
#include "wizards/certificate_info.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using wiztest::Enabled;
using wiztest::Press;
using Bytes = std::vector<BYTE>;
using fixtures::FileFormat;
using wiztest::TempPath;

const std::wstring kTitle = L"Private certificate installation wizard";

void Uninstall(const Bytes& encoded, bool machine) {
    wiztest::InPersonalStore(wiztest::Certificate(encoded).get(), machine, true);
}

void AwaitPage(HWND wizard, int index) {
    WaitUntil([&] { return ActivePageIndex(wizard) == index; }, "page " + std::to_string(index));
    Flush();
}

// Types `path` on the file page and goes on.
void OpenFile(HWND wizard, const std::wstring& path) {
    SetText(Item(ActivePage(wizard), IDC_INSTALL_FILE_NAME), path);
    Press(wizard, kNext);
}

void ExpectBox(int answer, UINT icon, const std::wstring& text) {
    const MessageBoxInfo box = AnswerMessageBox(answer);
    EXPECT_EQ(text, box.text);
    EXPECT_EQ(icon, box.icon);
}

TEST(InstallWizard, InstallsWithTheLinkIntoTheContainerAndAsksBeforeReplacing) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-install-wizard";
    spec.certificateInKey = false;
    fixtures::Made made;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec, &made));
    const Bytes& certificate = made.certificates[1];
    const std::wstring path = TempPath(L"kv-install-wizard.cer");
    ASSERT_EQ(0u, fixtures::WriteCertificateFile(path, FileFormat::kDer, {certificate}));
    Uninstall(certificate, false);

    // Goes from the file to the finish page; `toContainer` ticks the box on the store page.
    auto walk = [&](HWND wizard, bool toContainer) {
        OpenFile(wizard, path);
        AwaitPage(wizard, 1);
        Press(wizard, kNext);
        AwaitPage(wizard, 2);
        SetText(Item(ActivePage(wizard), IDC_SELECT_NAME), spec.name);
        Press(wizard, kNext);
        AwaitPage(wizard, 3);
        if (toContainer) Click(ActivePage(wizard), IDC_INSTALL_TO_CONTAINER);
        Flush();
        Press(wizard, kNext);
        AwaitPage(wizard, 4);
    };

    wiztest::RunServicePage([&](HWND sheet) {
        Click(Item(ActivePage(sheet), IDC_SERVICE_INSTALL_CERTIFICATE));
        HWND wizard = WaitForWindow({L"#32770", kTitle, sheet, true});
        walk(wizard, true);
        Press(wizard, kFinish);
        WaitUntilGone(wizard);
    });
    ui::UniqueCertContext installed = wiztest::Installed(certificate, false);
    ASSERT_TRUE(installed);
    wiztest::ExpectLinkSigns(installed.get(), AT_SIGNATURE);
    std::vector<Bytes> inContainer;
    ASSERT_EQ(0u, fixtures::ContainerCertificates(spec.provider, spec.type, false, spec.name,
                                                  inContainer));
    EXPECT_EQ(std::vector<Bytes>{certificate}, inContainer) << "written into the signature key";

    wiztest::RunServicePage([&](HWND sheet) {
        Click(Item(ActivePage(sheet), IDC_SERVICE_INSTALL_CERTIFICATE));
        HWND wizard = WaitForWindow({L"#32770", kTitle, sheet, true});
        walk(wizard, false);
        const std::wstring replace =
            L"This certificate already exists in the certificate store.\n\nReplace existing "
            L"certificate with new one, with link to private key?";
        Press(wizard, kFinish);
        ExpectBox(IDNO, MB_ICONINFORMATION, replace);
        ExpectBox(IDOK, MB_ICONINFORMATION, L"Install certificate cancelled");
        Flush();
        EXPECT_EQ(4, ActivePageIndex(wizard)) << "No keeps the wizard open";
        Press(wizard, kFinish);
        ExpectBox(IDYES, MB_ICONINFORMATION, replace);
        WaitUntilGone(wizard);
    });
    EXPECT_TRUE(wiztest::Installed(certificate, false));
    EXPECT_EQ(0, wiztest::Live().contexts);
    Uninstall(certificate, false);
    ::DeleteFileW(path.c_str());
    fixtures::DeleteContainer(spec.provider, spec.type, false, spec.name);
}

TEST(InstallWizard, FindsTheComputersContainerAndInstallsIntoTheComputersStore) {
    fixtures::ContainerSpec machine;
    machine.name = L"kv-install-machine";
    machine.machine = true;
    fixtures::Made made;
    ASSERT_EQ(0u, fixtures::MakeContainer(machine, &made));
    const Bytes& certificate = made.certificates[0];
    const std::wstring path = TempPath(L"kv-install-machine.cer");
    ASSERT_EQ(0u, fixtures::WriteCertificateFile(path, FileFormat::kPem, {certificate}));
    Uninstall(certificate, true);

    wiztest::RunServicePage([&](HWND sheet) {
        Click(Item(ActivePage(sheet), IDC_SERVICE_INSTALL_CERTIFICATE));
        HWND wizard = WaitForWindow({L"#32770", kTitle, sheet, true});
        AwaitPage(wizard, 0);
        OpenFile(wizard, path);
        AwaitPage(wizard, 1);
        Press(wizard, kNext);
        AwaitPage(wizard, 2);
        HWND page = ActivePage(wizard);
        Click(page, IDC_SELECT_COMPUTER);
        Click(page, IDC_SELECT_FIND_AUTOMATICALLY);
        WaitUntil([&] { return Text(Item(page, IDC_SELECT_NAME)) == machine.name &&
                               Enabled(wizard, kNext); }, "the container found");
        Press(wizard, kNext);
        AwaitPage(wizard, 3);
        EXPECT_EQ(BST_CHECKED, CheckState(Item(ActivePage(wizard), IDC_INSTALL_STORE_COMPUTER)));
        Press(wizard, kNext);
        AwaitPage(wizard, 4);
        Press(wizard, kFinish);
        WaitUntilGone(wizard);
    });
    ui::UniqueCertContext installed = wiztest::Installed(certificate, true);
    ASSERT_TRUE(installed);
    // Wine's CryptAcquireCertificatePrivateKey drops the link's key-set flags: the link is
    // followed by hand.
    std::vector<BYTE> link;
    DWORD size = 0;
    ASSERT_TRUE(::CertGetCertificateContextProperty(installed.get(), CERT_KEY_PROV_INFO_PROP_ID,
                                                    nullptr, &size));
    link.resize(size);
    ASSERT_TRUE(::CertGetCertificateContextProperty(installed.get(), CERT_KEY_PROV_INFO_PROP_ID,
                                                    link.data(), &size));
    const auto& info = *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(link.data());
    EXPECT_EQ(DWORD{CRYPT_MACHINE_KEYSET}, info.dwFlags);
    EXPECT_EQ(DWORD{AT_KEYEXCHANGE}, info.dwKeySpec);
    ui::UniqueCryptProv owned;
    ASSERT_TRUE(::CryptAcquireContextW(owned.put(), info.pwszContainerName, info.pwszProvName,
                                       info.dwProvType, info.dwFlags));
    EXPECT_EQ(DWORD{AT_KEYEXCHANGE}, applet::MatchContainerKey(owned.get(), installed.get()));
    owned.reset();
    installed.reset();
    Uninstall(certificate, true);
    ::DeleteFileW(path.c_str());
    fixtures::DeleteContainer(machine.provider, machine.type, true, machine.name);
}

}  // namespace
