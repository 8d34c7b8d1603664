// The container selection page, through the delete wizard (a one-page wizard).
#include "driver/driver.h"
#include "resource.h"
#include "ui/handles.h"
#include "wizard_fixture.h"
#include "wizards/delete_container.h"
#include "wizards/select_container.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using namespace wiztest;
using Strings = std::vector<std::wstring>;

// Runs the delete wizard with `script`, then cancels it.
void WithDeleteWizard(const std::function<void(HWND)>& script) {
    applet::CWizardDeleteContainer wizard(nullptr);
    RunModal([&] { return wizard.DoModal(); },
             [&] {
                 HWND hwnd = WaitForWindow({L"#32770", L"Delete private key container"});
                 script(hwnd);
                 PressSheetButton(hwnd, PSBTN_CANCEL);
                 WaitUntilGone(hwnd);
             });
}

TEST(SelectContainer, FinishFollowsTheName) {
    WithDeleteWizard([](HWND wizard) {
        HWND name = Item(wizard, IDC_SELECT_NAME);
        HWND finish = SheetButton(wizard, kFinish);
        WaitUntil([&] { return IsVisible(finish) && !IsEnabled(finish); }, "Finish disabled");
        SetText(name, L"k");
        WaitUntil([&] { return IsEnabled(finish); }, "Finish enabled by a character");
        SetText(name, L"");
        WaitUntil([&] { return !IsEnabled(finish); }, "Finish disabled again");
    });
}

// A self-signed certificate in the user's "My" store whose public key is of algorithm
// `keyOid`, linked to a container when one is named; removed again at the end of the scope.
class StoredCertificate {
public:
    StoredCertificate(const char* keyOid, const wchar_t* subject, const wchar_t* container = nullptr,
                      const wchar_t* provider = nullptr, DWORD type = 0, DWORD flags = 0) {
        BYTE name[256], serial[] = {0x01, 0x23, 0x45}, signature[64] = {0x05};
        BYTE key[] = {0x04, 0x40, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
        DWORD nameSize = sizeof(name);
        EXPECT_TRUE(::CertStrToNameW(X509_ASN_ENCODING, subject, CERT_X500_NAME_STR, nullptr,
                                     name, &nameSize, nullptr));
        CERT_INFO info{};
        info.dwVersion = CERT_V3;
        info.SerialNumber = {sizeof(serial), serial};
        info.SignatureAlgorithm.pszObjId = const_cast<char*>("1.2.643.2.2.3");
        info.Issuer = info.Subject = {nameSize, name};
        SYSTEMTIME now;
        ::GetSystemTime(&now);
        ::SystemTimeToFileTime(&now, &info.NotBefore);
        now.wYear += 1;
        ::SystemTimeToFileTime(&now, &info.NotAfter);
        info.SubjectPublicKeyInfo.Algorithm.pszObjId = const_cast<char*>(keyOid);
        info.SubjectPublicKeyInfo.PublicKey = {sizeof(key), key, 0};
        BYTE toBeSigned[1024], encoded[2048];
        DWORD toBeSignedSize = sizeof(toBeSigned), encodedSize = sizeof(encoded);
        EXPECT_TRUE(::CryptEncodeObject(X509_ASN_ENCODING, X509_CERT_TO_BE_SIGNED, &info,
                                        toBeSigned, &toBeSignedSize));
        CERT_SIGNED_CONTENT_INFO signedInfo{{toBeSignedSize, toBeSigned},
                                            info.SignatureAlgorithm,
                                            {sizeof(signature), signature, 0}};
        EXPECT_TRUE(::CryptEncodeObject(X509_ASN_ENCODING, X509_CERT, &signedInfo, encoded,
                                        &encodedSize));
        store_.reset(::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                     CERT_SYSTEM_STORE_CURRENT_USER, L"My"));
        EXPECT_TRUE(::CertAddEncodedCertificateToStore(store_.get(), X509_ASN_ENCODING, encoded,
                                                       encodedSize, CERT_STORE_ADD_REPLACE_EXISTING,
                                                       certificate_.put()));
        CRYPT_KEY_PROV_INFO link{const_cast<wchar_t*>(container), const_cast<wchar_t*>(provider),
                                 type, flags, 0, nullptr, AT_KEYEXCHANGE};
        EXPECT_TRUE(!container || ::CertSetCertificateContextProperty(
                                      certificate_.get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &link));
        // A system store reaches the registry, where other handles read it, when committed.
        ::CertControlStore(store_.get(), 0, CERT_STORE_CTRL_COMMIT, nullptr);
    }
    ~StoredCertificate() {
        if (certificate_) ::CertDeleteCertificateFromStore(certificate_.release());
        ::CertControlStore(store_.get(), 0, CERT_STORE_CTRL_COMMIT, nullptr);
    }

private:
    ui::UniqueCertStore store_;
    ui::UniqueCertContext certificate_;
};

