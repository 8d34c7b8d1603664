#include "wizards/install_certificate.h"

#include "applet/lang_bases.h"
#include "applet/module_state.h"
#include "applet/strings.h"
#include "resource.h"
#include "ui/data_exchange.h"
#include "ui/resources.h"
#include "wizards/cert_dialogs.h"
#include "applet/crypt_reads.h"

#include <commdlg.h>
#include <cryptuiapi.h>

#include <vector>

namespace applet {

namespace {

constexpr DWORD kOpenFlags = OFN_READONLY | OFN_NOCHANGEDIR | OFN_EXTENSIONDIFFERENT |
                             OFN_PATHMUSTEXIST | OFN_FILEMUSTEXIST | OFN_LONGNAMES |
                             OFN_ENABLESIZING;
constexpr wchar_t kCertificateFilter[] =
    L"Certificate Files (*.cer;*.crt)|*.cer;*.crt|PKCS#7 Files (*.p7b;*.p7c;*.p7)|"
    L"*.p7b;*.p7c;*.p7|Base 64 Files (*.b64;*.txt)|*.b64;*.txt|All Files (*.*)|*.*||";
// CRYPTUI_DISABLE_EDITPROPERTIES | CRYPTUI_DISABLE_ADDTOSTORE
constexpr DWORD kViewFlags = 0x14;
constexpr wchar_t kPersonalStore[] = L"MY";

void SetWizardButtons(HWND sheet, DWORD buttons) {
    ::PostMessageW(sheet, PSM_SETWIZBUTTONS, 0, buttons);
}

BOOL WINAPI ShowCertificate(PCCERT_CONTEXT certificate, HWND parent, void*) {
    ViewCertificate(certificate, parent);
    return TRUE;
}

// The localized name a system store was opened with; empty when it has none. Opened by its
// system name, a store whose crypt32 ignored CERT_STORE_SET_LOCALIZED_NAME_FLAG is given the
// name that flag would have set.
std::wstring StoreName(HCERTSTORE store, const wchar_t* systemName = nullptr) {
    std::vector<BYTE> name;
    auto read = [&] {
        return ReadSized(
            [&](BYTE* buffer, DWORD* size) {
                return ::CertGetStoreProperty(store, CERT_STORE_LOCALIZED_NAME_PROP_ID, buffer,
                                              size) != FALSE;
            },
            name);
    };
    if (!read() && systemName) {
        const wchar_t* localized = ::CryptFindLocalizedName(systemName);
        if (!localized) return {};
        CRYPT_DATA_BLOB blob{static_cast<DWORD>((::wcslen(localized) + 1) * sizeof(wchar_t)),
                             reinterpret_cast<BYTE*>(const_cast<wchar_t*>(localized))};
        if (!::CertSetStoreProperty(store, CERT_STORE_LOCALIZED_NAME_PROP_ID, 0, &blob) || !read())
            return {};
    }
    const auto* text = reinterpret_cast<const wchar_t*>(name.data());
    return std::wstring(text, ::wcsnlen(text, name.size() / sizeof(wchar_t)));
}

}  // namespace

void ViewCertificate(PCCERT_CONTEXT certificate, HWND parent, HCERTSTORE extra) {
    CRYPTUI_VIEWCERTIFICATE_STRUCTW view{};
    view.dwSize = sizeof(view);
    view.hwndParent = parent;
    view.dwFlags = kViewFlags;
    view.pCertContext = certificate;
    if (extra) {
        view.cStores = 1;
        view.rghStores = &extra;
    }
    ::CryptUIDlgViewCertificateW(&view, nullptr);
}

void ShowCertificateFields(HWND page, PCCERT_CONTEXT certificate) {
    CertificateFields fields;
    if (certificate) fields = ReadCertificateFields(certificate);
    const std::pair<int, const std::wstring*> edits[] = {
        {IDC_INSTALL_CERT_NAME, &fields.name},     {IDC_INSTALL_CERT_SUBJECT, &fields.subject},
        {IDC_INSTALL_CERT_ISSUER, &fields.issuer}, {IDC_INSTALL_CERT_FROM, &fields.validFrom},
        {IDC_INSTALL_CERT_TO, &fields.validTo},    {IDC_INSTALL_CERT_SERIAL, &fields.serial}};
    for (const auto& [id, text] : edits) ::SetDlgItemTextW(page, id, text->c_str());
    if (certificate) {
        ::SetDlgItemTextW(page, IDC_INSTALL_CERT_USE, L"");
        ui::Control(::GetDlgItem(page, IDC_INSTALL_CERT_USE_LABEL)).Show(false);
        ui::Control(::GetDlgItem(page, IDC_INSTALL_CERT_USE)).Show(false);
    }
    ui::Control(::GetDlgItem(page, IDC_INSTALL_CERT_PROPERTIES)).Enable(certificate != nullptr);
}

ui::UniqueCertContext ChooseCertificate(HWND parent, HCERTSTORE store) {
    SelectCertificateRequest request{};
    request.dwSize = sizeof(request);
    request.hwndParent = parent;
    request.pDisplayCallback = ShowCertificate;
    request.cDisplayStores = 1;
    request.rghDisplayStores = &store;
    return ui::UniqueCertContext(::CryptUIDlgSelectCertificateW(&request));
}

bool InstallCertificate(HCERTSTORE store, PCCERT_CONTEXT certificate) {
    // Whatever an earlier installation kept under the same key identifier would shadow the new
    // link.
    std::vector<BYTE> identifier;
    if (ReadSized(
            [&](BYTE* buffer, DWORD* size) {
                return ::CertGetCertificateContextProperty(certificate, CERT_KEY_IDENTIFIER_PROP_ID,
                                                           buffer, size) != FALSE;
            },
            identifier)) {
        CRYPT_HASH_BLOB blob{static_cast<DWORD>(identifier.size()), identifier.data()};
        ::CryptSetKeyIdentifierProperty(&blob, 0, CRYPT_KEYID_DELETE_FLAG, nullptr, nullptr,
                                        nullptr);
    }
    auto add = [&](DWORD disposition) {
        return ::CertAddCertificateContextToStore(store, certificate, disposition, nullptr) !=
               FALSE;
    };
    if (add(CERT_STORE_ADD_NEW)) return true;
    DWORD error = ::GetLastError();
    if (error == static_cast<DWORD>(CRYPT_E_EXISTS)) {
        if (MessageBoxId(IDS_INSTALL_REPLACE, MB_YESNO | MB_ICONINFORMATION) != IDYES) {
            MessageBoxId(IDS_INSTALL_CANCELLED, MB_ICONINFORMATION);
            ::SetLastError(ERROR_CANCELLED);
            return false;
        }
        if (add(CERT_STORE_ADD_REPLACE_EXISTING)) return true;
        error = ::GetLastError();
    }
    ReportStoreFailure(error);
    return false;
}

void ReportStoreFailure(DWORD error) {
    if (error != ERROR_CANCELLED) ErrorMessageBox(error);
    ::SetLastError(error);
}

INT_PTR COpenCertFileDialog::DoModal() {
    std::wstring filter = kCertificateFilter;
    for (wchar_t& c : filter)
        if (c == L'|') c = L'\0';
    std::vector<wchar_t> file(MAX_PATH, L'\0');
    OPENFILENAMEW open{};
    open.lStructSize = sizeof(open);
    open.hwndOwner = parent_;
    open.lpstrFilter = filter.c_str();
    open.lpstrFile = file.data();
    open.nMaxFile = static_cast<DWORD>(file.size());
    open.Flags = kOpenFlags;
    if (!::GetOpenFileNameW(&open)) return IDCANCEL;
    path = file.data();
    return IDOK;
}

CWizPageInstallCertificateWelcome::CWizPageInstallCertificateWelcome()
    : CWizardPageBase(IDD_INSTALL_WELCOME, IDS_WIZARD_INSTALL, 0, 0) {
    MakeExterior();
}

BOOL CWizPageInstallCertificateWelcome::OnInitDialog() {
    CWizardPageBase::OnInitDialog();
    titleFont_ = SetWizardTitleFont(Item(IDC_INSTALL_TITLE));
    return TRUE;
}

BOOL CWizPageInstallCertificateWelcome::OnSetActive() {
    SetWizardButtons(SheetWindow(), PSWIZB_NEXT);
    return CWizardPageBase::OnSetActive();
}

CWizPageInstallCertificateSelectFile::CWizPageInstallCertificateSelectFile(
    CWizardInstallPrivateCertificate& wizard)
    : CWizardPageBase(IDD_INSTALL_FILE, IDS_WIZARD_INSTALL, IDS_INSTALL_FILE_HEADER,
                      IDS_INSTALL_FILE_SUBTITLE),
      wizard_(wizard) {}

void CWizPageInstallCertificateSelectFile::DoDataExchange(ui::DataExchange& dx) {
    dx.Text(IDC_INSTALL_FILE_NAME, fileName, MAX_PATH);
}

BOOL CWizPageInstallCertificateSelectFile::OnSetActive() {
    UpdateButtons();
    return CWizardPageBase::OnSetActive();
}

void CWizPageInstallCertificateSelectFile::UpdateButtons() {
    SetWizardButtons(SheetWindow(),
                     ::GetWindowTextLengthW(Item(IDC_INSTALL_FILE_NAME)) > 0 ? PSWIZB_NEXT : 0);
}

bool CWizPageInstallCertificateSelectFile::OnCommand(UINT id, UINT code) {
    if (id == IDC_INSTALL_FILE_NAME && code == EN_CHANGE) {
        UpdateButtons();
        return true;
    }
    if (id != IDC_INSTALL_FILE_BROWSE || code != BN_CLICKED) return false;
    UpdateData(true);
    COpenCertFileDialog dialog(hwnd());
    if (dialog.DoModal() == IDOK) {
        fileName = dialog.path;
        UpdateData(false);
    }
    UpdateButtons();
    return true;
}

LRESULT CWizPageInstallCertificateSelectFile::OnWizardNext() {
    UpdateData(true);
    if (fileName.empty()) {
        MessageBoxId(IDS_INSTALL_BAD_FILE, MB_OK);
        return -1;
    }
    // The same file again keeps the certificate chosen from it.
    if (fileName == wizard_.filePath) return 0;
    CertificateFile file;
    const bool opened = OpenCertificateFile(fileName, file);
    wizard_.certificate.reset();
    wizard_.fileStore = std::move(file.store);
    if (!opened) {
        wizard_.filePath.clear();
        MessageBoxId(IDS_INSTALL_BAD_FILE, MB_OK);
        return -1;
    }
    wizard_.certificate = std::move(file.certificate);
    wizard_.severalCertificates = file.several;
    wizard_.filePath = fileName;
    return 0;
}

CWizPageInstallCertificateSelectCertificate::CWizPageInstallCertificateSelectCertificate(
    CWizardInstallPrivateCertificate& wizard)
    : CWizardPageBase(IDD_INSTALL_CERTIFICATE, IDS_WIZARD_INSTALL, IDS_INSTALL_CERT_HEADER,
                      IDS_INSTALL_CERT_SUBTITLE),
      wizard_(wizard) {}

BOOL CWizPageInstallCertificateSelectCertificate::OnSetActive() {
    ui::Control(Item(IDC_INSTALL_CERT_INSTALL)).Show(false);
    ShowCertificateFields(hwnd(), wizard_.certificate.get());
    ui::Control(Item(IDC_INSTALL_CERT_BROWSE)).Enable(wizard_.severalCertificates);
    ui::Control(Item(IDC_INSTALL_CERT_NOTE)).Show(wizard_.severalCertificates);
    UpdateButtons();
    return CWizardPageBase::OnSetActive();
}

void CWizPageInstallCertificateSelectCertificate::UpdateButtons() {
    SetWizardButtons(SheetWindow(), wizard_.certificate ? PSWIZB_BACK | PSWIZB_NEXT : PSWIZB_BACK);
}

bool CWizPageInstallCertificateSelectCertificate::OnCommand(UINT id, UINT code) {
    if (code != BN_CLICKED) return false;
    if (id == IDC_INSTALL_CERT_BROWSE) {
        if (auto chosen = ChooseCertificate(hwnd(), wizard_.fileStore.get())) {
            wizard_.certificate = std::move(chosen);
            ShowCertificateFields(hwnd(), wizard_.certificate.get());
        }
        UpdateButtons();
        return true;
    }
    if (id == IDC_INSTALL_CERT_PROPERTIES) {
        if (wizard_.certificate) ViewCertificate(wizard_.certificate.get(), hwnd());
        return true;
    }
    return false;
}

SearchWindow::SearchWindow(HWND sheet, HWND nameField)
    : sheet_(sheet), nameField_(nameField), lastRefresh_(::GetTickCount()) {
    ::EnableWindow(sheet_, FALSE);
}

SearchWindow::~SearchWindow() {
    ui::LastErrorKeeper keep;
    ::EnableWindow(sheet_, TRUE);
    if (window_) ::DestroyWindow(window_);
}

void SearchWindow::Open() {
    const LANGID language = CurrentLanguage();
    if (const DLGTEMPLATE* tmpl = ui::FindDialogTemplate(Module(), IDD_INSTALL_SEARCH, language))
        window_ = ::CreateDialogIndirectParamW(Module(), tmpl, sheet_, Proc,
                                               reinterpret_cast<LPARAM>(this));
    if (!window_) return;
    ::SetWindowTextW(window_, LoadStringLang(IDS_WIZARD_INSTALL).c_str());
    ::ShowWindow(window_, SW_SHOW);
    progressFormat_ = LoadStringLang(IDS_INSTALL_SEARCHING);
}

bool SearchWindow::Step(int provider, int providers, int containers, const std::wstring& name) {
    // A container opens in well under a millisecond; showing each one's name and count, and
    // painting them, took longer than the search itself. So the search shows where it is every
    // kRefreshMs at most, and opens its window only once it has run kOpenAfterMs: a short
    // search shows none. The page gets the found name anyway.
    const DWORD now = ::GetTickCount();
    if (now - lastRefresh_ < (opened_ ? kRefreshMs : kOpenAfterMs)) return !cancelled_;
    lastRefresh_ = now;
    if (!opened_) {
        opened_ = true;
        Open();
    }
    ::SetWindowTextW(nameField_, name.c_str());
    if (window_)
        ::SetDlgItemTextW(window_, IDC_INSTALL_SEARCH_PROGRESS,
                          ui::Printf(progressFormat_.c_str(), provider + 1, providers, containers)
                              .c_str());
    Pump();
    return !cancelled_;
}

void SearchWindow::Pump() {
    MSG msg;
    while (window_ && ::PeekMessageW(&msg, window_, 0, 0, PM_REMOVE)) {
        if (!::IsDialogMessageW(window_, &msg)) {
            ::TranslateMessage(&msg);
            ::DispatchMessageW(&msg);
        }
    }
    // Painting validates what it paints; the bound keeps a window that never does from
    // holding the search.
    for (int i = 0; i < 64 && ::PeekMessageW(&msg, nullptr, WM_PAINT, WM_PAINT, PM_REMOVE); ++i)
        ::DispatchMessageW(&msg);
}

INT_PTR CALLBACK SearchWindow::Proc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_INITDIALOG) {
        ::SetWindowLongPtrW(hwnd, DWLP_USER, lp);
        return TRUE;
    }
    if (msg == WM_COMMAND && LOWORD(wp) == IDCANCEL) {
        if (auto* self = reinterpret_cast<SearchWindow*>(::GetWindowLongPtrW(hwnd, DWLP_USER)))
            self->cancelled_ = true;
        return TRUE;
    }
    return FALSE;
}

