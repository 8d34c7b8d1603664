// The container selection page, through the delete wizard (a one-page wizard).
#include "driver/driver.h"
#include "resource.h"
#include "testbed/knobs.h"
#include "wizard_fixture.h"
#include "wizards/delete_container.h"
#include "wizards/select_container.h"
#include "ui/handles.h"

#include <gtest/gtest.h>

namespace {

using namespace driver;
using namespace wiztest;

const std::wstring kTitle = L"Delete private key container";

// Runs the delete wizard with `script`; the wizard is destroyed before this returns.
void WithDeleteWizard(const std::function<void(HWND)>& script) {
    applet::CWizardDeleteContainer wizard(nullptr);
    RunModal([&] { return wizard.DoModal(); },
             [&] { script(WaitForWindow({L"#32770", kTitle})); });
}

void Cancel(HWND wizard) {
    PressSheetButton(wizard, PSBTN_CANCEL);
    WaitUntilGone(wizard);
}

std::vector<std::wstring> ProductProviders(bool restrict) {
    applet::ProductProviderEnum state{0, restrict};
    std::vector<std::wstring> names;
    std::wstring name;
    DWORD type = 0;
    while (applet::EnumProductProviders(state, name, type)) names.push_back(name);
    return names;
}

TEST(SelectContainer, ListsTheProductsProvidersAndPreselectsTheMachineDefault) {
    const std::vector<std::wstring> product{kSecondProvider, kDefaultProvider, kProvider71};
    EXPECT_EQ(product, ProductProviders(true));
    std::vector<std::wstring> unrestricted = ProductProviders(false);
    EXPECT_NE(unrestricted.end(),
              std::find(unrestricted.begin(), unrestricted.end(), kOutsideProvider))
        << "a provider outside the product directory is listed without the restriction";
    for (const std::wstring& name : unrestricted)
        EXPECT_TRUE(name.find(L"Kelvane") != std::wstring::npos || name == kOutsideProvider)
            << "not a product provider: " << Narrow(name);

    WithDeleteWizard([&](HWND wizard) {
        HWND combo = Item(wizard, IDC_SELECT_PROVIDER);
        EXPECT_EQ(product, ComboItems(combo));
        EXPECT_EQ(1, ComboSelection(combo)) << "the machine default of type 75";
        Cancel(wizard);
    });
}

TEST(SelectContainer, SkipsAProviderWhoseImagePathIsMalformed) {
    const std::wstring name = L"Kelvane Broken CSP";
    const std::wstring key = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\" + name;
    // Of the product's type and beside the applet: only the form of the value keeps it off.
    const std::wstring path = std::wstring(kProductDir) + L"kvbroken.dll";
    const std::wstring tooLong = kProductDir + std::wstring(260, L'k') + L".dll";
    const size_t terminated = (path.size() + 1) * sizeof(wchar_t);
    struct Case {
        const char* what;
        DWORD type;
        std::wstring data;
        size_t bytes;
        bool listed;
    };
    const Case cases[] = {
        {"well formed", REG_SZ, path, terminated, true},
        {"odd length", REG_SZ, path + L'\0', terminated + 1, false},
        // The registry counts a terminator the caller left out when one follows in memory.
        {"no terminator", REG_SZ, path + L'k', terminated - sizeof(wchar_t), false},
        {"not a string", REG_BINARY, path, terminated, false},
        {"over 520 bytes", REG_SZ, tooLong, (tooLong.size() + 1) * sizeof(wchar_t), false},
    };
    {
        ScopedValue type(HKEY_LOCAL_MACHINE, key, L"Type", kType);
        for (const Case& c : cases) {
            SCOPED_TRACE(c.what);
            ScopedValue image(HKEY_LOCAL_MACHINE, key, L"Image Path", c.type, c.data.c_str(),
                              static_cast<DWORD>(c.bytes));
            std::vector<std::wstring> names = ProductProviders(true);
            EXPECT_EQ(c.listed, std::find(names.begin(), names.end(), name) != names.end());
        }
    }
    ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key.c_str());
}

