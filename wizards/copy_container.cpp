#include "wizards/copy_container.h"

#include "applet/crypt_reads.h"
#include "applet/provider_params.h"
#include "applet/strings.h"
#include "resource.h"
#include "ui/controls.h"
#include "ui/handles.h"

#include <new>

namespace applet {

namespace {

// The provider's own algorithms and flag.
constexpr ALG_ID kSessionAlgorithm = 0x661E;
constexpr ALG_ID kKeyWrapAlgorithm = 0x661F;
constexpr ALG_ID kEphemeralAlgorithm = 0xAA25;
constexpr DWORD kCopyTargetFlag = 0x00040000;

// What kParamAddExtension takes: one extension to add to the container.
struct ExtensionRequest {
    const char* oid;
    DWORD critical;
    DWORD length;
    const BYTE* value;
};

DWORD LastError() {
    const DWORD error = ::GetLastError();
    return error ? error : static_cast<DWORD>(E_FAIL);
}

auto KeyExport(HCRYPTKEY key, HCRYPTKEY wrap, DWORD type) {
    return [=](BYTE* buffer, DWORD* size) {
        return ::CryptExportKey(key, wrap, type, 0, buffer, size) != FALSE;
    };
}

// A container text parameter, less its zero. Most fit the first buffer.
bool ReadTextParam(HCRYPTPROV prov, DWORD param, KeyBytes& value) {
    value.assign(64, 0);
    DWORD size = static_cast<DWORD>(value.size());
    if (!::CryptGetProvParam(prov, param, value.data(), &size, 0)) {
        if (!IsSystemError(::GetLastError(), ERROR_MORE_DATA)) return false;
        value.assign(size, 0);
        if (!::CryptGetProvParam(prov, param, value.data(), &size, 0)) return false;
    }
    value.resize(size);
    if (!value.empty() && value.back() == 0) value.pop_back();
    return true;
}

bool WriteTextParam(HCRYPTPROV prov, DWORD param, const KeyBytes& value) {
    if (value.empty()) return true;
    KeyBytes text = value;
    text.push_back(0);
    return ::CryptSetProvParam(prov, param, text.data(), 0);
}

bool SetAlgorithm(HCRYPTKEY key, ALG_ID algorithm) {
    return ::CryptSetKeyParam(key, KP_ALGID, reinterpret_cast<const BYTE*>(&algorithm), 0);
}

// An ephemeral agreement key of `prov` and its public blob. A pregenerated key takes the
// parameters of the peer's before it is completed.
struct Ephemeral {
    ui::UniqueCryptKey key;
    std::vector<BYTE> hashSet, dhSet, publicBlob;
};

bool MakeEphemeral(HCRYPTPROV prov, const Ephemeral* peer, Ephemeral& own) {
    if (!peer) {
        if (!::CryptGenKey(prov, kEphemeralAlgorithm, CRYPT_EXPORTABLE, own.key.put()) ||
            !ReadSized(KeyParam(own.key.get(), kKeyParamHashSet), own.hashSet) ||
            !ReadSized(KeyParam(own.key.get(), kKeyParamDhSet), own.dhSet))
            return false;
    } else {
        // KP_X completes the key from the provider's own material: there is no data to pass,
        // but advapi32 refuses a null pointer.
        const BYTE none = 0;
        if (!::CryptGenKey(prov, kEphemeralAlgorithm, CRYPT_EXPORTABLE | CRYPT_PREGEN,
                           own.key.put()) ||
            !::CryptSetKeyParam(own.key.get(), kKeyParamHashSet, peer->hashSet.data(), 0) ||
            !::CryptSetKeyParam(own.key.get(), kKeyParamDhSet, peer->dhSet.data(), 0) ||
            !::CryptSetKeyParam(own.key.get(), KP_X, &none, 0))
            return false;
    }
    return ReadSized(KeyExport(own.key.get(), 0, PUBLICKEYBLOB), own.publicBlob);
}

// The key `own` agrees with the peer's public blob, as a key-wrapping key.
bool Agree(HCRYPTPROV prov, const Ephemeral& own, const Ephemeral& peer,
           ui::UniqueCryptKey& agreed) {
    return ::CryptImportKey(prov, peer.publicBlob.data(),
                            static_cast<DWORD>(peer.publicBlob.size()), own.key.get(),
                            CRYPT_EXPORTABLE, agreed.put()) &&
           SetAlgorithm(agreed.get(), kKeyWrapAlgorithm);
}

// Destroys what the caller owns; the first failure's error is kept in `first`.
void Destroy(HCRYPTKEY& key, DWORD& first) {
    if (key && !::CryptDestroyKey(key) && !first) first = LastError();
    key = 0;
}

}  // namespace

DWORD TransferSessionKey(HCRYPTKEY session, HCRYPTPROV from, HCRYPTPROV to, HCRYPTKEY& result) {
    if (!session || !from || !to || result) return static_cast<DWORD>(E_FAIL);
    Ephemeral fromEphemeral, toEphemeral;
    if (!MakeEphemeral(from, nullptr, fromEphemeral) ||
        !MakeEphemeral(to, &fromEphemeral, toEphemeral))
        return LastError();
    ui::UniqueCryptKey fromAgreed, toAgreed;
    if (!Agree(from, fromEphemeral, toEphemeral, fromAgreed) ||
        !Agree(to, toEphemeral, fromEphemeral, toAgreed))
        return LastError();
    fromEphemeral.key.reset();
    toEphemeral.key.reset();
    KeyBytes wrapped;
    if (!ReadSized(KeyExport(session, fromAgreed.get(), SIMPLEBLOB), wrapped) ||
        !SetAlgorithm(session, kKeyWrapAlgorithm) ||
        !::CryptImportKey(to, wrapped.data(), static_cast<DWORD>(wrapped.size()), toAgreed.get(),
                          CRYPT_EXPORTABLE, &result))
        return LastError();
    return 0;
}

DWORD CopyState::Clear() {
    hashSet.clear();
    cipherSet.clear();
    exchangeBlob.clear();
    signatureBlob.clear();
    exchangeCertificate.clear();
    signatureCertificate.clear();
    // Cleared is not enough: the wrapped keys' memory goes back to the heap, wiped on the way.
    hashSet.shrink_to_fit();
    cipherSet.shrink_to_fit();
    exchangeBlob.shrink_to_fit();
    signatureBlob.shrink_to_fit();
    ExtensionRecords().swap(extensions);
    DWORD first = 0;
    Destroy(session, first);
    if (verification && !::CryptReleaseContext(verification, 0) && !first) first = LastError();
    verification = 0;
    return first;
}

BOOL CopyState::AcquireVerification(const std::wstring& provider, DWORD type) {
    if (verification) {
        ui::LastErrorKeeper keep;
        ::CryptReleaseContext(verification, 0);
        verification = 0;
    }
    return ::CryptAcquireContextW(&verification, nullptr, provider.c_str(), type,
                                  CRYPT_VERIFYCONTEXT);
}

DWORD CopyState::Read(HCRYPTPROV source) {
    if (!ReadTextParam(source, kParamHashSet, hashSet) ||
        !ReadTextParam(source, kParamCipherSet, cipherSet))
        return LastError();

    extensions.clear();
    Vestra::CSaveContainerExtensionsEnum saver(&extensions);
    const ExtensionListing listing =
        EnumContainerExtensions(source, saver, ExtensionFetch::kWholeBuffer);
    if (listing.error) return listing.error;
    if (saver.Failed()) return static_cast<DWORD>(E_FAIL);

    ui::UniqueCryptKey sourceSession;
    if (!::CryptGenKey(source, kSessionAlgorithm, CRYPT_EXPORTABLE, sourceSession.put()))
        return LastError();
    if (DWORD error = TransferSessionKey(sourceSession.get(), source, verification, session))
        return error;

    struct Pair {
        DWORD spec;
        KeyBytes& blob;
        std::vector<BYTE>& certificate;
    };
    for (const Pair& pair : {Pair{AT_KEYEXCHANGE, exchangeBlob, exchangeCertificate},
                             Pair{AT_SIGNATURE, signatureBlob, signatureCertificate}}) {
        if (!pair.blob.empty() || !pair.certificate.empty()) return static_cast<DWORD>(E_FAIL);
        ui::UniqueCryptKey key;
        if (!::CryptGetUserKey(source, pair.spec, key.put())) {
            if (::GetLastError() == static_cast<DWORD>(NTE_NO_KEY)) continue;
            return LastError();
        }
        if (!ReadSized(KeyExport(key.get(), sourceSession.get(), PRIVATEKEYBLOB), pair.blob))
            return LastError();
        DWORD size = 0;
        if (::CryptGetKeyParam(key.get(), KP_CERTIFICATE, nullptr, &size, 0)) {
            pair.certificate.resize(size);
            if (!::CryptGetKeyParam(key.get(), KP_CERTIFICATE, pair.certificate.data(), &size, 0))
                return LastError();
            pair.certificate.resize(size);
        }
    }
    return 0;
}

DWORD CopyState::Write(HCRYPTPROV destination) const {
    if (!WriteTextParam(destination, kParamHashSet, hashSet) ||
        !WriteTextParam(destination, kParamCipherSet, cipherSet))
        return LastError();

    // The transfer changes the key it moves; the state's own stays as it was for another try.
    ui::UniqueCryptKey duplicate, moved;
    if (!::CryptDuplicateKey(session, nullptr, 0, duplicate.put())) return LastError();
    if (DWORD error = TransferSessionKey(duplicate.get(), verification, destination, *moved.put()))
        return error;

    struct Pair {
        const KeyBytes& blob;
        const std::vector<BYTE>& certificate;
    };
    for (const Pair& pair :
         {Pair{exchangeBlob, exchangeCertificate}, Pair{signatureBlob, signatureCertificate}}) {
        if (pair.blob.empty()) continue;
        ui::UniqueCryptKey key;
        if (!::CryptImportKey(destination, pair.blob.data(), static_cast<DWORD>(pair.blob.size()),
                              moved.get(), CRYPT_EXPORTABLE, key.put()))
            return LastError();
        if (!pair.certificate.empty() &&
            !::CryptSetKeyParam(key.get(), KP_CERTIFICATE, pair.certificate.data(), 0))
            return LastError();
    }

    for (const std::vector<BYTE>& record : extensions) {
        // A record that does not read would be missing from the copy: the write fails.
        std::optional<ExtensionItem> item = ParseExtensionRecord(record.data(), record.size());
        if (!item) return static_cast<DWORD>(NTE_BAD_DATA);
        const ExtensionRequest request{item->oid.c_str(), static_cast<DWORD>(item->critical),
                                       item->length, item->value};
        if (!::CryptSetProvParam(destination, kParamAddExtension,
                                 reinterpret_cast<const BYTE*>(&request), 0))
            return LastError();
    }
    return 0;
}

}  // namespace applet

