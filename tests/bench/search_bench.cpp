// What the automatic container search costs as containers grow: the wizard's search (progress
// window, painting between containers) over 10, 100 and 1000 containers with the match last,
// against the same CryptoAPI calls in the same order with no window. The time per container
// must stay flat. Usage: kvbench_search [RUNS]
#include "bench/timing.h"
#include "fixtures.h"
#include "kvcsp.h"
#include "ui/handles.h"
#include "wizards/certificate_info.h"
#include "wizards/install_certificate.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<BYTE>;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

std::wstring Name(int i) {
    wchar_t name[32];
    std::swprintf(name, 32, L"bench-search-%04d", i);
    return name;
}

bool Matches(HCRYPTPROV prov, DWORD spec, PCCERT_CONTEXT certificate) {
    DWORD size = 0;
    if (!::CryptExportPublicKeyInfo(prov, spec, kEncoding, nullptr, &size)) return false;
    Bytes info(size);
    if (!::CryptExportPublicKeyInfo(prov, spec, kEncoding,
                                    reinterpret_cast<PCERT_PUBLIC_KEY_INFO>(info.data()), &size))
        return false;
    return ::CertComparePublicKeyInfo(kEncoding,
                                      reinterpret_cast<PCERT_PUBLIC_KEY_INFO>(info.data()),
                                      &certificate->pCertInfo->SubjectPublicKeyInfo) != FALSE;
}

// The search's calls with nothing shown: one listing context, each container opened once.
std::wstring BareSearch(PCCERT_CONTEXT certificate) {
    ui::UniqueCryptProv listing;
    if (!::CryptAcquireContextW(listing.put(), nullptr, kvcsp::kProviderMain, kvcsp::kType2001,
                                CRYPT_VERIFYCONTEXT))
        return {};
    DWORD size = 0;
    if (!::CryptGetProvParam(listing.get(), PP_ENUMCONTAINERS, nullptr, &size, CRYPT_FIRST))
        return {};
    std::vector<char> name(size);
    for (DWORD flags = CRYPT_FIRST;; flags = 0) {
        DWORD length = size;
        if (!::CryptGetProvParam(listing.get(), PP_ENUMCONTAINERS,
                                 reinterpret_cast<BYTE*>(name.data()), &length, flags))
            return {};
        const std::wstring container =
            applet::FromAnsi(name.data(), ::strnlen(name.data(), length));
        ui::UniqueCryptProv opened;
        if (!::CryptAcquireContextW(opened.put(), container.c_str(), kvcsp::kProviderMain,
                                    kvcsp::kType2001, 0))
            continue;
        if (Matches(opened.get(), AT_SIGNATURE, certificate) ||
            Matches(opened.get(), AT_KEYEXCHANGE, certificate))
            return container;
    }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int runs = argc > 1 ? _wtoi(argv[1]) : 5;
    const std::vector<applet::SearchProvider> providers = {
        {kvcsp::kProviderMain, kvcsp::kType2001}};
    // The match is named to come last; the listing below says whether it does.
    fixtures::ContainerSpec match;
    match.name = L"bench-search-zzzz";
    match.exchange = false;
    fixtures::Made made;
    if (DWORD error = fixtures::MakeContainer(match, &made)) {
        std::fprintf(stderr, "kvbench_search: no container (0x%08lX)\n", error);
        return 1;
    }
    ui::UniqueCertContext certificate(::CertCreateCertificateContext(
        kEncoding, made.certificates[1].data(), static_cast<DWORD>(made.certificates[1].size())));
    HWND sheet = ::CreateWindowExW(0, L"STATIC", L"sheet", WS_POPUP | WS_VISIBLE, 0, 0, 300, 200,
                                   nullptr, nullptr, nullptr, nullptr);
    HWND field = ::CreateWindowExW(0, L"EDIT", L"", WS_CHILD | WS_VISIBLE, 10, 10, 200, 20, sheet,
                                   nullptr, nullptr, nullptr);
    std::printf("%-10s %12s %12s %8s %14s %14s\n", "containers", "wizard ms", "bare ms", "ratio",
                "wizard ms/c", "bare ms/c");
    int made_ = 0;
    for (int count : {10, 100, 1000}) {
        for (; made_ < count - 1; ++made_) {
            fixtures::ContainerSpec spec;
            spec.name = Name(made_);
            spec.exchange = false;
            spec.certificate = fixtures::Certificate::kNone;
            if (fixtures::MakeContainer(spec)) {
                std::fprintf(stderr, "kvbench_search: cannot make %d containers\n", count);
                return 1;
            }
        }
        std::vector<double> wizard, bare;
        for (int run = 0; run < runs; ++run) {
            double start = bench::Now();
            applet::SearchHit hit;
            {
                applet::SearchWindow window(sheet, field);
                hit =
                    applet::FindContainerOfCertificate(providers, false, certificate.get(), window);
            }
            wizard.push_back(bench::Now() - start);
            start = bench::Now();
            const std::wstring found = BareSearch(certificate.get());
            bare.push_back(bench::Now() - start);
            if (hit.container != match.name || found != match.name) {
                std::fprintf(stderr, "kvbench_search: the match was not found last\n");
                return 1;
            }
        }
        const double w = bench::Median(wizard), b = bench::Median(bare);
        std::printf("%-10d %12.1f %12.1f %8.2f %14.3f %14.3f\n", count, w, b, w / b, w / count,
                    b / count);
    }
    ::DestroyWindow(sheet);
    for (int i = 0; i < made_; ++i)
        fixtures::DeleteContainer(kvcsp::kProviderMain, kvcsp::kType2001, false, Name(i));
    fixtures::DeleteContainer(kvcsp::kProviderMain, kvcsp::kType2001, false, match.name);
    return 0;
}