TEST(SelectContainer, WithoutAProductProviderTheWizardSaysSoAndCloses) {
    const std::wstring base = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
    const std::wstring elsewhere = L"C:\\Elsewhere\\kvcsp.dll";
    ScopedValue a(HKEY_LOCAL_MACHINE, base + kDefaultProvider, L"Image Path", elsewhere);
    ScopedValue b(HKEY_LOCAL_MACHINE, base + kSecondProvider, L"Image Path", elsewhere);
    ScopedValue c(HKEY_LOCAL_MACHINE, base + kProvider71, L"Image Path", elsewhere);
    applet::CWizardDeleteContainer wizard(nullptr);
    INT_PTR result = RunModal([&] { return wizard.DoModal(); },
                              [&] {
                                  MessageBoxInfo box = AnswerMessageBox(IDOK);
                                  EXPECT_EQ(L"Error accessing selected CSP", box.text);
                                  EXPECT_EQ(static_cast<UINT>(MB_ICONEXCLAMATION), box.icon);
                              });
    EXPECT_EQ(IDCANCEL, result);
}

TEST(SelectContainer, ComputerNeedsWriteAccessToTheGlobalConfiguration) {
    {
        ScopedValue readOnly(HKEY_LOCAL_MACHINE, testbed::knobs::kAccess, L"\\global",
                             static_cast<DWORD>(testbed::knobs::kRead));
        WithDeleteWizard([](HWND wizard) {
            EXPECT_FALSE(IsEnabled(Item(wizard, IDC_SELECT_COMPUTER)));
            EXPECT_EQ(BST_CHECKED, CheckState(Item(wizard, IDC_SELECT_USER)));
            Cancel(wizard);
        });
    }
    WithDeleteWizard([](HWND wizard) {
        EXPECT_TRUE(IsEnabled(Item(wizard, IDC_SELECT_COMPUTER)));
        Cancel(wizard);
    });
}

TEST(SelectContainer, FinishFollowsTheNameAndAnEmptyNameStays) {
    WithDeleteWizard([](HWND wizard) {
        HWND name = Item(wizard, IDC_SELECT_NAME);
        HWND finish = SheetButton(wizard, kFinish);
        EXPECT_EQ(260, ::SendMessageW(name, EM_GETLIMITTEXT, 0, 0));
        WaitUntil([&] { return IsVisible(finish) && !IsEnabled(finish); }, "Finish disabled");
        SetText(name, L"k");
        WaitUntil([&] { return IsEnabled(finish); }, "Finish enabled by a character");
        SetText(name, L"");
        WaitUntil([&] { return !IsEnabled(finish); }, "Finish disabled again");
        // Finish pressed regardless: the page stays and says nothing.
        PressSheetButton(wizard, PSBTN_FINISH);
        Flush();
        EXPECT_TRUE(IsVisible(wizard));
        for (HWND window : TopLevelWindows()) EXPECT_FALSE(IsMessageBox(window));
        Cancel(wizard);
    });
}

TEST(SelectContainer, BrowseTakesTheProvidersPickAndACancelChangesNothing) {
    const DWORD before = CallCount(testbed::knobs::kCallContainerPicker);
    {
        ScopedValue picked(HKEY_LOCAL_MACHINE, ProviderKnobKey(), testbed::knobs::kPickedContainer,
                           std::wstring(L"picked-container"));
        WithDeleteWizard([](HWND wizard) {
            Click(wizard, IDC_SELECT_BROWSE);
            WaitUntil([&] { return Text(Item(wizard, IDC_SELECT_NAME)) == L"picked-container"; },
                      "the picked name");
            WaitUntil([&] { return IsEnabled(SheetButton(wizard, kFinish)); }, "Finish enabled");
            Cancel(wizard);
        });
    }
    WithDeleteWizard([](HWND wizard) {
        SetText(Item(wizard, IDC_SELECT_NAME), L"typed");
        Click(wizard, IDC_SELECT_BROWSE);  // no pick: the provider answers "cancelled"
        Flush();
        EXPECT_EQ(L"typed", Text(Item(wizard, IDC_SELECT_NAME)));
        for (HWND window : TopLevelWindows()) EXPECT_FALSE(IsMessageBox(window));
        Cancel(wizard);
    });
    EXPECT_EQ(before + 2, CallCount(testbed::knobs::kCallContainerPicker));
    EXPECT_EQ(0, Live().contexts);
}

}  // namespace

