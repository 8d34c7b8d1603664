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

#include <algorithm>
#include <cwctype>

#include <commctrl.h>

namespace {

using namespace driver;
using wiztest::Enabled;
using wiztest::Press;
using Bytes = std::vector<BYTE>;
using fixtures::FileFormat;
using wiztest::TempPath;

const std::wstring kTitle = L"Private certificate installation wizard";
const std::wstring kBadFile =
    L"Invalid file name, or selected file does not contain any certificate.";

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

std::wstring SummaryValue(HWND page, const std::wstring& label) {
    for (const std::vector<std::wstring>& row : ListRows(Item(page, IDC_INSTALL_SUMMARY)))
        if (row.at(0) == label) return row.size() > 1 ? row[1] : std::wstring();
    return L"<no row>";
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
        AwaitPage(wizard, 0);
        EXPECT_FALSE(Enabled(wizard, kNext)) << "no file named";
        OpenFile(wizard, path);
        AwaitPage(wizard, 1);
        HWND page = ActivePage(wizard);
        EXPECT_EQ(spec.name, Text(Item(page, IDC_INSTALL_CERT_NAME)));
        EXPECT_FALSE(IsEnabled(Item(page, IDC_INSTALL_CERT_BROWSE)));
        EXPECT_FALSE(IsVisible(Item(page, IDC_INSTALL_CERT_NOTE)));
        EXPECT_FALSE(IsVisible(Item(page, IDC_INSTALL_CERT_INSTALL)));
        Press(wizard, kNext);
        AwaitPage(wizard, 2);
        page = ActivePage(wizard);
        EXPECT_TRUE(IsVisible(Item(page, IDC_SELECT_FIND_AUTOMATICALLY)));
        SetText(Item(page, IDC_SELECT_NAME), spec.name);
        Press(wizard, kNext);
        AwaitPage(wizard, 3);
        page = ActivePage(wizard);
        EXPECT_FALSE(Text(Item(page, IDC_INSTALL_STORE_NAME)).empty());
        EXPECT_EQ(BST_CHECKED, CheckState(Item(page, IDC_INSTALL_STORE_USER)));
        if (toContainer) Click(page, IDC_INSTALL_TO_CONTAINER);
        Flush();
        Press(wizard, kNext);
        AwaitPage(wizard, 4);
    };