CWizPageInstallCertificateSelectContainer::CWizPageInstallCertificateSelectContainer(
    CWizardInstallPrivateCertificate& wizard)
    : CWizPageSelectContainer(IDS_WIZARD_INSTALL, IDS_INSTALL_CARRIER_SUBTITLE, false, true, true),
      wizard_(wizard) {}

BOOL CWizPageInstallCertificateSelectContainer::OnInitDialog() {
    CWizPageSelectContainer::OnInitDialog();
    ui::Control(Item(IDC_SELECT_FIND_AUTOMATICALLY)).Show(true);
    return TRUE;
}

bool CWizPageInstallCertificateSelectContainer::OnCommand(UINT id, UINT code) {
    if (id != IDC_SELECT_FIND_AUTOMATICALLY || code != BN_CLICKED)
        return CWizPageSelectContainer::OnCommand(id, code);
    UpdateData(true);
    if (ui::Button(Item(IDC_SELECT_FIND_AUTOMATICALLY)).IsChecked()) {
        EnableManualEntry(false);
        FindAutomatically();
    } else {
        EnableManualEntry(true);
    }
    UpdateWizardButtons();
    return true;
}

void CWizPageInstallCertificateSelectContainer::EnableManualEntry(bool enable) {
    for (int id : {IDC_SELECT_NAME, IDC_SELECT_BROWSE, IDC_SELECT_PROVIDER})
        ui::Control(Item(id)).Enable(enable);
    if (enable) {
        containerName.clear();
        ::SetDlgItemTextW(hwnd(), IDC_SELECT_NAME, L"");
    }
}

