// What the inventory costs as containers grow: kvadmin.exe's "list --json" (process start,
// provider listing, every container opened and read, the document written) over 100 and 1000
// containers, against the same reads in-process with nothing written. The time per container
// must stay flat. Usage: kvbench_list [RUNS]
#include "admin_run.h"
#include "bench/timing.h"
#include "fixtures.h"
#include "ui/handles.h"

#include <cstdio>
#include <cstring>
#include <cwchar>

namespace {

using namespace admintest;

std::wstring Name(int i) {
    wchar_t name[32];
    std::swprintf(name, 32, L"bench-list-%04d", i);
    return name;
}

template <class Get>
bool Read(Get get, std::vector<BYTE>& data) {
    DWORD size = 0;
    if (!get(nullptr, &size)) return false;
    data.resize(size);
    return get(data.data(), &size);
}

// What list reads of every container, with nothing made of it.
int BareEnumeration() {
    ui::UniqueCryptProv listing;
    if (!::CryptAcquireContextW(listing.put(), nullptr, kProvider, kType, CRYPT_VERIFYCONTEXT))
        return -1;
    DWORD size = 0;
    if (!::CryptGetProvParam(listing.get(), PP_ENUMCONTAINERS, nullptr, &size, CRYPT_FIRST))
        return -1;
    std::vector<char> name(size);
    int read = 0;
    for (DWORD flags = CRYPT_FIRST;; flags = 0) {
        DWORD length = size;
        if (!::CryptGetProvParam(listing.get(), PP_ENUMCONTAINERS,
                                 reinterpret_cast<BYTE*>(name.data()), &length, flags))
            return read;
        ui::UniqueCryptProv container;
        if (!::CryptAcquireContextA(container.put(), name.data(), "Kelvane Vestra CSP (GOST 94)",
                                    kType, 0))
            continue;
        std::vector<BYTE> data;
        Read(
            [&](BYTE* b, DWORD* s) {
                return ::CryptGetProvParam(container.get(), PP_UNIQUE_CONTAINER, b, s, 0) != FALSE;
            },
            data);
        for (DWORD spec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
            ui::UniqueCryptKey key;
            if (!::CryptGetUserKey(container.get(), spec, key.put())) continue;
            for (DWORD param : {DWORD{KP_ALGID}, DWORD{KP_PERMISSIONS}, DWORD{KP_CERTIFICATE}})
                Read(
                    [&](BYTE* b, DWORD* s) {
                        return ::CryptGetKeyParam(key.get(), param, b, s, 0) != FALSE;
                    },
                    data);
            ui::UniqueCertContext certificate(::CertCreateCertificateContext(
                X509_ASN_ENCODING, data.data(), static_cast<DWORD>(data.size())));
        }
        ++read;
    }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int runs = argc > 1 ? std::max(1, _wtoi(argv[1])) : 5;
    int made = 0;
    std::printf("%6s %14s %14s %8s %16s %16s\n", "count", "list --json ms", "bare ms", "ratio",
                "list ms/cont.", "bare ms/cont.");
    for (int count : {100, 1000}) {
        for (; made < count; ++made) {
            fixtures::ContainerSpec spec;
            spec.name = Name(made);
            spec.provider = kProvider;
            spec.type = kType;
            spec.exchange = false;
            spec.certificate = fixtures::Certificate::kSelfSigned;
            if (DWORD error = fixtures::MakeContainer(spec)) {
                std::fprintf(stderr, "cannot make %ls: 0x%08lX\n", spec.name.c_str(), error);
                return 1;
            }
        }
        std::vector<double> listed, bare;
        for (int run = 0; run < runs; ++run) {
            double start = bench::Now();
            const Outcome result =
                RunAdmin({L"list", L"--user", L"--provider", kProvider, L"--json"});
            listed.push_back(bench::Now() - start);
            if (result.exitCode != 0 ||
                result.Json()["results"].size() != static_cast<size_t>(count)) {
                std::fprintf(stderr, "list failed: exit %lu\n%s", result.exitCode,
                             result.err.c_str());
                return 1;
            }
            start = bench::Now();
            if (BareEnumeration() != count) {
                std::fprintf(stderr, "the bare enumeration did not read %d containers\n", count);
                return 1;
            }
            bare.push_back(bench::Now() - start);
        }
        const double l = bench::Median(listed), b = bench::Median(bare);
        std::printf("%6d %14.1f %14.1f %8.2f %16.3f %16.3f\n", count, l, b, l / b, l / count,
                    b / count);
        std::fflush(stdout);
    }
    return 0;
}