namespace Vestra {

bool CSaveContainerExtensionsEnum::OnRawRecord(const BYTE* record, DWORD length) {
    applet::ExtensionRecords& records = *records_;
    if (records.size() == records.capacity()) {
        const size_t capacity = records.capacity() ? records.capacity() * 2 : 1;
        if (capacity > limit_) {
            failed_ = true;
            return false;
        }
        try {
            records.reserve(capacity);
        } catch (const std::bad_alloc&) {
            failed_ = true;
            return false;
        }
    }
    try {
        records.emplace_back(record, record + length);
    } catch (const std::bad_alloc&) {
        failed_ = true;
        return false;
    }
    return true;
}

}  // namespace Vestra

namespace applet {

CWizPageCopyContainerSelectSrcContainer::CWizPageCopyContainerSelectSrcContainer(
    CWizardCopyContainer& wizard)
    : CWizPageSelectContainer(IDS_WIZARD_COPY, IDS_WIZARD_COPY_SUBTITLE, true, true, true),
      wizard_(wizard) {}

LRESULT CWizPageCopyContainerSelectSrcContainer::OnWizardNext() {
    if (CWizPageSelectContainer::OnWizardNext() != 0) return -1;
    CopyState& copy = wizard_.copy;
    copy.Clear();
    ClientWindowScope owner(hwnd());
    CCryptProvContext source;
    if (!AcquireSelectedContainer(source, 0)) return -1;
    const std::wstring provider = ProviderName();
    const DWORD type = ProviderType();
    if (!copy.AcquireVerification(provider, type)) {
        const DWORD error = ::GetLastError();
        MessageBoxFormat(IDS_CONTAINER_ACCESS_ERROR, containerName, ErrorMessageText(error),
                         MB_ICONERROR);
        return -1;
    }
    const DWORD error = copy.Read(source.Handle());
    // The source is open no longer than it takes to read it.
    source.Release();
    if (error) {
        copy.Clear();
        MessageBoxFormat(error == static_cast<DWORD>(NTE_BAD_KEY_STATE) ? IDS_COPY_NOT_EXPORTABLE
                                                                        : IDS_COPY_ERROR,
                         containerName, ErrorMessageText(error), MB_ICONEXCLAMATION);
        return -1;
    }
    wizard_.sourceProvider = provider;
    wizard_.sourceType = type;
    wizard_.machineKeySet = keySet;
    return 0;
}

CWizPageCopyContainerSelectDestContainer::CWizPageCopyContainerSelectDestContainer(
    CWizardCopyContainer& wizard)
    : CWizPageSelectContainer(IDS_WIZARD_COPY, IDS_WIZARD_COPY_DEST_SUBTITLE, false, false, false),
      wizard_(wizard) {}

BOOL CWizPageCopyContainerSelectDestContainer::OnSetActive() {
    ui::ComboBox combo(Item(IDC_SELECT_PROVIDER));
    providerIndex = 0;
    for (int i = 0, count = combo.Count(); i < count; ++i) {
        if (combo.ItemText(i) == wizard_.sourceProvider) {
            providerIndex = i;
            break;
        }
    }
    return CWizPageSelectContainer::OnSetActive();
}

BOOL CWizPageCopyContainerSelectDestContainer::OnWizardFinish() {
    if (!CWizPageSelectContainer::OnWizardFinish()) return FALSE;
    ClientWindowScope owner(hwnd());
    CCryptProvContext destination;
    // A container of that name that exists already fails here.
    if (!AcquireSelectedContainer(destination, CRYPT_NEWKEYSET | kCopyTargetFlag)) return FALSE;
    if (const DWORD error = wizard_.copy.Write(destination.Handle())) {
        // What was written stays: the user may finish again under another name.
        MessageBoxFormat(IDS_COPY_ERROR, containerName, ErrorMessageText(error),
                         MB_ICONEXCLAMATION);
        return FALSE;
    }
    wizard_.copy.Clear();
    return TRUE;
}

CWizardCopyContainer::CWizardCopyContainer(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_COPY, 0), source_(*this), destination_(*this) {
    AddPage(source_);
    AddPage(destination_);
}

}  // namespace applet