void CWizPageInstallCertificateSelectContainer::FindAutomatically() {
    ui::ComboBox combo(Item(IDC_SELECT_PROVIDER));
    std::vector<SearchProvider> providers;
    for (int i = 0, count = combo.Count(); i < count; ++i)
        providers.push_back({combo.ItemText(i), static_cast<DWORD>(combo.ItemData(i))});
    ClientWindowScope owner(hwnd());
    SearchHit hit;
    bool cancelled = false;
    {
        SearchWindow window(SheetWindow(), Item(IDC_SELECT_NAME));
        hit = FindContainerOfCertificate(providers, keySet == 1, wizard_.certificate.get(), window);
        cancelled = window.Cancelled();
    }
    if (hit.provider >= 0) {
        providerIndex = hit.provider;
        containerName = hit.container;
        UpdateData(false);
        return;
    }
    ui::Button(Item(IDC_SELECT_FIND_AUTOMATICALLY)).SetCheck(false);
    EnableManualEntry(true);
    if (!cancelled) MessageBoxId(IDS_INSTALL_NOT_FOUND, MB_ICONEXCLAMATION);
}

LRESULT CWizPageInstallCertificateSelectContainer::OnWizardNext() {
    if (CWizPageSelectContainer::OnWizardNext() != 0) return -1;
    ClientWindowScope owner(hwnd());
    if (!AcquireSelectedContainer(wizard_.container, 0)) return -1;
    wizard_.keySpec = wizard_.certificate
                          ? MatchContainerKey(wizard_.container.Handle(), wizard_.certificate.get())
                          : 0;
    if (!wizard_.keySpec) {
        MessageBoxId(IDS_INSTALL_KEY_MISMATCH, MB_ICONEXCLAMATION);
        return -1;
    }
    wizard_.containerName = containerName;
    return 0;
}

