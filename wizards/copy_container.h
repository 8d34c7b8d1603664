// Copies a private key container, both key pairs with their certificates, its parameters and
// its extensions, into a new container of the same or another provider. The keys never leave
// the providers in the clear: the wizard holds them wrapped under a session key, and that key
// only ever lives inside a provider, moved from one context to another by key agreement.
#pragma once

#include "wizards/container_extensions.h"
#include "wizards/select_container.h"

#include <windows.h>
#include <wincrypt.h>

#include <memory>
#include <string>
#include <vector>

namespace applet {

// Memory that held key material is wiped before it goes back to the heap, whichever way it
// goes: cleared, grown, destroyed.
template <class T>
struct WipingAllocator {
    using value_type = T;
    WipingAllocator() = default;
    template <class U>
    WipingAllocator(const WipingAllocator<U>&) {}
    T* allocate(size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* p, size_t count) {
        ::SecureZeroMemory(p, count * sizeof(T));
        std::allocator<T>().deallocate(p, count);
    }
    template <class U>
    bool operator==(const WipingAllocator<U>&) const {
        return true;
    }
    template <class U>
    bool operator!=(const WipingAllocator<U>&) const {
        return false;
    }
};
using KeyBytes = std::vector<BYTE, WipingAllocator<BYTE>>;

// The container's extension records, raw, in the order listed.
using ExtensionRecords = std::vector<std::vector<BYTE>>;

// Moves a copy of `session` (a key of context `from`) into context `to` by an ephemeral key
// agreement between the two contexts. 0 and the new key in `result`, or the error; nothing made
// on the way is left behind.
DWORD TransferSessionKey(HCRYPTKEY session, HCRYPTPROV from, HCRYPTPROV to, HCRYPTKEY& result);

// What the wizard carries from the source page to the destination page.
class CopyState {
public:
    CopyState() = default;
    ~CopyState() { Clear(); }
    CopyState(const CopyState&) = delete;
    CopyState& operator=(const CopyState&) = delete;

    // Empties everything and releases the session key and its context: 0, or the error of the
    // first release that failed.
    DWORD Clear();

    // A context of the source's provider to hold the session key between the pages.
    BOOL AcquireVerification(const std::wstring& provider, DWORD type);
    // Reads the open source container; on failure the state is partly filled (clear it).
    DWORD Read(HCRYPTPROV source);
    // Writes what was read into the new container `destination`. The state stays as it is, so
    // a failed write can be tried again elsewhere.
    DWORD Write(HCRYPTPROV destination) const;

    HCRYPTPROV verification = 0;  // owns `session`
    HCRYPTKEY session = 0;
    KeyBytes hashSet, cipherSet;  // the container's parameters, without their zero
    KeyBytes exchangeBlob, signatureBlob;
    std::vector<BYTE> exchangeCertificate, signatureCertificate;
    ExtensionRecords extensions;
};

}  // namespace applet

namespace Vestra {

// Keeps every record of an enumeration, as it comes. The array starts with room for one and
// doubles; past `limit` records, or without memory, it fails and stops the enumeration.
class CSaveContainerExtensionsEnum : public ATL2::CContainerExtensionEnum {
public:
    static constexpr size_t kLimit = 0x0FFFFFFF;
    explicit CSaveContainerExtensionsEnum(applet::ExtensionRecords* records, size_t limit = kLimit)
        : records_(records), limit_(limit) {}

    bool OnRawRecord(const BYTE* record, DWORD length) override;
    bool Failed() const { return failed_; }

private:
    applet::ExtensionRecords* records_;
    size_t limit_;
    bool failed_ = false;
};

}  // namespace Vestra

namespace applet {

class CWizardCopyContainer;

class CWizPageCopyContainerSelectSrcContainer : public CWizPageSelectContainer {
public:
    explicit CWizPageCopyContainerSelectSrcContainer(CWizardCopyContainer& wizard);

protected:
    LRESULT OnWizardNext() override;

private:
    CWizardCopyContainer& wizard_;
};

class CWizPageCopyContainerSelectDestContainer : public CWizPageSelectContainer {
public:
    explicit CWizPageCopyContainerSelectDestContainer(CWizardCopyContainer& wizard);

protected:
    BOOL OnSetActive() override;
    BOOL OnWizardFinish() override;

private:
    CWizardCopyContainer& wizard_;
};

class CWizardCopyContainer : public CPropertySheetWizardBase {
public:
    explicit CWizardCopyContainer(HWND parent);

    int machineKeySet = 0;  // the source was the computer's
    std::wstring sourceProvider;
    DWORD sourceType = 0;
    CopyState copy;

private:
    CWizPageCopyContainerSelectSrcContainer source_;
    CWizPageCopyContainerSelectDestContainer destination_;
};

}  // namespace applet
