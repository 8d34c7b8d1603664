// The automatic container search: which container of the product's providers holds the key of a
// certificate. Shared by the installation wizard and the console tool's link repair.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <functional>
#include <string>
#include <vector>

namespace applet {

struct ContainerListing {
    bool opened = false;   // the provider gave a context to list with
    bool stopped = false;  // `each` asked to stop
    DWORD error = 0;       // 0 when the list ended normally
};
// Hands the name of every container of `provider` (the computer's with `machine`) to `each`, in
// the provider's order, until it returns false.
ContainerListing ListContainers(const std::wstring& provider, DWORD type, bool machine,
                                const std::function<bool(const std::wstring&)>& each);

// Counts the automatic search's progress and tells whether the user has stopped it.
class SearchProgress {
public:
    virtual ~SearchProgress() = default;
    // Before each container is opened: the provider's index among `providers`, the containers
    // reached so far and this one's name. False: stop searching.
    virtual bool Step(int provider, int providers, int containers, const std::wstring& name) = 0;
};

// A provider the search walks: the name and type of a combo item.
struct SearchProvider {
    std::wstring name;
    DWORD type = 0;
};
struct SearchHit {
    int provider = -1;  // index into the list searched; -1: nothing matched
    std::wstring container;
    DWORD keySpec = 0;
};
// Walks the containers of every provider in order, each once, and stops at the first whose key
// is the certificate's. `machine`: the computer's containers. Stopped, it found nothing.
SearchHit FindContainerOfCertificate(const std::vector<SearchProvider>& providers, bool machine,
                                     PCCERT_CONTEXT certificate, SearchProgress& progress);

}  // namespace applet