LRESULT CWizPageInstallCertificateSelectContainer::OnWizardBack() {
    ui::Button(Item(IDC_SELECT_FIND_AUTOMATICALLY)).SetCheck(false);
    EnableManualEntry(true);
    return 0;
}

CWizPageInstallCertificateSelectStore::CWizPageInstallCertificateSelectStore(
    CWizardInstallPrivateCertificate& wizard)
    : CWizardPageBase(IDD_INSTALL_STORE, IDS_WIZARD_INSTALL, IDS_INSTALL_STORE_HEADER,
                      IDS_INSTALL_STORE_SUBTITLE),
      wizard_(wizard) {}

void CWizPageInstallCertificateSelectStore::DoDataExchange(ui::DataExchange& dx) {
    dx.Text(IDC_INSTALL_STORE_NAME, storeName);
    dx.Radio(IDC_INSTALL_STORE_USER, keySet);
    dx.Check(IDC_INSTALL_TO_CONTAINER, toContainer);
}

BOOL CWizPageInstallCertificateSelectStore::OnSetActive() {
    keySet = Wizard().keySet ? 1 : 0;
    const DWORD location =
        keySet ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER;
    TakeStore(::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                              location | CERT_STORE_SET_LOCALIZED_NAME_FLAG, kPersonalStore),
              kPersonalStore);
    return CWizardPageBase::OnSetActive();
}