namespace {

// A certificate of the product's key algorithm in the user's "My" store, linked to a container;
// removed again at the end of the scope.
class LinkedCertificate {
public:
    LinkedCertificate(const wchar_t* container, const wchar_t* provider, DWORD type, DWORD flags) {
        BYTE nameBuffer[256];
        DWORD nameSize = sizeof(nameBuffer);
        EXPECT_TRUE(::CertStrToNameW(X509_ASN_ENCODING, L"CN=kv linked test", CERT_X500_NAME_STR,
                                     nullptr, nameBuffer, &nameSize, nullptr));
        BYTE serial[] = {0x01, 0x23, 0x45};
        BYTE key[] = {0x04, 0x40, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
        CERT_INFO info{};
        info.dwVersion = CERT_V3;
        info.SerialNumber = {sizeof(serial), serial};
        info.SignatureAlgorithm.pszObjId = const_cast<char*>("1.2.643.2.2.3");
        info.Issuer = info.Subject = {nameSize, nameBuffer};
        SYSTEMTIME now;
        ::GetSystemTime(&now);
        ::SystemTimeToFileTime(&now, &info.NotBefore);
        now.wYear += 1;
        ::SystemTimeToFileTime(&now, &info.NotAfter);
        info.SubjectPublicKeyInfo.Algorithm.pszObjId = const_cast<char*>("1.2.643.2.2.19");
        info.SubjectPublicKeyInfo.PublicKey = {sizeof(key), key, 0};
        BYTE toBeSigned[1024];
        DWORD toBeSignedSize = sizeof(toBeSigned);
        EXPECT_TRUE(::CryptEncodeObject(X509_ASN_ENCODING, X509_CERT_TO_BE_SIGNED, &info,
                                        toBeSigned, &toBeSignedSize));
        BYTE signature[64] = {0x05};
        CERT_SIGNED_CONTENT_INFO signedInfo{};
        signedInfo.ToBeSigned = {toBeSignedSize, toBeSigned};
        signedInfo.SignatureAlgorithm = info.SignatureAlgorithm;
        signedInfo.Signature = {sizeof(signature), signature, 0};
        BYTE encoded[2048];
        DWORD encodedSize = sizeof(encoded);
        EXPECT_TRUE(::CryptEncodeObject(X509_ASN_ENCODING, X509_CERT, &signedInfo, encoded,
                                        &encodedSize));
        store_.reset(::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                     CERT_SYSTEM_STORE_CURRENT_USER, L"My"));
        EXPECT_TRUE(::CertAddEncodedCertificateToStore(store_.get(), X509_ASN_ENCODING, encoded,
                                                       encodedSize, CERT_STORE_ADD_REPLACE_EXISTING,
                                                       certificate_.put()));
        if (container) {
            CRYPT_KEY_PROV_INFO link{};
            link.pwszContainerName = const_cast<wchar_t*>(container);
            link.pwszProvName = const_cast<wchar_t*>(provider);
            link.dwProvType = type;
            link.dwFlags = flags;
            link.dwKeySpec = AT_KEYEXCHANGE;
            EXPECT_TRUE(::CertSetCertificateContextProperty(certificate_.get(),
                                                            CERT_KEY_PROV_INFO_PROP_ID, 0, &link));
        }
        // A system store reaches the registry, where other handles read it, when committed.
        ::CertControlStore(store_.get(), 0, CERT_STORE_CTRL_COMMIT, nullptr);
    }
    ~LinkedCertificate() {
        if (certificate_) ::CertDeleteCertificateFromStore(certificate_.release());
        ::CertControlStore(store_.get(), 0, CERT_STORE_CTRL_COMMIT, nullptr);
    }

private:
    ui::UniqueCertStore store_;
    ui::UniqueCertContext certificate_;
};

// Picks the first certificate of the system's selection dialog titled `title`, or cancels it.
void AnswerCertificateDialog(const std::wstring& title, bool pick) {
    HWND dialog = WaitForWindow({L"", title});
    if (pick) {
        HWND list = ::FindWindowExW(dialog, nullptr, L"SysListView32", nullptr);
        ASSERT_TRUE(list);
        WaitUntil([&] { return ::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0) == 1; },
                  "exactly the one certificate of the product's algorithm");
        LVITEMW item{};
        item.stateMask = item.state = LVIS_SELECTED | LVIS_FOCUSED;
        ::SendMessageW(list, LVM_SETITEMSTATE, 0, reinterpret_cast<LPARAM>(&item));
        Click(dialog, IDOK);
    } else {
        Click(dialog, IDCANCEL);
    }
    WaitUntilGone(dialog);
}

