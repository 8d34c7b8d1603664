#include "pages/winlogon_page.h"

#include "applet/provider_params.h"
#include "applet/strings.h"
#include "applet/support.h"
#include "pages/hardware_page.h"
#include "resource.h"
#include "ui/controls.h"
#include "ui/data_exchange.h"
#include "ui/handles.h"
#include "wizards/select_container.h"

namespace applet {

namespace {

using TextFn = DWORD (*)(support::Context, DWORD*, wchar_t*);

// A reader's text, its length asked first.
bool ReaderText(TextFn read, support::Context reader, std::wstring& text) {
    DWORD length = 0;
    if (read(reader, &length, nullptr) != 0) return false;
    text.assign(length + 1, L'\0');
    if (read(reader, &length, text.data()) != 0) return false;
    text.resize(length);
    return true;
}

}  // namespace

ReaderListing ListReaders() {
    ReaderListing listing;
    if (LoadSupportLibrary() != 0) return listing;
    if (ReaderLibrary().AddRef() != 0) {
        ReleaseSupportLibrary();
        return listing;
    }
    support::Context registration = nullptr;
    if (rdr_register_start(&registration) == 0) {
        support::supsys_register_all(registration);
        support::Find find = nullptr;
        if (support::supsys_find_open(registration, &find) == 0) {
            listing.complete = true;
            support::Context reader = nullptr;
            while (listing.complete && support::supsys_find_next(find, &reader) == 0) {
                wchar_t nickname[kMaxReaderName + 1] = {};
                DWORD length = kMaxReaderName;
                std::wstring connect, display;
                listing.complete = support::supsys_nickname(reader, &length, nickname) == 0 &&
                                   ReaderText(support::supsys_connect_current, reader, connect);
                if (listing.complete && ReaderText(support::supsys_register_name, reader, display))
                    listing.readers.push_back(ReaderEntry{
                        display, connect.empty() ? nickname : nickname + (L"_" + connect)});
                support::supsys_context_free(reader);
            }
            support::supsys_find_close(find);
        }
        support::supsys_unregister_all(registration, TRUE);
    }
    ReaderLibrary().Release();
    ReleaseSupportLibrary();
    return listing;
}

CPropPageConfigWLReaders::CPropPageConfigWLReaders() : CPropPageConfigBase(IDD_PAGE_WINLOGON) {}

void CPropPageConfigWLReaders::DoDataExchange(ui::DataExchange& dx) {
    dx.Check(IDC_WINLOGON_KDC, useKdc_);
    dx.Check(IDC_WINLOGON_DISABLE, disableWinlogon_);
    dx.ComboIndex(IDC_WINLOGON_PROVIDER, providerIndex_);
    dx.ComboIndex(IDC_WINLOGON_READER, readerIndex_);
}

BOOL CPropPageConfigWLReaders::OnInitDialog() {
    CPropPageConfigBase::OnInitDialog();
    domainController_ = IsDomainController();

    mayWrite_ = support::MayWrite(store::kParameters);
    if (!mayWrite_ || !DefaultReadersEnabled()) {
        ui::Control(Item(IDC_WINLOGON_PROVIDER)).Enable(false);
        ui::Control(Item(IDC_WINLOGON_READER)).Enable(false);
    }

    ListProviders();
    // Every offered provider is opened once before the first one is chosen; only the chosen
    // one's context is kept.
    for (int item = 0, count = ui::ComboBox(Item(IDC_WINLOGON_PROVIDER)).Count(); item < count;
         ++item)
        AcquireProvider(item);
    providerIndex_ = 0;
    ui::ComboBox(Item(IDC_WINLOGON_PROVIDER)).Select(0);
    AcquireProvider(0);

    kdcState_ = ReadKdcState(domainController_);
    savedUseKdc_ = useKdc_ = KdcUsesProduct(kdcState_);
    ReadWinlogonDisabled(disableWinlogon_);
    savedDisableWinlogon_ = disableWinlogon_;

    FillReaders();
    UpdateData(false);

    if (domainController_) directory_ = OpenDomainDirectory();
    if (!directory_ || !directory_->ListControllers(hwnd())) {
        kdcState_ = kKdcUnknown;
        for (int id : {IDC_WINLOGON_DC, IDC_WINLOGON_DC_ID, IDC_WINLOGON_EXPORT,
                       IDC_WINLOGON_DC_LABEL, IDC_WINLOGON_DC_ID_LABEL})
            ui::Control(Item(id)).Enable(false);
    }
    OnControlChanged();
    return TRUE;
}

void CPropPageConfigWLReaders::ListProviders() {
    ui::ComboBox combo(Item(IDC_WINLOGON_PROVIDER));
    ProductProviderEnum state{0, true};
    std::wstring name;
    DWORD type = 0;
    // The type goes to the item at the position the provider had among all product providers,
    // so once one is left out, the later items don't get theirs.
    for (int enumerated = 0; EnumProductProviders(state, name, type); ++enumerated) {
        if (!OffersDefaultReader(name, domainController_)) continue;
        combo.Add(name);
        combo.SetItemData(enumerated, type);
    }
}

void CPropPageConfigWLReaders::AcquireProvider(int item) {
    ui::ComboBox combo(Item(IDC_WINLOGON_PROVIDER));
    if (item < 0 || item >= combo.Count()) {
        provider_.reset();
        return;
    }
    if (!provider_) provider_ = std::make_unique<CCryptProvContext>();
    const std::wstring name = combo.ItemText(item);
    const DWORD type = static_cast<DWORD>(combo.ItemData(item));
    if (!provider_->Acquire(kQueryContextFlags, nullptr, name.c_str(), type)) provider_.reset();
}

std::wstring CPropPageConfigWLReaders::ProviderName() const {
    ui::ComboBox combo(Item(IDC_WINLOGON_PROVIDER));
    return providerIndex_ >= 0 && providerIndex_ < combo.Count() ? combo.ItemText(providerIndex_)
                                                                 : std::wstring();
}

void CPropPageConfigWLReaders::FillReaders() {
    ui::ComboBox combo(Item(IDC_WINLOGON_READER));
    combo.Add(LoadText(IDS_READER_NOT_SET));
    ReaderListing listing = ListReaders();
    for (ReaderEntry& reader : listing.readers) {
        const int item = combo.Add(reader.displayName);
        combo.SetItemData(item, static_cast<LPARAM>(storedReaders_.size()));
        storedReaders_.push_back(std::move(reader.storedName));
    }
    if (listing.complete) SelectDefaultReader();
}

void CPropPageConfigWLReaders::SetReader(int item) {
    readerIndex_ = savedReaderIndex_ = item;
    ui::ComboBox(Item(IDC_WINLOGON_READER)).Select(item);
}

void CPropPageConfigWLReaders::SelectDefaultReader() {
    const std::wstring provider = ProviderName();
    if (provider.empty()) {
        ui::Control(Item(IDC_WINLOGON_PROVIDER)).Enable(false);
        ui::Control(Item(IDC_WINLOGON_READER)).Enable(false);
        SetReader(0);
        return;
    }
    std::wstring stored;
    if (ReadDefaultReader(provider, stored) != 0) {
        SetReader(0);
        return;
    }
    ui::ComboBox combo(Item(IDC_WINLOGON_READER));
    for (int item = 1, count = combo.Count(); item < count; ++item) {
        const size_t position = static_cast<size_t>(combo.ItemData(item));
        if (position < storedReaders_.size() && storedReaders_[position] == stored) {
            SetReader(item);
            return;
        }
    }
    SetReader(-1);
    MessageBoxFormat(IDS_DEFAULT_READER_NOT_FOUND, stored, std::wstring(), MB_ICONEXCLAMATION);
}

void CPropPageConfigWLReaders::SwitchProvider() {
    UpdateData(true);
    AcquireProvider(providerIndex_);
    UpdateData(false);
    SelectDefaultReader();
    OnControlChanged();
}

void CPropPageConfigWLReaders::OnControlChanged() {
    if (!UpdateData(true)) UpdateData(false);
    if (disableWinlogon_) useKdc_ = false;
    ui::Control(Item(IDC_WINLOGON_KDC))
        .Enable(kdcState_ != kKdcUnknown && mayWrite_ && !disableWinlogon_);
    ui::Control(Item(IDC_WINLOGON_DISABLE)).Enable(mayWrite_);
    ui::Control(Item(IDC_WINLOGON_FIX_TEMPLATES))
        .Enable(domainController_ && directory_ && directory_->TemplatesNeedRepair());
    UpdateData(false);
    CPropPageConfigBase::OnControlChanged();
}

bool CPropPageConfigWLReaders::IsPageModified() {
    return Initialised() && (useKdc_ != savedUseKdc_ || readerIndex_ != savedReaderIndex_ ||
                             disableWinlogon_ != savedDisableWinlogon_);
}

int CPropPageConfigWLReaders::SavePage() {
    if (!IsPageModified()) return kSaved;
    int result = kSaved;
    if (useKdc_ != savedUseKdc_) {
        if (WriteKdcUsesProduct(useKdc_) == 0)
            savedUseKdc_ = useKdc_;
        else
            result = kSaveFailed;
    }
    if (disableWinlogon_ != savedDisableWinlogon_) {
        if (WriteWinlogonDisabled(disableWinlogon_) == 0)
            savedDisableWinlogon_ = disableWinlogon_;
        else
            result = kSaveFailed;
    }
    if (readerIndex_ != savedReaderIndex_) {
        if (readerIndex_ == 0) {
            WriteDefaultReader(ProviderName(), std::wstring());
        } else {
            ui::ComboBox combo(Item(IDC_WINLOGON_READER));
            const size_t position = static_cast<size_t>(combo.ItemData(readerIndex_));
            if (position >= storedReaders_.size() ||
                WriteDefaultReader(ProviderName(), storedReaders_[position]) != 0)
                return kSaveFailed;
        }
        savedReaderIndex_ = readerIndex_;
    }
    return result;
}

bool CPropPageConfigWLReaders::OnCommand(UINT id, UINT code) {
    switch (id) {
        case IDC_WINLOGON_KDC:
        case IDC_WINLOGON_DISABLE:
            if (code != BN_CLICKED) return false;
            OnControlChanged();
            return true;
        case IDC_WINLOGON_PROVIDER:
            if (code != CBN_SELCHANGE) return false;
            SwitchProvider();
            return true;
        case IDC_WINLOGON_READER:
            if (code != CBN_SELCHANGE) return false;
            UpdateData(true);
            if (readerIndex_ != CB_ERR) OnControlChanged();
            return true;
        case IDC_WINLOGON_DC:
            if (code != CBN_SELCHANGE || !directory_) return false;
            directory_->ShowIdentifier(hwnd());
            return true;
        case IDC_WINLOGON_EXPORT:
            if (code != BN_CLICKED || !directory_) return false;
            directory_->ExportIdentifiers(hwnd());
            return true;
        case IDC_WINLOGON_FIX_TEMPLATES:
            if (code != BN_CLICKED || !directory_) return false;
            if (directory_->FixTemplates(hwnd())) OnControlChanged();
            return true;
        default:
            return false;
    }
}

}  // namespace applet