void CWizPageInstallCertificateSelectStore::TakeStore(HCERTSTORE store, const wchar_t* systemName) {
    wizard_.targetStore.reset(store);
    storeName = store ? StoreName(store, systemName) : std::wstring();
    if (storeName.empty()) {
        wizard_.targetStore.reset();
        wizard_.targetStoreName.clear();
    }
    UpdateData(false);
    UpdateButtons();
}

void CWizPageInstallCertificateSelectStore::UpdateButtons() {
    SetWizardButtons(SheetWindow(), storeName.empty() ? PSWIZB_BACK : PSWIZB_BACK | PSWIZB_NEXT);
}

bool CWizPageInstallCertificateSelectStore::OnCommand(UINT id, UINT code) {
    if (id != IDC_INSTALL_STORE_BROWSE || code != BN_CLICKED) return false;
    Browse();
    return true;
}

void CWizPageInstallCertificateSelectStore::Browse() {
    UpdateData(true);
    wizard_.targetStore.reset();
    SystemStoreEnumArgs location{static_cast<DWORD>(keySet ? CERT_SYSTEM_STORE_LOCAL_MACHINE
                                                           : CERT_SYSTEM_STORE_CURRENT_USER),
                                 nullptr};
    StoreEnumData stores{0, nullptr, 1, &location};
    SelectStoreRequest request{};
    request.dwSize = sizeof(request);
    request.parent = hwnd();
    request.dwFlags = kSelectStoreFlags;
    request.pEnumData = &stores;
    TakeStore(::CryptUIDlgSelectStoreW(&request));
}

