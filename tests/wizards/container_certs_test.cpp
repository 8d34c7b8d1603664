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
using wiztest::Enabled;
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

TEST(ContainerCertificates, EachKeysCertificateIsListedWithItsLinkAndAMismatchIsTold) {
    fixtures::ContainerSpec both, swapped, signatureOnly;
    both.name = L"kv-view-both";
    swapped.name = L"kv-view-swapped";
    signatureOnly.name = L"kv-view-signature";
    signatureOnly.exchange = false;
    const fixtures::Made made = Make(both);
    const fixtures::Made swappedMade = Make(swapped);
    const fixtures::Made signatureMade = Make(signatureOnly);
    {
        // Each key of `swapped` holds the other key's certificate.
        ui::UniqueCryptProv prov = Open(swapped);
        for (DWORD spec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
            ui::UniqueCryptKey key;
            ASSERT_TRUE(::CryptGetUserKey(prov.get(), spec, key.put()));
            Bytes other = swappedMade.certificates[spec == AT_SIGNATURE ? 0 : 1];
            ASSERT_TRUE(::CryptSetKeyParam(key.get(), KP_CERTIFICATE, other.data(), 0));
        }
    }
    struct Case {
        const fixtures::ContainerSpec* spec;
        Notices notices;
        Bytes selected;
        int listed;
    };
    const Case cases[] = {
        {&both, {}, made.certificates[0], 2},
        {&swapped,
         {IDS_VIEW_EXCHANGE_MISMATCH, IDS_VIEW_SIGNATURE_MISMATCH},
         swappedMade.certificates[1],
         2},
        {&signatureOnly, {}, signatureMade.certificates[1], 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.spec->name.begin(), c.spec->name.end()));
        ui::UniqueCryptProv prov = Open(*c.spec);
        applet::KeyCertificates result;
        EXPECT_TRUE(applet::ReadKeyCertificates(prov.get(), 0, result));
        EXPECT_EQ(c.notices, result.notices);
        EXPECT_NE(std::wstring::npos, result.container.find(c.spec->name)) << "named for messages";
        EXPECT_EQ(c.listed == 2, result.both);
        ASSERT_TRUE(result.selected);
        EXPECT_EQ(c.selected, Encoded(result.selected.get()));
        // Every certificate listed links to the key it was read from, mismatched or not.
        int listed = 0;
        for (PCCERT_CONTEXT listedCert = nullptr;
             (listedCert = ::CertEnumCertificatesInStore(result.store.get(), listedCert));) {
            ++listed;
            BYTE buffer[1024];
            DWORD size = sizeof(buffer);
            ASSERT_TRUE(::CertGetCertificateContextProperty(listedCert, CERT_KEY_PROV_INFO_PROP_ID,
                                                            buffer, &size));
            const auto* info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(buffer);
            EXPECT_EQ(c.spec->provider, info->pwszProvName);
            EXPECT_EQ(result.container, info->pwszContainerName);
            // The exchange key's certificate is the one selected, when that key has one.
            const bool fromExchange = c.spec->exchange && Encoded(listedCert) == c.selected;
            EXPECT_EQ(fromExchange ? DWORD{AT_KEYEXCHANGE} : DWORD{AT_SIGNATURE}, info->dwKeySpec);
        }
        EXPECT_EQ(c.listed, listed);
    }
    for (const auto* spec : {&both, &swapped, &signatureOnly}) Remove(*spec);
}

