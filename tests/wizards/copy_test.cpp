// Copying containers: what the copy writes into a new container, compared with the source key
// by key, certificate by certificate, record by record; and the wizard as a person runs it.
#include "driver/driver.h"
#include "fixtures.h"
#include "kvcsp.h"
#include "resource.h"
#include "ui/handles.h"
#include "wizard_fixture.h"
#include "wizards/copy_container.h"
#include "applet/crypt_reads.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Bytes = std::vector<BYTE>;

struct Place {
    std::wstring provider = kvcsp::kProviderMain;
    bool machine = false;
    std::wstring name;
    DWORD type = kvcsp::kType2001;
};

ui::UniqueCryptProv Open(const Place& place, DWORD flags = 0) {
    ui::UniqueCryptProv prov;
    if (!::CryptAcquireContextW(prov.put(), place.name.c_str(), place.provider.c_str(), place.type,
                                flags | (place.machine ? CRYPT_MACHINE_KEYSET : 0)))
        prov.release();
    return prov;
}

void Remove(const Place& place) {
    fixtures::DeleteContainer(place.provider, place.type, place.machine, place.name);
}

// Reads `from` and writes a new container `to`, as the wizard's two pages do.
DWORD Copy(const Place& from, const Place& to) {
    applet::CopyState state;
    ui::UniqueCryptProv source = Open(from);
    if (!source || !state.AcquireVerification(from.provider, from.type)) return ::GetLastError();
    if (DWORD error = state.Read(source.get())) return error;
    source.reset();
    ui::UniqueCryptProv destination = Open(to, CRYPT_NEWKEYSET | kvcsp::kAcquireCopyTarget);
    if (!destination) return ::GetLastError();
    return state.Write(destination.get());
}

// The public key blob (`what` PUBLICKEYBLOB) or a key parameter of the key `spec`; empty when
// the container has no such key.
Bytes KeyBytes(HCRYPTPROV prov, DWORD spec, DWORD what) {
    ui::UniqueCryptKey key;
    Bytes bytes;
    if (!::CryptGetUserKey(prov, spec, key.put())) return bytes;
    if (what != PUBLICKEYBLOB)
        applet::ReadSized(applet::KeyParam(key.get(), what), bytes);
    else
        applet::ReadSized(
            [&](BYTE* data, DWORD* size) {
                return ::CryptExportKey(key.get(), 0, PUBLICKEYBLOB, 0, data, size) != FALSE;
            },
            bytes);
    return bytes;
}

std::vector<Bytes> ExtensionRecords(HCRYPTPROV prov) {
    std::vector<Bytes> records;
    Bytes record(4096);
    for (DWORD flags = CRYPT_FIRST;; flags = 0) {
        DWORD size = static_cast<DWORD>(record.size());
        if (!::CryptGetProvParam(prov, kvcsp::kParamExtensions, record.data(), &size, flags)) break;
        records.emplace_back(record.begin(), record.begin() + size);
    }
    return records;
}

// A signature the copy makes verifies under the source's public key.
bool SignedByCopyVerifies(HCRYPTPROV copy, HCRYPTPROV source, DWORD spec) {
    const BYTE data[] = "copied";
    ui::UniqueCryptHash signing, verifying;
    Bytes signature(64);
    DWORD size = static_cast<DWORD>(signature.size());
    if (!::CryptCreateHash(copy, kvcsp::kAlgHash, 0, 0, signing.put()) ||
        !::CryptHashData(signing.get(), data, sizeof(data), 0) ||
        !::CryptSignHashW(signing.get(), spec, nullptr, 0, signature.data(), &size))
        return false;
    const Bytes blob = KeyBytes(source, spec, PUBLICKEYBLOB);
    ui::UniqueCryptKey sourceKey;
    return ::CryptImportKey(source, blob.data(), static_cast<DWORD>(blob.size()), 0, 0,
                            sourceKey.put()) &&
           ::CryptCreateHash(source, kvcsp::kAlgHash, 0, 0, verifying.put()) &&
           ::CryptHashData(verifying.get(), data, sizeof(data), 0) &&
           ::CryptVerifySignatureW(verifying.get(), signature.data(), size, sourceKey.get(),
                                   nullptr, 0);
}

