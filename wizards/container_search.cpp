#include "wizards/container_search.h"

#include "applet/crypt_reads.h"
#include "ui/handles.h"
#include "wizards/certificate_info.h"

namespace applet {

ContainerListing ListContainers(const std::wstring& provider, DWORD type, bool machine,
                                const std::function<bool(const std::wstring&)>& each) {
    ContainerListing listing;
    auto failed = [&] {
        listing.error = ::GetLastError();
        return listing;
    };
    ui::UniqueCryptProv context;
    if (!::CryptAcquireContextW(context.put(), nullptr, provider.c_str(), type,
                                CRYPT_VERIFYCONTEXT | (machine ? CRYPT_MACHINE_KEYSET : 0)))
        return failed();
    listing.opened = true;
    // The size asked with CRYPT_FIRST holds the longest name.
    DWORD size = 0;
    if (!::CryptGetProvParam(context.get(), PP_ENUMCONTAINERS, nullptr, &size, CRYPT_FIRST)) {
        // A provider without containers says so at once.
        if (IsSystemError(::GetLastError(), ERROR_NO_MORE_ITEMS)) return listing;
        return failed();
    }
    std::vector<BYTE> name(size);
    for (DWORD flags = CRYPT_FIRST;; flags = 0) {
        DWORD length = size;
        if (!::CryptGetProvParam(context.get(), PP_ENUMCONTAINERS, name.data(), &length, flags)) {
            if (IsSystemError(::GetLastError(), ERROR_NO_MORE_ITEMS)) return listing;
            return failed();
        }
        name.resize(length);
        const std::wstring container = AnsiText(name);
        name.resize(size);
        if (!each(container)) {
            listing.stopped = true;
            return listing;
        }
    }
}

SearchHit FindContainerOfCertificate(const std::vector<SearchProvider>& providers, bool machine,
                                     PCCERT_CONTEXT certificate, SearchProgress& progress) {
    const DWORD keySet = machine ? CRYPT_MACHINE_KEYSET : 0;
    const int count = static_cast<int>(providers.size());
    int searched = 0;
    SearchHit hit;
    for (int index = 0; index < count; ++index) {
        const SearchProvider& provider = providers[index];
        // A provider that can't be listed is passed over, as one without containers.
        const ContainerListing listing =
            ListContainers(provider.name, provider.type, machine, [&](const std::wstring& name) {
                if (!progress.Step(index, count, ++searched, name)) return false;
                ui::UniqueCryptProv opened;
                if (!::CryptAcquireContextW(opened.put(), name.c_str(), provider.name.c_str(),
                                            provider.type, keySet))
                    return true;
                if (const DWORD spec = MatchContainerKey(opened.get(), certificate))
                    hit = {index, name, spec};
                return hit.provider < 0;
            });
        if (listing.stopped) return hit;
    }
    return hit;
}

}  // namespace applet
