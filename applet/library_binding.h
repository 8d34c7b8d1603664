// Run-time binding to a product library: load on first use, one cached entry point per
// function, a reference count. Releasing the last reference forgets the entry points but keeps
// the module loaded, so a later call binds again without loading it anew.
#pragma once

#include <windows.h>

#include <vector>

namespace applet {

// Results of the binding itself; anything else is the library function's own result.
constexpr DWORD kLibraryLoadFailed = 0x1002;  // the library could not be loaded
constexpr DWORD kLibraryMissing = 0x1004;     // the library or the function is missing

// Finds a product library: the AppPath registration of the applet and of the library, else the
// applet's own directory; loads it with critical-error boxes off, under the applet's manifest.
HMODULE LoadProductLibrary(const wchar_t* fileName);

class LibraryBinding {
public:
    // `functions`: the exported names, indexed by the slot numbers the callers use.
    LibraryBinding(const wchar_t* fileName, std::vector<const char*> functions);

    DWORD AddRef();   // 0, or kLibraryLoadFailed with the count unchanged
    void Release();
    // Loads the library unless it is held, as a call does: 0, or the loader's error.
    DWORD Load();
    HMODULE Handle() const { return module_; }
    LONG References() const { return references_; }

    // Calls the function in `slot` as `Fn`; kLibraryMissing when it can't be had.
    template <class Fn, class... Args>
    DWORD Call(size_t slot, Args... args) {
        FARPROC entry = Resolve(slot);
        if (!entry) return kLibraryMissing;
        return reinterpret_cast<Fn>(reinterpret_cast<void*>(entry))(args...);
    }

private:
    FARPROC Resolve(size_t slot);

    const wchar_t* fileName_;
    std::vector<const char*> names_;
    std::vector<FARPROC> entries_;
    HMODULE module_ = nullptr;
    LONG references_ = 0;
    DWORD loadError_ = 0;  // of the last load that failed
};

}  // namespace applet