TEST(ContainerCertificates, ChainReachesCaAndRootOfTheSameOwnerAndAgainIsNoError) {
    // The user's stores first: Wine shows the computer's certificates in the user's stores too,
    // so only the computer's can show that the user's chain went nowhere else.
    for (bool machine : {false, true}) {
        SCOPED_TRACE(machine ? "computer" : "user");
        fixtures::ContainerSpec spec;
        spec.name = L"kv-view-chain";
        spec.machine = machine;
        spec.chain = true;
        const fixtures::Made made = Make(spec);
        ASSERT_EQ(2u, made.chain.size());
        ui::UniqueCryptProv prov = Open(spec);
        applet::ExtensionCertificates result;
        ASSERT_TRUE(applet::ReadExtensionCertificates(prov.get(), result));
        ASSERT_EQ(2u, result.chain.size());
        EXPECT_EQ("1.2.643.2.2.37.3.1", result.chain[0].oid);
        EXPECT_EQ(made.chain[0], result.chain[0].encoded);
        EXPECT_EQ("1.2.643.2.2.37.3.2", result.chain[1].oid);
        EXPECT_EQ(made.chain[1], result.chain[1].encoded);
        // Other programs of the run may have installed the testbed's chain before.
        for (bool owner : {false, true}) {
            wiztest::InSystemStore(Certificate(made.chain[0]).get(), L"CA", owner, true);
            wiztest::InSystemStore(Certificate(made.chain[1]).get(), L"ROOT", owner, true);
        }
        EXPECT_TRUE(applet::InstallChain(result.chain, machine));
        EXPECT_TRUE(InStore(made.chain[0], L"CA", machine));
        if (!machine) {
            EXPECT_FALSE(InStore(made.chain[0], L"CA", true)) << "the user's only";
        }
        EXPECT_TRUE(InStore(made.chain[1], L"ROOT", machine));
        EXPECT_FALSE(InStore(made.chain[1], L"CA", machine));
        EXPECT_TRUE(applet::InstallChain(result.chain, machine)) << "already there";
        prov.reset();
        Remove(spec);
    }
}

MessageBoxInfo ExpectBox(int answer, UINT icon, const std::wstring& text) {
    const MessageBoxInfo box = AnswerMessageBox(answer);
    EXPECT_EQ(text, box.text);
    EXPECT_EQ(icon, box.icon);
    return box;
}

// Opens the wizard from the Service page and names the container; `machine` chooses Computer.
HWND OpenOnContainer(HWND sheet, const std::wstring& name, bool machine) {
    Click(Item(ActivePage(sheet), IDC_SERVICE_VIEW_CERTIFICATES));
    HWND wizard = WaitForWindow({L"#32770", kTitle, sheet, true});
    HWND page = ActivePage(wizard);
    if (machine) Click(page, IDC_SELECT_COMPUTER);
    SetText(Item(page, IDC_SELECT_NAME), name);
    Flush();
    return wizard;
}

TEST(ContainerCertificatesWizard, ShowsAndInstallsTheExchangeCertificateWithItsChain) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-view-wizard";
    spec.chain = true;
    const fixtures::Made made = Make(spec);
    const Bytes& exchange = made.certificates[0];
    ui::UniqueCertContext exchangeContext = Certificate(exchange);
    const std::wstring installed =
        L"Certificated is installed to the \"Personal\" store of the current user.";

    wiztest::RunServicePage([&](HWND sheet) {
        HWND wizard = OpenOnContainer(sheet, spec.name, false);
        Press(wizard, kNext);
        WaitUntil([&] { return ActivePageIndex(wizard) == 1; }, "the certificate page");
        Flush();
        HWND page = ActivePage(wizard);
        const applet::CertificateFields fields =
            applet::ReadCertificateFields(exchangeContext.get());
        EXPECT_EQ(fields.serial, Text(Item(page, IDC_INSTALL_CERT_SERIAL))) << "the exchange key's";
        EXPECT_EQ(fields.subject, Text(Item(page, IDC_INSTALL_CERT_SUBJECT)));
        Click(page, IDC_INSTALL_CERT_INSTALL);
        ExpectBox(IDOK, MB_ICONINFORMATION, installed);
        Click(page, IDC_INSTALL_CERT_INSTALL);
        AnswerMessageBox(IDYES);
        ExpectBox(IDOK, MB_ICONINFORMATION, installed);
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
    EXPECT_EQ(0, wiztest::Live().contexts);
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
        Press(wizard, kNext);
        WaitUntil([&] { return ActivePageIndex(wizard) == 1; }, "the certificate page");
        Flush();
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
