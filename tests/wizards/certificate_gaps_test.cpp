// A store add that the user declined at the system's own prompt (as adding to a root store asks)
// is no error to tell.
#include "driver/driver.h"
#include "link_check.h"
#include "wizard_fixture.h"
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

TEST(CertificateGaps, ADeclinedAddIsNotAnsweredWithABox) {
    fixtures::ContainerSpec spec;
    spec.name = L"kv-gaps";
    const fixtures::Made made = wiztest::Make(spec);
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
