#include "wizards/certificate_on_container.h"

#include "applet/crypt_reads.h"
#include "applet/library_binding.h"
#include "applet/strings.h"
#include "resource.h"
#include "ui/controls.h"
#include "wizards/certificate_info.h"
#include "wizards/container_extensions.h"
#include "wizards/install_certificate.h"

#include <cstring>

namespace applet {

namespace {

constexpr char kOidChainCa[] = "1.2.643.2.2.37.3.1";
constexpr char kOidChainRoot[] = "1.2.643.2.2.37.3.2";
constexpr char kOidChainRoot2[] = "1.2.643.2.2.37.3.3";
constexpr wchar_t kPersonalStore[] = L"MY";

// The system store a chain certificate belongs in; none for identifiers that carry no chain.
const wchar_t* ChainStore(const std::string& oid) {
    if (oid == kOidChainCa) return L"CA";
    if (oid == kOidChainRoot || oid == kOidChainRoot2) return L"ROOT";
    return nullptr;
}

// `existing`: fail rather than create a store that is not there yet.
HCERTSTORE OpenSystemStore(const wchar_t* name, bool machine, bool existing) {
    const DWORD location =
        machine ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER;
    return ::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                           location | (existing ? CERT_STORE_OPEN_EXISTING_FLAG : 0), name);
}

// Collects the chain certificates as the listing goes.
class ChainCollector : public ATL2::CContainerExtensionEnum {
public:
    explicit ChainCollector(ExtensionCertificates& result) : result_(result) {}

    bool OnExtension(const BYTE* value, const char* oid, DWORD length, LONG) override {
        if (!ChainStore(oid)) return true;
        const auto set = DecodeCertificateSet(oid, value, length);
        if (!set) return true;
        for (const std::vector<BYTE>& encoded : *set) {
            if (!::CertAddEncodedCertificateToStore(
                    result_.store.get(), kCertificateEncoding, encoded.data(),
                    static_cast<DWORD>(encoded.size()), CERT_STORE_ADD_REPLACE_EXISTING, nullptr)) {
                error_ = ::GetLastError();
                return false;
            }
            result_.chain.push_back({oid, encoded});
        }
        return true;
    }
    DWORD Error() const { return error_; }

private:
    ExtensionCertificates& result_;
    DWORD error_ = 0;
};

}  // namespace

