// The provider's call counters of the calling process (knobs::kCallCountersFormat), as tests
// read them: between calls, so without the provider's lock.
#pragma once

#include "testbed/knobs.h"

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>

namespace testbed {

// Calls so far by the names the failure knobs take ("CPExportKey", "CPGetProvParam",
// "CPGetProvParam.133"); empty before the provider's first call.
inline std::map<std::string, long> ProviderCalls() {
    wchar_t name[64];
    std::swprintf(name, 64, knobs::kCallCountersFormat,
                  static_cast<unsigned long>(::GetCurrentProcessId()));
    std::map<std::string, long> calls;
    HANDLE mapping = ::OpenFileMappingW(FILE_MAP_READ, FALSE, name);
    if (!mapping) return calls;
    if (auto view = static_cast<const knobs::CallCounters*>(
            ::MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0))) {
        for (const knobs::CallCounter& entry : view->entries) {
            if (!entry.name[0]) break;
            calls[std::string(entry.name, ::strnlen(entry.name, sizeof(entry.name)))] = entry.count;
        }
        ::UnmapViewOfFile(view);
    }
    ::CloseHandle(mapping);
    return calls;
}

}  // namespace testbed
