#include "guard.h"

#include "testbed/knobs.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace kvcsp {
namespace {

// One armed failure knob: counts the call down and fires on the last one.
DWORD CountDown(const std::wstring& name) noexcept {
    std::wstring path = std::wstring(testbed::knobs::kFail) + L"\\" + name;
    HKEY key = nullptr;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE | KEY_SET_VALUE,
                        &key) != ERROR_SUCCESS)
        return 0;
    DWORD call = 1;
    DWORD error = static_cast<DWORD>(NTE_FAIL);
    DWORD size = sizeof(call);
    ::RegQueryValueExW(key, testbed::knobs::kFailCall, nullptr, nullptr,
                       reinterpret_cast<BYTE*>(&call), &size);
    size = sizeof(error);
    ::RegQueryValueExW(key, testbed::knobs::kFailError, nullptr, nullptr,
                       reinterpret_cast<BYTE*>(&error), &size);
    if (call > 1) {
        --call;
        ::RegSetValueExW(key, testbed::knobs::kFailCall, 0, REG_DWORD,
                         reinterpret_cast<const BYTE*>(&call), sizeof(call));
        ::RegCloseKey(key);
        return 0;
    }
    ::RegCloseKey(key);
    ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
    return error ? error : static_cast<DWORD>(NTE_FAIL);
}

std::wstring Widen(const char* text) {
    std::wstring wide;
    while (*text) wide += static_cast<wchar_t>(static_cast<unsigned char>(*text++));
    return wide;
}

// A mapping of this process named by `format` and the process id, made on first use. The
// module pins itself with it, so that the counters (and the handles they count) outlive the
// last release of a context.
void* ProcessMapping(const wchar_t* format, DWORD size) noexcept {
    wchar_t name[64];
    std::swprintf(name, 64, format, ::GetCurrentProcessId());
    HANDLE mapping =
        ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name);
    void* view = mapping ? ::MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0) : nullptr;
    HMODULE self = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                         reinterpret_cast<LPCWSTR>(&ProcessMapping), &self);
    return view;
}

volatile LONG* Counters() noexcept {
    static volatile LONG* counters = static_cast<volatile LONG*>(
        ProcessMapping(testbed::knobs::kLiveCountersFormat, 3 * sizeof(LONG)));
    return counters;
}

testbed::knobs::CallCounters* Calls() noexcept {
    static auto* calls = static_cast<testbed::knobs::CallCounters*>(
        ProcessMapping(testbed::knobs::kCallCountersFormat, sizeof(testbed::knobs::CallCounters)));
    return calls;
}

// One more call of `name`. Both copies of the DLL count into the same records, so the lock
// lives in the mapping.
void CountCall(const std::string& name) noexcept {
    testbed::knobs::CallCounters* calls = Calls();
    if (!calls || name.size() >= sizeof(calls->entries[0].name)) return;
    auto* lock = reinterpret_cast<volatile LONG*>(&calls->lock);
    while (::InterlockedCompareExchange(lock, 1, 0) != 0) ::SwitchToThread();
    for (testbed::knobs::CallCounter& entry : calls->entries) {
        if (entry.name[0] == 0) std::memcpy(entry.name, name.c_str(), name.size() + 1);
        if (name == entry.name) {
            ++entry.count;
            break;
        }
    }
    ::InterlockedExchange(lock, 0);
}

}  // namespace

DWORD InjectedFailure(const char* entry, DWORD param) noexcept {
    DWORD preserved = ::GetLastError();
    DWORD error = 0;
    try {
        CountCall(entry);
        std::wstring name = Widen(entry);
        error = CountDown(name);
        if (param != kNoParam) {
            CountCall(std::string(entry) + "." + std::to_string(param));
            DWORD qualified = CountDown(name + L"." + std::to_wstring(param));
            if (!error) error = qualified;
        }
    } catch (...) {
        error = 0;
    }
    ::SetLastError(preserved);
    return error;
}

void CountLive(Live what, LONG delta) noexcept {
    if (volatile LONG* counters = Counters())
        ::InterlockedExchangeAdd(&counters[static_cast<int>(what)], delta);
}

}  // namespace kvcsp