bool ReadKeyCertificates(HCRYPTPROV prov, DWORD acquireFlags, KeyCertificates& result) {
    result.selected.reset();
    result.both = false;
    result.notices.clear();
    auto fail = [&](UINT notice) {
        result.notices.push_back(notice);
        return false;
    };
    result.store.reset(::CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    std::vector<BYTE> unique;
    if (!result.store || !ReadSized(ProvParam(prov, PP_UNIQUE_CONTAINER), unique))
        return fail(IDS_INSTALL_PARAMETERS_ERROR);
    result.container = AnsiText(unique);

    // The exchange key comes first: its certificate is the one shown.
    const DWORD specs[] = {AT_KEYEXCHANGE, AT_SIGNATURE};
    ui::UniqueCryptKey keys[2];
    bool anyKey = false;
    for (int i = 0; i < 2; ++i) anyKey |= ::CryptGetUserKey(prov, specs[i], keys[i].put()) != FALSE;
    if (!anyKey) return fail(IDS_INSTALL_NO_KEY_IN_CONTAINER);

    // A key whose link cannot be made is told and left out; the other key's certificate is
    // still offered.
    int found = 0;
    for (int i = 0; i < 2; ++i) {
        if (!keys[i]) continue;
        KeyProvRecord record;
        if (!record.Read(prov, acquireFlags, keys[i].get())) {
            result.notices.push_back(IDS_INSTALL_PARAMETERS_ERROR);
            continue;
        }
        const bool signature = record.Info()->dwKeySpec == AT_SIGNATURE;
        std::vector<BYTE> encoded;
        ui::UniqueCertContext certificate;
        if (ReadSized(KeyParam(keys[i].get(), KP_CERTIFICATE), encoded))
            certificate.reset(::CertCreateCertificateContext(kCertificateEncoding, encoded.data(),
                                                             static_cast<DWORD>(encoded.size())));
        if (!certificate) {
            result.notices.push_back(signature ? IDS_VIEW_NO_SIGNATURE_CERT
                                               : IDS_VIEW_NO_EXCHANGE_CERT);
            continue;
        }
        // A certificate that is not its key's is still shown: the user may want to see it.
        if (!KeyMatches(prov, record.Info()->dwKeySpec, certificate.get()).value_or(false))
            result.notices.push_back(signature ? IDS_VIEW_SIGNATURE_MISMATCH
                                               : IDS_VIEW_EXCHANGE_MISMATCH);
        PCCERT_CONTEXT added = nullptr;
        if (!::CertSetCertificateContextProperty(certificate.get(), CERT_KEY_PROV_INFO_PROP_ID, 0,
                                                 record.Info()) ||
            !::CertAddCertificateContextToStore(result.store.get(), certificate.get(),
                                                CERT_STORE_ADD_ALWAYS, &added)) {
            result.notices.push_back(IDS_INSTALL_PROPERTY_ERROR);
            continue;
        }
        ui::UniqueCertContext stored(added);
        if (!result.selected) result.selected = std::move(stored);
        ++found;
    }
    if (!found) return fail(IDS_VIEW_NO_CERTIFICATES);
    result.both = found == 2;
    return true;
}

bool ReadExtensionCertificates(HCRYPTPROV prov, ExtensionCertificates& result) {
    result.chain.clear();
    result.store.reset(::CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    if (!result.store) return false;
    ChainCollector collector(result);
    const ExtensionListing listing =
        EnumContainerExtensions(prov, collector, ExtensionFetch::kWholeBuffer);
    const DWORD error = listing.stopped ? collector.Error() : listing.error;
    if (error) ::SetLastError(error);
    return error == 0;
}

bool InstallChain(const std::vector<ChainCertificate>& chain, bool machine) {
    ui::UniqueCertStore ca, root;
    for (const ChainCertificate& certificate : chain) {
        const wchar_t* name = ChainStore(certificate.oid);
        if (!name) continue;
        ui::UniqueCertStore& store = std::wcscmp(name, L"CA") == 0 ? ca : root;
        // A user who never had a chain certificate may have no such store yet.
        if (!store) store.reset(OpenSystemStore(name, machine, false));
        if (!store) return false;
        if (!::CertAddEncodedCertificateToStore(
                store.get(), kCertificateEncoding, certificate.encoded.data(),
                static_cast<DWORD>(certificate.encoded.size()), CERT_STORE_ADD_NEW, nullptr) &&
            ::GetLastError() != static_cast<DWORD>(CRYPT_E_EXISTS))
            return false;
    }
    return true;
}

ThreadDefaultProviderScope::ThreadDefaultProviderScope()
    : library_(LoadProductLibrary(L"kvcrypt.dll")) {
    if (library_)
        setDefault_ = reinterpret_cast<SetDefaultFn>(
            reinterpret_cast<void*>(::GetProcAddress(library_.get(), "SetThreadDefaultCryptProv")));
}

ThreadDefaultProviderScope::~ThreadDefaultProviderScope() {
    ui::LastErrorKeeper keep;
    if (setDefault_) setDefault_(0);
}

CWizPageCertificateOnContainerSelectContainer::CWizPageCertificateOnContainerSelectContainer(
    CWizardCertificateOnContainer& wizard)
    : CWizPageSelectContainer(IDS_WIZARD_VIEW, IDS_VIEW_SELECT_SUBTITLE, true, true, true),
      wizard_(wizard) {}

LRESULT CWizPageCertificateOnContainerSelectContainer::OnWizardNext() {
    if (CWizPageSelectContainer::OnWizardNext() != 0) return -1;
    ClientWindowScope owner(hwnd());
    if (!AcquireSelectedContainer(wizard_.container, 0)) return -1;
    KeyCertificates& certificates = wizard_.certificates;
    certificates.container = containerName;
    const bool read =
        ReadKeyCertificates(wizard_.container.Handle(), wizard_.container.Flags(), certificates);
    for (UINT notice : certificates.notices)
        MessageBoxFormat(notice, certificates.container, std::wstring(), MB_ICONEXCLAMATION);
    if (!read) return -1;
    if (!ReadExtensionCertificates(wizard_.container.Handle(), wizard_.extensions)) {
        MessageBoxFormat(IDS_INSTALL_PARAMETERS_ERROR, certificates.container, std::wstring(),
                         MB_ICONEXCLAMATION);
        return -1;
    }
    return 0;
}

CWizPageCertificateOnContainerSelectCertificate::CWizPageCertificateOnContainerSelectCertificate(
    CWizardCertificateOnContainer& wizard)
    : CWizardPageBase(IDD_VIEW_CERTIFICATE, IDS_WIZARD_VIEW, IDS_VIEW_CERT_HEADER,
                      IDS_VIEW_CERT_SUBTITLE),
      wizard_(wizard) {}

BOOL CWizPageCertificateOnContainerSelectCertificate::OnSetActive() {
    ShowSelected();
    ui::Control(Item(IDC_INSTALL_CERT_BROWSE)).Enable(wizard_.certificates.both);
    ui::Control(Item(IDC_INSTALL_CERT_NOTE)).Show(wizard_.certificates.both);
    return CWizardPageBase::OnSetActive();
}

void CWizPageCertificateOnContainerSelectCertificate::ShowSelected() {
    PCCERT_CONTEXT selected = wizard_.certificates.selected.get();
    ShowCertificateFields(hwnd(), selected);
    ::PostMessageW(SheetWindow(), PSM_SETWIZBUTTONS, 0,
                   PSWIZB_BACK | (selected ? PSWIZB_FINISH : PSWIZB_DISABLEDFINISH));
}

bool CWizPageCertificateOnContainerSelectCertificate::OnCommand(UINT id, UINT code) {
    if (code != BN_CLICKED) return false;
    switch (id) {
        case IDC_INSTALL_CERT_BROWSE:
            if (auto chosen = ChooseCertificate(hwnd(), wizard_.certificates.store.get()))
                wizard_.certificates.selected = std::move(chosen);
            ShowSelected();
            return true;
        case IDC_INSTALL_CERT_PROPERTIES:
            Properties();
            return true;
        case IDC_INSTALL_CERT_INSTALL:
            Install();
            return true;
        default:
            return false;
    }
}

void CWizPageCertificateOnContainerSelectCertificate::Properties() {
    PCCERT_CONTEXT selected = wizard_.certificates.selected.get();
    if (!selected) return;
    ThreadDefaultProviderScope threadDefault;
    ViewCertificate(selected, hwnd(), wizard_.extensions.store.get());
}

void CWizPageCertificateOnContainerSelectCertificate::Install() {
    PCCERT_CONTEXT selected = wizard_.certificates.selected.get();
    if (!selected) return;
    const bool machine = Wizard().keySet == 1;
    ui::UniqueCertStore personal(OpenSystemStore(kPersonalStore, machine, true));
    if (!personal) {
        ErrorMessageBox(::GetLastError());
        return;
    }
    if (!InstallCertificate(personal.get(), selected)) return;
    if (!InstallChain(wizard_.extensions.chain, machine)) {
        ReportStoreFailure(::GetLastError());
        return;
    }
    MessageBoxId(machine ? IDS_INSTALLED_COMPUTER : IDS_INSTALLED_USER, MB_ICONINFORMATION);
}

CWizardCertificateOnContainer::CWizardCertificateOnContainer(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_VIEW, 0), select_(*this), certificate_(*this) {
    AddPage(select_);
    AddPage(certificate_);
}

}  // namespace applet
