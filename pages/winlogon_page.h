// The Winlogon page: per provider the reader Windows logon uses by default, the switch that
// turns the provider's Winlogon support off, and on a domain controller whether the KDC keeps
// the default verification provider. On a domain controller it also hosts the directory
// functions: the controllers' identifiers and the repair of the certificate templates.
#pragma once

#include "applet/page_base.h"
#include "pages/winlogon_settings.h"
#include "wizards/wizard_base.h"

#include <memory>
#include <string>
#include <vector>

namespace applet {

struct ReaderEntry {
    std::wstring displayName;
    // What the default reader value holds: the nickname, then "_" and the connect name when
    // the reader has one.
    std::wstring storedName;
};

struct ReaderListing {
    std::vector<ReaderEntry> readers;  // those whose display name could be read
    // False when a reader's nickname or connect name could not be read: the listing stopped
    // there, and what was found is not enough to tell which reader is the default.
    bool complete = false;
};

// The readers present, through the reader library and the support library. A library that
// can't be loaded gives no readers.
ReaderListing ListReaders();

// The directory functions of a domain controller that the page's controls lead to.
class DomainDirectory {
public:
    virtual ~DomainDirectory() = default;
    // Fills the controller combo and shows the first identifier; false when the directory
    // can't be listed.
    virtual bool ListControllers(HWND page) = 0;
    // Shows the identifier of the controller selected in the combo.
    virtual void ShowIdentifier(HWND page) = 0;
    virtual void ExportIdentifiers(HWND page) = 0;
    virtual bool TemplatesNeedRepair() = 0;
    // True when the templates were repaired.
    virtual bool FixTemplates(HWND page) = 0;
};
std::unique_ptr<DomainDirectory> OpenDomainDirectory();

class CPropPageConfigWLReaders : public CPropPageConfigBase {
public:
    CPropPageConfigWLReaders();

    bool IsPageModified() override;
    int SavePage() override;
    void OnControlChanged() override;

protected:
    void DoDataExchange(ui::DataExchange& dx) override;
    BOOL OnInitDialog() override;
    bool OnCommand(UINT id, UINT code) override;

private:
    void ListProviders();
    // Opens a context on the provider of combo item `item`; the page keeps none when that fails.
    void AcquireProvider(int item);
    std::wstring ProviderName() const;
    void FillReaders();
    void SelectDefaultReader();
    void SetReader(int item);
    void SwitchProvider();

    int providerIndex_ = -1;
    std::unique_ptr<CCryptProvContext> provider_;
    int readerIndex_ = -1, savedReaderIndex_ = -1;
    std::vector<std::wstring> storedReaders_;  // a reader item's data is its position here
    bool useKdc_ = false, savedUseKdc_ = false;
    KdcState kdcState_ = kKdcUnknown;
    bool disableWinlogon_ = false, savedDisableWinlogon_ = false;
    bool mayWrite_ = false;
    bool domainController_ = false;
    std::unique_ptr<DomainDirectory> directory_;
};

}  // namespace applet
