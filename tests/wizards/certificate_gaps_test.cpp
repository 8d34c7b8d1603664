// The certificate wizards past a gap: one key whose link cannot be made, and a store add that the
// user declined at the system's own prompt (as adding to a root store asks).
#include "driver/driver.h"
#include "link_check.h"
#include "resource.h"
#include "wizard_fixture.h"
#include "wizards/certificate_on_container.h"
#include "wizards/install_certificate.h"

#include <gtest/gtest.h>

namespace {

BOOL WINAPI DeclineWrite(HCERTSTOREPROV, PCCERT_CONTEXT, DWORD) {
    ::SetLastError(ERROR_CANCELLED);
    return FALSE;
}

BOOL WINAPI OpenDecliningStore(LPCSTR, DWORD, HCRYPTPROV_LEGACY, DWORD, const void*, HCERTSTORE,
                               PCERT_STORE_PROV_INFO info) {
    static void* functions[CERT_STORE_PROV_WRITE_CERT_FUNC + 1] = {};
    functions[CERT_STORE_PROV_WRITE_CERT_FUNC] = reinterpret_cast<void*>(&DeclineWrite);
    info->cStoreProvFunc = CERT_STORE_PROV_WRITE_CERT_FUNC + 1;
    info->rgpvStoreProvFunc = functions;
    return TRUE;
}

TEST(CertificateGaps, OneKeysLinkFailingAndADeclinedAdd) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-gaps";
    const fixtures::Made made = wiztest::Make(spec);
    {
        ui::UniqueCryptProv prov;
        ASSERT_TRUE(::CryptAcquireContextW(prov.put(), spec.name.c_str(), spec.provider.c_str(),
                                           spec.type, 0));
        // The exchange key's link reads the provider's name first.
        wiztest::InjectedFailure failure(std::string("CPGetProvParam.4"), 1, NTE_FAIL);
        applet::KeyCertificates result;
        EXPECT_TRUE(applet::ReadKeyCertificates(prov.get(), 0, result));
        EXPECT_EQ(std::vector<UINT>{IDS_INSTALL_PARAMETERS_ERROR}, result.notices);
        EXPECT_EQ(made.certificates[1], wiztest::Encoded(result.selected.get()));
    }
    CRYPT_OID_FUNC_ENTRY entry{"kv-declining", reinterpret_cast<void*>(&OpenDecliningStore)};
    ASSERT_TRUE(
        ::CryptInstallOIDFunctionAddress(nullptr, 0, CRYPT_OID_OPEN_STORE_PROV_FUNC, 1, &entry, 0));
    ui::UniqueCertStore store(::CertOpenStore("kv-declining", 0, 0, 0, nullptr));
    ui::UniqueCertContext certificate = wiztest::Certificate(made.certificates[0]);
    DWORD error = 0;
    // A box would keep the call from returning: the driver then reports it still open.
    driver::RunModal(
        [&] {
            const bool installed = applet::InstallCertificate(store.get(), certificate.get());
            error = ::GetLastError();
            return INT_PTR{installed};
        },
        [] {});
    EXPECT_EQ(static_cast<DWORD>(ERROR_CANCELLED), error);
    wiztest::Remove(spec);
}

}  // namespace
