// Shows the certificates a private key container holds next to its keys and installs one into
// the personal store with a link to its key, together with the chain certificates the container
// carries as extensions.
#pragma once

#include "ui/handles.h"
#include "wizards/select_container.h"

#include <windows.h>
#include <wincrypt.h>

#include <string>
#include <vector>

namespace applet {

// The certificates of a container's keys, each with its key link.
struct KeyCertificates {
    ui::UniqueCertStore store;
    ui::UniqueCertContext selected;  // the exchange key's, else the signature key's
    bool both = false;               // both keys gave a certificate
    std::wstring container;          // the name the messages give: the unique one once read
    std::vector<UINT> notices;       // messages for the user, in order, each naming `container`
};
// Reads the certificates of the open container's keys. False when there is nothing to show:
// the last notice says why.
bool ReadKeyCertificates(HCRYPTPROV prov, DWORD acquireFlags, KeyCertificates& result);

// A chain certificate from the container's extensions, with the identifier it came under.
struct ChainCertificate {
    std::string oid;
    std::vector<BYTE> encoded;
};
struct ExtensionCertificates {
    ui::UniqueCertStore store;
    std::vector<ChainCertificate> chain;
};
// False with the last error when the extensions could not be listed or a set did not decode.
bool ReadExtensionCertificates(HCRYPTPROV prov, ExtensionCertificates& result);
// Adds the chain to the "ca" and "root" stores of the user or of the computer; one already
// there is no error. False with the last error.
bool InstallChain(const std::vector<ChainCertificate>& chain, bool machine);

// Following a key link, the system's certificate dialog may leave the container as the
// thread's default provider; for the scope's life kvcrypt.dll, found beside the applet as every
// product library is, is held so that its SetThreadDefaultCryptProv(0) ends that at the close.
class ThreadDefaultProviderScope {
public:
    ThreadDefaultProviderScope();
    ~ThreadDefaultProviderScope();
    ThreadDefaultProviderScope(const ThreadDefaultProviderScope&) = delete;
    ThreadDefaultProviderScope& operator=(const ThreadDefaultProviderScope&) = delete;

private:
    using SetDefaultFn = BOOL(WINAPI*)(HCRYPTPROV);
    ui::UniqueHModule library_;
    SetDefaultFn setDefault_ = nullptr;
};

class CWizardCertificateOnContainer;

class CWizPageCertificateOnContainerSelectContainer : public CWizPageSelectContainer {
public:
    explicit CWizPageCertificateOnContainerSelectContainer(CWizardCertificateOnContainer& wizard);

protected:
    LRESULT OnWizardNext() override;

private:
    CWizardCertificateOnContainer& wizard_;
};

class CWizPageCertificateOnContainerSelectCertificate : public CWizardPageBase {
public:
    explicit CWizPageCertificateOnContainerSelectCertificate(CWizardCertificateOnContainer& wizard);

protected:
    BOOL OnSetActive() override;
    bool OnCommand(UINT id, UINT code) override;

private:
    void ShowSelected();
    void Properties();
    void Install();
    CWizardCertificateOnContainer& wizard_;
};

class CWizardCertificateOnContainer : public CPropertySheetWizardBase {
public:
    explicit CWizardCertificateOnContainer(HWND parent);

    KeyCertificates certificates;
    ExtensionCertificates extensions;
    CCryptProvContext container;

private:
    CWizPageCertificateOnContainerSelectContainer select_;
    CWizPageCertificateOnContainerSelectCertificate certificate_;
};

}  // namespace applet
