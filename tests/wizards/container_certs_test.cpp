// The certificates a container holds: what reading its keys and its extensions finds and tells,
// where the chain goes, and the wizard from the Service page viewing and installing them.
#include "driver/driver.h"
#include "fixtures.h"
#include "link_check.h"
#include "resource.h"
#include "ui/handles.h"
#include "wizard_fixture.h"
#include "wizards/certificate_info.h"
#include "wizards/certificate_on_container.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using wiztest::Press;
using Bytes = std::vector<BYTE>;
using wiztest::Certificate;
using wiztest::Encoded;
using wiztest::Make;
using wiztest::Open;
using wiztest::Remove;
using Notices = std::vector<UINT>;

const std::wstring kTitle = L"Certificates in private key container";

bool InStore(const Bytes& encoded, const wchar_t* store, bool machine) {
    return wiztest::InSystemStore(Certificate(encoded).get(), store, machine);
}

// Opens the wizard from the Service page on the container and goes to its certificate page.
HWND OpenOnContainer(HWND sheet, const std::wstring& name, bool machine) {
    Click(Item(ActivePage(sheet), IDC_SERVICE_VIEW_CERTIFICATES));
    HWND wizard = WaitForWindow({L"#32770", kTitle, sheet, true});
    HWND page = ActivePage(wizard);
    if (machine) Click(page, IDC_SELECT_COMPUTER);
    SetText(Item(page, IDC_SELECT_NAME), name);
    Flush();
    Press(wizard, kNext);
    WaitUntil([&] { return ActivePageIndex(wizard) == 1; }, "the certificate page");
    Flush();
    return wizard;
}

void ExpectBox(int answer, UINT icon, const std::wstring& text) {
    const MessageBoxInfo box = AnswerMessageBox(answer);
    EXPECT_EQ(text, box.text);
    EXPECT_EQ(icon, box.icon);
}

TEST(ContainerCertificates, TheExchangeKeysCertificateIsSelectedAndALinkGapIsTold) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-view-both";
    const fixtures::Made made = Make(spec);
    ui::UniqueCryptProv prov = Open(spec);
    applet::KeyCertificates result;
    EXPECT_TRUE(applet::ReadKeyCertificates(prov.get(), 0, result));
    EXPECT_TRUE(result.notices.empty());
    ASSERT_TRUE(result.selected);
    EXPECT_EQ(made.certificates[0], Encoded(result.selected.get()));
    // Every certificate listed links to the key it was read from.
    int listed = 0;
    for (PCCERT_CONTEXT cert = nullptr; (cert = ::CertEnumCertificatesInStore(result.store.get(), cert));) {
        ++listed;
        BYTE buffer[1024];
        DWORD size = sizeof(buffer);
        ASSERT_TRUE(::CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, buffer, &size));
        const DWORD keySpec = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(buffer)->dwKeySpec;
        EXPECT_EQ(Encoded(cert) == made.certificates[0] ? DWORD{AT_KEYEXCHANGE} : DWORD{AT_SIGNATURE}, keySpec);
    }
    EXPECT_EQ(2, listed);
    {
        // The exchange key's link reads the provider's name first: the other key is still offered.
        wiztest::InjectedFailure failure(std::string("CPGetProvParam.4"), 1, NTE_FAIL);
        applet::KeyCertificates gap;
        EXPECT_TRUE(applet::ReadKeyCertificates(prov.get(), 0, gap));
        EXPECT_EQ(Notices{IDS_INSTALL_PARAMETERS_ERROR}, gap.notices);
        EXPECT_EQ(made.certificates[1], Encoded(gap.selected.get()));
    }
    prov.reset();
    Remove(spec);
}

TEST(ContainerCertificatesWizard, ShowsAndInstallsTheExchangeCertificateWithItsChainIntoTheUsersStores) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-view-wizard";
    spec.chain = true;
    const fixtures::Made made = Make(spec);
    const Bytes& exchange = made.certificates[0];
    ui::UniqueCertContext exchangeContext = Certificate(exchange);

    wiztest::RunServicePage([&](HWND sheet) {
        HWND wizard = OpenOnContainer(sheet, spec.name, false);
        HWND page = ActivePage(wizard);
        EXPECT_EQ(applet::ReadCertificateFields(exchangeContext.get()).serial,
                  Text(Item(page, IDC_INSTALL_CERT_SERIAL))) << "the exchange key's";
        Click(page, IDC_INSTALL_CERT_INSTALL);
        ExpectBox(IDOK, MB_ICONINFORMATION,
                  L"Certificated is installed to the \"Personal\" store of the current user.");
        Flush();
        EXPECT_EQ(1, ActivePageIndex(wizard)) << "open for another certificate";
        Press(wizard, kFinish);
        WaitUntilGone(wizard);
    });
    ui::UniqueCertContext inStore = wiztest::Installed(exchange, false);
    ASSERT_TRUE(inStore);
    wiztest::ExpectLinkSigns(inStore.get(), AT_KEYEXCHANGE);
    EXPECT_TRUE(InStore(made.chain[0], L"CA", false));
    EXPECT_TRUE(InStore(made.chain[1], L"ROOT", false));
    wiztest::InPersonalStore(exchangeContext.get(), false, true);
    Remove(spec);
}

TEST(ContainerCertificatesWizard, ComputersContainerGoesToTheComputersStores) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-view-wizard-computer";
    spec.machine = true;
    spec.chain = true;
    const fixtures::Made made = Make(spec);
    ui::UniqueCertContext exchange = Certificate(made.certificates[0]);
    wiztest::RunServicePage([&](HWND sheet) {
        HWND wizard = OpenOnContainer(sheet, spec.name, true);
        Click(ActivePage(wizard), IDC_INSTALL_CERT_INSTALL);
        ExpectBox(IDOK, MB_ICONINFORMATION,
                  L"Certificated is installed to the \"Personal\" store of the local machine.");
        PressSheetButton(wizard, PSBTN_CANCEL);
        WaitUntilGone(wizard);
    });
    EXPECT_TRUE(wiztest::InPersonalStore(exchange.get(), true));
    EXPECT_TRUE(InStore(made.chain[0], L"CA", true));
    EXPECT_TRUE(InStore(made.chain[1], L"ROOT", true));
    wiztest::InPersonalStore(exchange.get(), true, true);
    Remove(spec);
}

}  // namespace