    wiztest::RunServicePage([&](HWND sheet) {
        Click(Item(ActivePage(sheet), IDC_SERVICE_INSTALL_CERTIFICATE));
        HWND wizard = WaitForWindow({L"#32770", kTitle, sheet, true});
        walk(wizard, true);
        HWND page = ActivePage(wizard);
        EXPECT_EQ(L"signature", SummaryValue(page, L"  to private key"));
        EXPECT_EQ(spec.name, SummaryValue(page, L"  from container"));
        EXPECT_EQ(path, SummaryValue(page, L"  from file"));
        EXPECT_EQ(L"", SummaryValue(page, L"  in container"));
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
        EXPECT_EQ(L"<no row>", SummaryValue(ActivePage(wizard), L"  in container"));
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

TEST(InstallWizard, RejectsFilesWithoutCertificatesAndLetsThePickOneOfSeveral) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-install-several";
    fixtures::Made made;
    ASSERT_EQ(0u, fixtures::MakeContainer(spec, &made));
    const std::wstring several = TempPath(L"kv-install-several.p7b");
    const std::wstring crls = TempPath(L"kv-install-crls.p7b");
    const std::wstring empty = TempPath(L"kv-install-empty.sst");
    ASSERT_EQ(0u, fixtures::WriteCertificateFile(several, FileFormat::kPkcs7,
                                                 {made.certificates[0], made.certificates[1]}));
    ASSERT_EQ(0u, fixtures::WriteCertificateFile(crls, FileFormat::kPkcs7CrlsOnly, {}));
    ASSERT_EQ(0u, fixtures::WriteCertificateFile(empty, FileFormat::kSerializedStore, {}));

    wiztest::RunServicePage([&](HWND sheet) {
        Click(Item(ActivePage(sheet), IDC_SERVICE_INSTALL_CERTIFICATE));
        HWND wizard = WaitForWindow({L"#32770", kTitle, sheet, true});
        AwaitPage(wizard, 0);
        for (const std::wstring& rejected : {crls, empty, TempPath(L"kv-install-missing.cer")}) {
            OpenFile(wizard, rejected);
            ExpectBox(IDOK, 0, kBadFile);
            Flush();
            EXPECT_EQ(0, ActivePageIndex(wizard));
        }

        OpenFile(wizard, several);
        AwaitPage(wizard, 1);
        HWND page = ActivePage(wizard);
        EXPECT_EQ(L"", Text(Item(page, IDC_INSTALL_CERT_NAME)));
        EXPECT_EQ(L"", Text(Item(page, IDC_INSTALL_CERT_SERIAL)));
        EXPECT_FALSE(Enabled(wizard, kNext)) << "no certificate chosen yet";
        EXPECT_TRUE(Enabled(wizard, kBack));
        EXPECT_TRUE(IsVisible(Item(page, IDC_INSTALL_CERT_NOTE)));
        EXPECT_FALSE(IsEnabled(Item(page, IDC_INSTALL_CERT_PROPERTIES)));

        // The system's selection dialog over the file's certificates: the first is taken.
        Click(page, IDC_INSTALL_CERT_BROWSE);
        HWND select = WaitForWindow({L"#32770", L"", wizard, true});
        HWND list = ::FindWindowExW(select, nullptr, L"SysListView32", nullptr);
        ASSERT_TRUE(list);
        WaitUntil([&] { return ListView_GetItemCount(list) == 2; }, "both certificates listed");
        LVITEMW item{};
        item.stateMask = item.state = LVIS_SELECTED | LVIS_FOCUSED;
        ::SendMessageW(list, LVM_SETITEMSTATE, 0, reinterpret_cast<LPARAM>(&item));
        Click(select, IDOK);
        WaitUntilGone(select);
        WaitUntil([&] { return Enabled(wizard, kNext); }, "a certificate chosen");
        const std::wstring chosen = Text(Item(page, IDC_INSTALL_CERT_SERIAL));
        EXPECT_FALSE(chosen.empty());
        EXPECT_TRUE(IsEnabled(Item(page, IDC_INSTALL_CERT_PROPERTIES)));

        // The same path keeps the choice; another spelling of it opens the file again.
        PressSheetButton(wizard, PSBTN_BACK);
        AwaitPage(wizard, 0);
        Press(wizard, kNext);
        AwaitPage(wizard, 1);
        EXPECT_EQ(chosen, Text(Item(page, IDC_INSTALL_CERT_SERIAL)));
        EXPECT_TRUE(Enabled(wizard, kNext));
        PressSheetButton(wizard, PSBTN_BACK);
        AwaitPage(wizard, 0);
        std::wstring upper = several;
        std::transform(upper.begin(), upper.end(), upper.begin(), ::towupper);
        OpenFile(wizard, upper);
        AwaitPage(wizard, 1);
        EXPECT_EQ(L"", Text(Item(page, IDC_INSTALL_CERT_SERIAL)));
        EXPECT_FALSE(Enabled(wizard, kNext));
        PressSheetButton(wizard, PSBTN_CANCEL);
        WaitUntilGone(wizard);
    });
    EXPECT_EQ(0, wiztest::Live().contexts);
    for (const std::wstring& path : {several, crls, empty}) ::DeleteFileW(path.c_str());
    fixtures::DeleteContainer(spec.provider, spec.type, false, spec.name);
}

TEST(InstallWizard, FindsTheComputersContainerAndInstallsIntoTheComputersStore) {
    fixtures::ContainerSpec machine, other, gone;
    machine.name = L"kv-install-machine";
    machine.machine = true;
    other.name = L"kv-install-machine-other";
    other.machine = true;
    other.certificate = fixtures::Certificate::kNone;
    gone.name = L"kv-install-gone";
    fixtures::Made made, goneMade;
    ASSERT_EQ(0u, fixtures::MakeContainer(machine, &made));
    ASSERT_EQ(0u, fixtures::MakeContainer(other));
    ASSERT_EQ(0u, fixtures::MakeContainer(gone, &goneMade));
    fixtures::DeleteContainer(gone.provider, gone.type, false, gone.name);
    const Bytes& certificate = made.certificates[0];
    const std::wstring path = TempPath(L"kv-install-machine.cer");
    const std::wstring orphan = TempPath(L"kv-install-gone.cer");
    ASSERT_EQ(0u, fixtures::WriteCertificateFile(path, FileFormat::kPem, {certificate}));
    ASSERT_EQ(0u,
              fixtures::WriteCertificateFile(orphan, FileFormat::kDer, {goneMade.certificates[1]}));
    Uninstall(certificate, true);

    wiztest::RunServicePage([&](HWND sheet) {
        Click(Item(ActivePage(sheet), IDC_SERVICE_INSTALL_CERTIFICATE));
        HWND wizard = WaitForWindow({L"#32770", kTitle, sheet, true});
        AwaitPage(wizard, 0);
        OpenFile(wizard, orphan);
        AwaitPage(wizard, 1);
        Press(wizard, kNext);
        AwaitPage(wizard, 2);
        HWND page = ActivePage(wizard);
        HWND name = Item(page, IDC_SELECT_NAME);
        HWND find = Item(page, IDC_SELECT_FIND_AUTOMATICALLY);
        SetText(name, L"typed before the search");
        Click(find);
        ExpectBox(IDOK, MB_ICONEXCLAMATION, L"Corresponding container not found");
        Flush();
        EXPECT_EQ(BST_UNCHECKED, CheckState(find));
        EXPECT_TRUE(IsEnabled(name)) << "free to type a name";
        EXPECT_EQ(L"", Text(name));

        PressSheetButton(wizard, PSBTN_BACK);
        AwaitPage(wizard, 1);
        PressSheetButton(wizard, PSBTN_BACK);
        AwaitPage(wizard, 0);
        OpenFile(wizard, path);
        AwaitPage(wizard, 1);
        Press(wizard, kNext);
        AwaitPage(wizard, 2);
        Click(page, IDC_SELECT_COMPUTER);
        SetText(name, other.name);
        Press(wizard, kNext);
        ExpectBox(IDOK, MB_ICONEXCLAMATION,
                  L"Private key on selected container does not corresponds to public key in "
                  L"certificate, choose another key container");
        Flush();
        EXPECT_EQ(2, ActivePageIndex(wizard));

        Click(find);
        WaitUntil([&] { return Text(name) == machine.name && Enabled(wizard, kNext); },
                  "the container found");
        EXPECT_FALSE(IsEnabled(name));
        EXPECT_FALSE(IsEnabled(Item(page, IDC_SELECT_PROVIDER)));
        HWND combo = Item(page, IDC_SELECT_PROVIDER);
        EXPECT_EQ(machine.provider, ComboItems(combo).at(ComboSelection(combo)));
        Press(wizard, kNext);
        AwaitPage(wizard, 3);
        page = ActivePage(wizard);
        EXPECT_EQ(BST_CHECKED, CheckState(Item(page, IDC_INSTALL_STORE_COMPUTER)));
        EXPECT_FALSE(Text(Item(page, IDC_INSTALL_STORE_NAME)).empty());
        Press(wizard, kNext);
        AwaitPage(wizard, 4);
        EXPECT_EQ(L"encryption", SummaryValue(ActivePage(wizard), L"  to private key"));
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
    for (const std::wstring& p : {path, orphan}) ::DeleteFileW(p.c_str());
    for (const fixtures::ContainerSpec* c : {&machine, &other})
        fixtures::DeleteContainer(c->provider, c->type, true, c->name);
}

}  // namespace
