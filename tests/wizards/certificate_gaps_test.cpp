// Where the certificate wizards meet a gap they must get past: one key whose link cannot be made,
// and a store add the user declined at the system's own prompt.
#include "driver/driver.h"
#include "fixtures.h"
#include "link_check.h"
#include "resource.h"
#include "wizard_fixture.h"
#include "wizards/certificate_on_container.h"
#include "wizards/install_certificate.h"

#include <gtest/gtest.h>

namespace {

using wiztest::Encoded;

constexpr char kDecliningStore[] = "kv-declining-store";

// Every add to this store is declined, as a person declines the prompt of a root store.
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

class CertificateGaps : public ::testing::Test {
protected:
    void SetUp() override {
        spec_.name = L"kv-gaps";
        made_ = wiztest::Make(spec_);
    }
    void TearDown() override { wiztest::Remove(spec_); }

    fixtures::ContainerSpec spec_;
    fixtures::Made made_;
};

TEST_F(CertificateGaps, AKeyWithoutItsLinkIsToldAndTheOtherKeysCertificateOffered) {
    ui::UniqueCryptProv prov;
    ASSERT_TRUE(::CryptAcquireContextW(prov.put(), spec_.name.c_str(), spec_.provider.c_str(),
                                       spec_.type, 0));
    // The exchange key's link reads the provider's name first.
    wiztest::InjectedFailure failure(std::string("CPGetProvParam.4"), 1, NTE_FAIL);
    applet::KeyCertificates result;
    EXPECT_TRUE(applet::ReadKeyCertificates(prov.get(), 0, result));
    EXPECT_TRUE(failure.Fired());
    EXPECT_EQ(std::vector<UINT>{IDS_INSTALL_PARAMETERS_ERROR}, result.notices);
    ASSERT_TRUE(result.selected);
    EXPECT_EQ(made_.certificates[1], Encoded(result.selected.get())) << "the signature key's";
    EXPECT_FALSE(result.both);
}

TEST_F(CertificateGaps, AnAddTheUserDeclinedIsNotToldAgain) {
    CRYPT_OID_FUNC_ENTRY entry{kDecliningStore, reinterpret_cast<void*>(&OpenDecliningStore)};
    ASSERT_TRUE(
        ::CryptInstallOIDFunctionAddress(nullptr, 0, CRYPT_OID_OPEN_STORE_PROV_FUNC, 1, &entry, 0));
    ui::UniqueCertStore store(::CertOpenStore(kDecliningStore, 0, 0, 0, nullptr));
    ASSERT_TRUE(store);
    ui::UniqueCertContext certificate = wiztest::Certificate(made_.certificates[0]);
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
}

}  // namespace
