// Links a certificate held in a file with the private key container that holds its key: the
// certificate goes into a certificate store with a link to the container and, on request, into
// the container too.
#pragma once

#include "ui/controls.h"
#include "ui/handles.h"
#include "wizards/certificate_info.h"
#include "wizards/container_search.h"
#include "wizards/select_container.h"

#include <string>
#include <vector>

namespace applet {

class CWizardInstallPrivateCertificate;

// The system's open-file dialog over certificate files.
class COpenCertFileDialog {
public:
    explicit COpenCertFileDialog(HWND parent) : parent_(parent) {}
    // IDOK with the chosen file in `path`, or IDCANCEL.
    INT_PTR DoModal();
    std::wstring path;

private:
    HWND parent_;
};

// What the certificate pages of the certificate wizards share (the same control ids).
// Shows the certificate's fields on `page`, or empty fields without one.
void ShowCertificateFields(HWND page, PCCERT_CONTEXT certificate);
// The system's certificate dialog over `certificate`; `extra`, when given, is searched for its
// chain.
void ViewCertificate(PCCERT_CONTEXT certificate, HWND parent, HCERTSTORE extra = nullptr);
// The system's selection dialog over the certificates of `store`; none when nothing is picked.
ui::UniqueCertContext ChooseCertificate(HWND parent, HCERTSTORE store);
// Adds the certificate, with the link it carries, to `store` as new; one already there is
// replaced when the user agrees. Every failure is told; false with the last error
// (ERROR_CANCELLED when the user declined).
bool InstallCertificate(HCERTSTORE store, PCCERT_CONTEXT certificate);
// Tells a failed store add, unless the user declined (ERROR_CANCELLED: the system's own prompt,
// as adding to a root store asks, has answered him already). Keeps `error` as the last error.
void ReportStoreFailure(DWORD error);

// Kept for completeness: the wizard opens on the file page.
class CWizPageInstallCertificateWelcome : public CWizardPageBase {
public:
    CWizPageInstallCertificateWelcome();

protected:
    BOOL OnInitDialog() override;
    BOOL OnSetActive() override;

private:
    ui::UniqueHFont titleFont_;
};

class CWizPageInstallCertificateSelectFile : public CWizardPageBase {
public:
    explicit CWizPageInstallCertificateSelectFile(CWizardInstallPrivateCertificate& wizard);
    std::wstring fileName;

protected:
    BOOL OnSetActive() override;
    void DoDataExchange(ui::DataExchange& dx) override;
    bool OnCommand(UINT id, UINT code) override;
    LRESULT OnWizardNext() override;

private:
    void UpdateButtons();
    CWizardInstallPrivateCertificate& wizard_;
};

class CWizPageInstallCertificateSelectCertificate : public CWizardPageBase {
public:
    explicit CWizPageInstallCertificateSelectCertificate(CWizardInstallPrivateCertificate& wizard);

protected:
    BOOL OnSetActive() override;
    bool OnCommand(UINT id, UINT code) override;

private:
    void UpdateButtons();
    CWizardInstallPrivateCertificate& wizard_;
};

// A window over the sheet while a search runs longer than kOpenAfterMs: what has been searched so
// far and the search's own Cancel; the name of the container being reached goes into
// `nameField`. Every kRefreshMs at most, between two containers, the search shows where it is,
// lets windows paint and this window take its input; the sheet is disabled meanwhile, so
// nothing else is acted on.
class SearchWindow : public SearchProgress {
public:
    SearchWindow(HWND sheet, HWND nameField);
    ~SearchWindow() override;
    SearchWindow(const SearchWindow&) = delete;
    SearchWindow& operator=(const SearchWindow&) = delete;

    bool Step(int provider, int providers, int containers, const std::wstring& name) override;
    bool Cancelled() const { return cancelled_; }

private:
    void Open();
    void Pump();
    static INT_PTR CALLBACK Proc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp);

    static constexpr DWORD kOpenAfterMs = 250;
    static constexpr DWORD kRefreshMs = 50;

    HWND sheet_, nameField_;
    HWND window_ = nullptr;
    bool cancelled_ = false;
    bool opened_ = false;
    DWORD lastRefresh_;
    std::wstring progressFormat_;
};

class CWizPageInstallCertificateSelectContainer : public CWizPageSelectContainer {
public:
    explicit CWizPageInstallCertificateSelectContainer(CWizardInstallPrivateCertificate& wizard);

protected:
    BOOL OnInitDialog() override;
    bool OnCommand(UINT id, UINT code) override;
    LRESULT OnWizardNext() override;
    LRESULT OnWizardBack() override;

private:
    void EnableManualEntry(bool enable);
    void FindAutomatically();
    CWizardInstallPrivateCertificate& wizard_;
};

class CWizPageInstallCertificateSelectStore : public CWizardPageBase {
public:
    explicit CWizPageInstallCertificateSelectStore(CWizardInstallPrivateCertificate& wizard);
    std::wstring storeName;
    int keySet = 0;
    bool toContainer = false;

protected:
    BOOL OnSetActive() override;
    void DoDataExchange(ui::DataExchange& dx) override;
    bool OnCommand(UINT id, UINT code) override;
    LRESULT OnWizardNext() override;

private:
    // Takes `store` as the target and shows its name; without a store, or without a name,
    // there is no target. `systemName`: the name it was opened by, if any.
    void TakeStore(HCERTSTORE store, const wchar_t* systemName = nullptr);
    void Browse();
    void UpdateButtons();
    CWizardInstallPrivateCertificate& wizard_;
};

class CWizPageInstallCertificateFinish : public CWizardPageBase {
public:
    explicit CWizPageInstallCertificateFinish(CWizardInstallPrivateCertificate& wizard);

protected:
    BOOL OnInitDialog() override;
    BOOL OnSetActive() override;
    BOOL OnWizardFinish() override;

private:
    bool Link();
    bool AddToStore();
    void AddRow(UINT label, const std::wstring& value = {});
    CWizardInstallPrivateCertificate& wizard_;
    ui::UniqueHFont titleFont_;
    ui::ListView list_;
};

class CWizardInstallPrivateCertificate : public CPropertySheetWizardBase {
public:
    explicit CWizardInstallPrivateCertificate(HWND parent);

    // The installation's state, filled page by page.
    bool severalCertificates = false;
    ui::UniqueCertStore targetStore;
    std::wstring targetStoreName;
    ui::UniqueCertStore fileStore;
    std::wstring filePath;
    DWORD keySpec = 0;
    CCryptProvContext container;
    std::wstring containerName;
    ui::UniqueCertContext certificate;
    bool writeToContainer = false;

private:
    CWizPageInstallCertificateWelcome welcome_;
    CWizPageInstallCertificateSelectFile file_;
    CWizPageInstallCertificateSelectCertificate certificate_;
    CWizPageInstallCertificateSelectContainer container_;
    CWizPageInstallCertificateSelectStore store_;
    CWizPageInstallCertificateFinish finish_;
};

}  // namespace applet