LRESULT CWizPageInstallCertificateSelectStore::OnWizardNext() {
    UpdateData(true);
    if (storeName.empty()) return -1;
    wizard_.targetStoreName = storeName;
    wizard_.writeToContainer = toContainer;
    return 0;
}

CWizPageInstallCertificateFinish::CWizPageInstallCertificateFinish(
    CWizardInstallPrivateCertificate& wizard)
    : CWizardPageBase(IDD_INSTALL_FINISH, IDS_WIZARD_INSTALL, 0, 0), wizard_(wizard) {
    MakeExterior();
}

BOOL CWizPageInstallCertificateFinish::OnInitDialog() {
    CWizardPageBase::OnInitDialog();
    list_ = ui::ListView(Item(IDC_INSTALL_SUMMARY));
    list_.SetExtendedStyle(LVS_EX_FULLROWSELECT);
    list_.InsertColumn(0, std::wstring(), 0);
    list_.InsertColumn(1, std::wstring(), 0);
    titleFont_ = SetWizardTitleFont(Item(IDC_INSTALL_TITLE));
    return TRUE;
}

void CWizPageInstallCertificateFinish::AddRow(UINT label, const std::wstring& value) {
    const int item = list_.InsertItem(list_.Count(), LoadStringLang(label));
    if (item >= 0 && !value.empty()) list_.SetItemText(item, 1, value);
}