const char kProductKey[] = "1.2.643.2.2.19";

// Picks the certificate issued to `pick` in the system's selection dialog titled `title`, or
// cancels it when none is named. Other tests' certificates may be listed too, but never one of
// another key algorithm than the product's.
void AnswerCertificateDialog(const std::wstring& title, const std::wstring& pick = {}) {
    HWND dialog = WaitForWindow({L"", title});
    HWND list = ::FindWindowExW(dialog, nullptr, L"SysListView32", nullptr);
    ASSERT_TRUE(list);
    if (!pick.empty()) {
        int index = -1;
        WaitUntil([&] {
            const std::vector<Strings> rows = ListRows(list);
            for (int i = 0; i < static_cast<int>(rows.size()); ++i)
                if (rows[i].at(0) == pick) index = i;
            return index >= 0;
        }, "the certificate issued to " + Narrow(pick));
        for (const Strings& row : ListRows(list))
            EXPECT_NE(L"kv rsa test", row.at(0)) << "a certificate of another key algorithm offered";
        LVITEMW item{};
        item.stateMask = item.state = LVIS_SELECTED | LVIS_FOCUSED;
        ::SendMessageW(list, LVM_SETITEMSTATE, index, reinterpret_cast<LPARAM>(&item));
    }
    Click(dialog, pick.empty() ? IDCANCEL : IDOK);
    WaitUntilGone(dialog);
}

const std::wstring kUserOrMachineTitle =
    L"Choose a certificate from \"My\" store of current user or local machine.";

TEST(SelectContainer, ByCertificateOffersTheProductsKeysAndTakesTheirLink) {
    // An RSA key beside the product's: not one of the product's algorithms.
    StoredCertificate rsa("1.2.840.113549.1.1.1", L"CN=kv rsa test");
    {
        // Neither the first provider nor the preselected default, and the computer's.
        StoredCertificate linked(kProductKey, L"CN=kv linked test", L"kv-linked", kProvider71, 71,
                                 CRYPT_MACHINE_KEYSET);
        WithDeleteWizard([](HWND wizard) {
            SetText(Item(wizard, IDC_SELECT_NAME), L"typed");
            Click(wizard, IDC_SELECT_BY_CERTIFICATE);
            AnswerCertificateDialog(kUserOrMachineTitle);
            Flush();
            EXPECT_EQ(L"typed", Text(Item(wizard, IDC_SELECT_NAME))) << "a cancel changes nothing";
            Click(wizard, IDC_SELECT_BY_CERTIFICATE);
            AnswerCertificateDialog(kUserOrMachineTitle, L"kv linked test");
            WaitUntil([&] { return Text(Item(wizard, IDC_SELECT_NAME)) == L"kv-linked"; },
                      "the linked container's name");
            EXPECT_EQ(2, ComboSelection(Item(wizard, IDC_SELECT_PROVIDER))) << Narrow(kProvider71);
            EXPECT_EQ(BST_CHECKED, CheckState(Item(wizard, IDC_SELECT_COMPUTER)));
        });
    }
    StoredCertificate elsewhere(kProductKey, L"CN=kv elsewhere test", L"kv-elsewhere",
                                L"Some Other CSP", kType, 0);
    WithDeleteWizard([](HWND wizard) {
        Click(wizard, IDC_SELECT_BY_CERTIFICATE);
        AnswerCertificateDialog(kUserOrMachineTitle, L"kv elsewhere test");
        WaitUntil([&] { return Text(Item(wizard, IDC_SELECT_NAME)) == L"kv-elsewhere"; },
                  "the linked container's name");
        EXPECT_EQ(0, ComboSelection(Item(wizard, IDC_SELECT_PROVIDER))) << "an unlisted provider";
        EXPECT_EQ(BST_CHECKED, CheckState(Item(wizard, IDC_SELECT_USER)));
    });
}

}  // namespace
