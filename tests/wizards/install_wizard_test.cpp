// The installation wizard as a person runs it from the Service page: a certificate file read,
// its container found by hand or searched for, the certificate installed with its link and
// installed again.
#include "driver/driver.h"
#include "fixtures.h"
#include "link_check.h"
#include "resource.h"
#include "ui/handles.h"
#include "wizard_fixture.h"

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

// Opens the wizard from the Service page, reads the file at `path` and goes to the container page.
HWND OpenOnFile(HWND sheet, const std::wstring& path) {
    Click(Item(ActivePage(sheet), IDC_SERVICE_INSTALL_CERTIFICATE));
    HWND wizard = WaitForWindow({L"#32770", kTitle, sheet, true});
    SetText(Item(ActivePage(wizard), IDC_INSTALL_FILE_NAME), path);
    Press(wizard, kNext);
    AwaitPage(wizard, 1);
    Press(wizard, kNext);
    AwaitPage(wizard, 2);
    return wizard;
}

TEST(InstallWizard, InstallsWithTheLinkIntoTheContainerAndTheStore) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-install-wizard";
    spec.certificateInKey = false;
    fixtures::Made made;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec, &made));
    const Bytes& certificate = made.certificates[1];
    const std::wstring path = TempPath(L"kv-install-wizard.cer");
    ASSERT_EQ(0u, fixtures::WriteCertificateFile(path, FileFormat::kDer, {certificate}));
    Uninstall(certificate, false);

    wiztest::RunServicePage([&](HWND sheet) {
        HWND wizard = OpenOnFile(sheet, path);
        SetText(Item(ActivePage(wizard), IDC_SELECT_NAME), spec.name);
        Press(wizard, kNext);
        AwaitPage(wizard, 3);
        Click(ActivePage(wizard), IDC_INSTALL_TO_CONTAINER);
        Flush();
        Press(wizard, kNext);
        AwaitPage(wizard, 4);
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
    installed.reset();
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
        HWND wizard = OpenOnFile(sheet, path);
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
    // Wine's CryptAcquireCertificatePrivateKey drops the link's key-set flags: the link is read.
    BYTE link[1024];
    DWORD size = sizeof(link);
    ASSERT_TRUE(::CertGetCertificateContextProperty(installed.get(), CERT_KEY_PROV_INFO_PROP_ID,
                                                    link, &size));
    const auto& info = *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(link);
    EXPECT_EQ(DWORD{CRYPT_MACHINE_KEYSET}, info.dwFlags);
    EXPECT_EQ(DWORD{AT_KEYEXCHANGE}, info.dwKeySpec);
    installed.reset();
    Uninstall(certificate, true);
    ::DeleteFileW(path.c_str());
    fixtures::DeleteContainer(machine.provider, machine.type, true, machine.name);
}

}  // namespace