const std::wstring kUserOrMachineTitle =
    L"Choose a certificate from \"My\" store of current user or local machine.";

TEST(SelectContainer, ByCertificateTakesTheContainerProviderAndKeySetOfItsLink) {
    // Neither the first provider nor the preselected default.
    LinkedCertificate linked(L"kv-linked", kProvider71, 71, CRYPT_MACHINE_KEYSET);
    WithDeleteWizard([](HWND wizard) {
        Click(wizard, IDC_SELECT_BY_CERTIFICATE);
        AnswerCertificateDialog(kUserOrMachineTitle, true);
        WaitUntil([&] { return Text(Item(wizard, IDC_SELECT_NAME)) == L"kv-linked"; },
                  "the linked container's name");
        EXPECT_EQ(2, ComboSelection(Item(wizard, IDC_SELECT_PROVIDER))) << Narrow(kProvider71);
        EXPECT_EQ(BST_CHECKED, CheckState(Item(wizard, IDC_SELECT_COMPUTER)));
        Cancel(wizard);
    });
}

TEST(SelectContainer, ByCertificateWithAnUnlistedProviderOrNoChoice) {
    LinkedCertificate linked(L"kv-elsewhere", L"Some Other CSP", kType, 0);
    WithDeleteWizard([](HWND wizard) {
        SetText(Item(wizard, IDC_SELECT_NAME), L"typed");
        Click(wizard, IDC_SELECT_BY_CERTIFICATE);
        AnswerCertificateDialog(kUserOrMachineTitle, false);
        Flush();
        EXPECT_EQ(L"typed", Text(Item(wizard, IDC_SELECT_NAME))) << "a cancel changes nothing";
        EXPECT_EQ(1, ComboSelection(Item(wizard, IDC_SELECT_PROVIDER)));

        Click(wizard, IDC_SELECT_BY_CERTIFICATE);
        AnswerCertificateDialog(kUserOrMachineTitle, true);
        WaitUntil([&] { return Text(Item(wizard, IDC_SELECT_NAME)) == L"kv-elsewhere"; },
                  "the linked container's name");
        EXPECT_EQ(0, ComboSelection(Item(wizard, IDC_SELECT_PROVIDER))) << "the first provider";
        EXPECT_EQ(BST_CHECKED, CheckState(Item(wizard, IDC_SELECT_USER)));
        Cancel(wizard);
    });
}

TEST(SelectContainer, ByCertificateOffersOnlyTheUsersStoreWithoutGlobalWriteAccess) {
    ScopedValue readOnly(HKEY_LOCAL_MACHINE, testbed::knobs::kAccess, L"\\global",
                         static_cast<DWORD>(testbed::knobs::kRead));
    WithDeleteWizard([](HWND wizard) {
        Click(wizard, IDC_SELECT_BY_CERTIFICATE);
        AnswerCertificateDialog(L"Choose a certificate from \"My\" store of current user.", false);
        Cancel(wizard);
    });
}

}  // namespace