// Everything a copy promises, source against copy.
void ExpectCopied(const Place& from, const Place& to) {
    SCOPED_TRACE(driver::Narrow(from.name + L" -> " + to.name));
    ui::UniqueCryptProv source = Open(from), copy = Open(to);
    ASSERT_TRUE(source && copy);
    for (DWORD param : {kvcsp::kParamHashSet, kvcsp::kParamCipherSet}) {
        Bytes sourceText, copyText;
        applet::ReadSized(applet::ProvParam(source.get(), param), sourceText);
        applet::ReadSized(applet::ProvParam(copy.get(), param), copyText);
        EXPECT_EQ(sourceText, copyText) << param;
    }
    for (DWORD spec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
        const Bytes publicKey = KeyBytes(source.get(), spec, PUBLICKEYBLOB);
        EXPECT_EQ(publicKey, KeyBytes(copy.get(), spec, PUBLICKEYBLOB)) << "key " << spec;
        EXPECT_EQ(KeyBytes(source.get(), spec, KP_CERTIFICATE),
                  KeyBytes(copy.get(), spec, KP_CERTIFICATE))
            << "certificate of key " << spec;
        if (!publicKey.empty()) {
            EXPECT_TRUE(SignedByCopyVerifies(copy.get(), source.get(), spec)) << "key " << spec;
        }
    }
    EXPECT_EQ(ExtensionRecords(source.get()), ExtensionRecords(copy.get()));
}

TEST(ContainerCopy, AOneKeyContainerToTheComputerAndToAnotherProvider) {
    // Without a signature key nor certificates; without an exchange key.
    fixtures::ContainerSpec exchange, signature;
    exchange.name = L"kv-copy-exchange";
    exchange.signature = false;
    exchange.certificate = fixtures::Certificate::kNone;
    exchange.usagePeriod = fixtures::Period::kNone;
    signature.name = L"kv-copy-signature";
    signature.exchange = false;
    signature.chain = true;
    const std::pair<fixtures::ContainerSpec, Place> cases[] = {
        {signature, {kvcsp::kProviderMain, true, L"kv-copy-signature to"}},
        {exchange, {kvcsp::kProviderExtra, false, L"kv-copy-exchange to"}},
    };
    for (const auto& [source, to] : cases) {
        ASSERT_EQ(0u, fixtures::MakeContainer(source));
        const Place from{source.provider, false, source.name};
        {
            // Longer than the first buffer the copy offers.
            ui::UniqueCryptProv prov = Open(from);
            ASSERT_TRUE(::CryptSetProvParam(prov.get(), kvcsp::kParamCipherSet,
                                            reinterpret_cast<const BYTE*>(kvcsp::kLongCipherSet),
                                            0));
        }
        Remove(to);
        EXPECT_EQ(0u, Copy(from, to)) << driver::Narrow(to.name);
        ExpectCopied(from, to);
        Remove(to);
        Remove(from);
    }
}

using namespace driver;

const std::wstring kTitle = L"Copy private key container";

void Choose(HWND page, const std::wstring& provider) {
    const std::vector<std::wstring> items = ComboItems(Item(page, IDC_SELECT_PROVIDER));
    SelectCombo(Item(page, IDC_SELECT_PROVIDER),
                static_cast<int>(std::find(items.begin(), items.end(), provider) - items.begin()));
}

void Name(HWND wizard, const std::wstring& name, int button) {
    SetText(Item(ActivePage(wizard), IDC_SELECT_NAME), name);
    wiztest::Press(wizard, button);
}

TEST(CopyWizard, FromTheServicePageIntoANewContainerOfAnotherProvider) {
    fixtures::ContainerSpec source;
    source.name = L"kv-copy-wizard";
    source.provider = kvcsp::kProviderCloud;
    source.chain = true;
    ASSERT_EQ(0u, fixtures::MakeContainer(source));
    const Place from{source.provider, false, source.name};
    const Place to{kvcsp::kProviderExtra, false, L"kv-copy-wizard to"};
    Remove(to);

    wiztest::RunServicePage([&](HWND sheet) {
        Click(Item(ActivePage(sheet), IDC_SERVICE_COPY));
        HWND wizard = WaitForWindow({L"#32770", kTitle, sheet, true});
        Choose(ActivePage(wizard), source.provider);
        Name(wizard, source.name, kNext);
        WaitUntil([&] { return ActivePageIndex(wizard) == 1; }, "the destination page");
        Name(wizard, source.name, kFinish);
        const MessageBoxInfo box = AnswerMessageBox(IDOK);
        EXPECT_EQ(0u, box.text.find(L"Access private key container '" + source.name +
                                    L"' error:\nError 0x8009000F "));
        Flush();
        EXPECT_EQ(1, ActivePageIndex(wizard)) << "an existing container is not written";
        Choose(ActivePage(wizard), kvcsp::kProviderExtra);
        Name(wizard, to.name, kFinish);
        WaitUntilGone(wizard);
    });
    // Counted before the copy is compared: importing a public key into another provider's
    // module leaves its keys to Wine, which never destroys them.
    const wiztest::LiveHandles live = wiztest::Live();
    EXPECT_EQ(0, live.contexts + live.keys + live.hashes);
    ExpectCopied(from, to);
    Remove(to);
    Remove(from);
}

}  // namespace