BOOL CWizPageInstallCertificateFinish::OnSetActive() {
    SetWizardButtons(SheetWindow(), PSWIZB_BACK | PSWIZB_FINISH);
    list_.Clear();
    CertificateFields fields;
    if (wizard_.certificate) fields = ReadCertificateFields(wizard_.certificate.get());
    AddRow(IDS_INSTALL_GET_CERTIFICATE);
    if (!wizard_.filePath.empty()) AddRow(IDS_INSTALL_FROM_FILE, wizard_.filePath);
    AddRow(IDS_CERT_NAME, fields.name);
    AddRow(IDS_CERT_SUBJECT, fields.subject);
    AddRow(IDS_CERT_ISSUER, fields.issuer);
    AddRow(IDS_CERT_VALID_FROM, fields.validFrom);
    AddRow(IDS_CERT_VALID_TO, fields.validTo);
    AddRow(IDS_CERT_SERIAL, fields.serial);
    AddRow(IDS_INSTALL_MAKE_LINK);
    if (wizard_.keySpec)
        AddRow(IDS_INSTALL_TO_KEY,
               LoadStringLang(wizard_.keySpec == AT_SIGNATURE ? IDS_INSTALL_SIGNATURE
                                                              : IDS_INSTALL_EXCHANGE));
    if (!wizard_.containerName.empty()) AddRow(IDS_INSTALL_FROM_CONTAINER, wizard_.containerName);
    if (!wizard_.targetStoreName.empty()) {
        AddRow(IDS_INSTALL_CERTIFICATE);
        AddRow(IDS_INSTALL_TO_STORE, wizard_.targetStoreName);
    }
    if (wizard_.writeToContainer) AddRow(IDS_INSTALL_IN_CONTAINER);
    list_.SetColumnWidth(0, LVSCW_AUTOSIZE);
    list_.SetColumnWidth(1, LVSCW_AUTOSIZE);
    return CWizardPageBase::OnSetActive();
}

BOOL CWizPageInstallCertificateFinish::OnWizardFinish() {
    ClientWindowScope owner(hwnd());
    return Link() && AddToStore();
}

bool CWizPageInstallCertificateFinish::Link() {
    const HCRYPTPROV container = wizard_.container.Handle();
    std::vector<BYTE> unique;
    const bool named = ReadSized(ProvParam(container, PP_UNIQUE_CONTAINER), unique);
    const std::wstring name = AnsiText(unique);
    auto fail = [&](UINT message) {
        MessageBoxFormat(message, name, std::wstring(), MB_ICONEXCLAMATION);
        return false;
    };
    if (!named) return fail(IDS_INSTALL_PARAMETERS_ERROR);
    ui::UniqueCryptKey key;
    if (!wizard_.keySpec || !::CryptGetUserKey(container, wizard_.keySpec, key.put()))
        return fail(IDS_INSTALL_NO_KEY_IN_CONTAINER);
    KeyProvRecord record;
    if (!record.Read(container, wizard_.container.Flags(), key.get()))
        return fail(IDS_INSTALL_PARAMETERS_ERROR);
    PCCERT_CONTEXT certificate = wizard_.certificate.get();
    if (!::CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0,
                                             record.Info()))
        return fail(IDS_INSTALL_PROPERTY_ERROR);
    if (wizard_.writeToContainer &&
        !::CryptSetKeyParam(key.get(), KP_CERTIFICATE, certificate->pbCertEncoded, 0))
        return fail(IDS_INSTALL_PROPERTY_ERROR);
    return true;
}

bool CWizPageInstallCertificateFinish::AddToStore() {
    return InstallCertificate(wizard_.targetStore.get(), wizard_.certificate.get());
}

CWizardInstallPrivateCertificate::CWizardInstallPrivateCertificate(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_INSTALL, IDB_WIZARD_WATERMARK),
      file_(*this),
      certificate_(*this),
      container_(*this),
      store_(*this),
      finish_(*this) {
    AddPage(file_);
    AddPage(certificate_);
    AddPage(container_);
    AddPage(store_);
    AddPage(finish_);
}

}  // namespace applet
