// Owners for Win32, CryptoAPI and GDI handles. One template, one traits type per kind of handle.
// Releasing never changes the thread's last-error value: callers take the error code of a failed
// call after their clean-up has already run.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <utility>

namespace ui {

// Keeps GetLastError() across a scope: the release calls below may set it.
class LastErrorKeeper {
public:
    LastErrorKeeper() noexcept : error_(::GetLastError()) {}
    ~LastErrorKeeper() { ::SetLastError(error_); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

private:
    DWORD error_;
};

template <class Traits>
class UniqueHandle {
public:
    using pointer = typename Traits::pointer;

    UniqueHandle() noexcept = default;
    explicit UniqueHandle(pointer h) noexcept : h_(h) {}
    ~UniqueHandle() { reset(); }

    UniqueHandle(UniqueHandle&& other) noexcept : h_(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;

    pointer get() const noexcept { return h_; }
    explicit operator bool() const noexcept { return h_ != Traits::invalid(); }

    // For out-parameters: frees what is held, then hands out the slot.
    pointer* put() noexcept {
        reset();
        return &h_;
    }

    pointer release() noexcept { return std::exchange(h_, Traits::invalid()); }

    void reset(pointer h = Traits::invalid()) noexcept {
        pointer old = std::exchange(h_, h);
        if (old != Traits::invalid()) {
            LastErrorKeeper keep;
            Traits::close(old);
        }
    }

private:
    pointer h_ = Traits::invalid();
};

namespace traits {

template <class T>
struct Base {
    using pointer = T;
    static constexpr T invalid() noexcept { return T{}; }
};

struct HKey : Base<HKEY> {
    static void close(HKEY h) noexcept { ::RegCloseKey(h); }
};
struct CryptProv : Base<HCRYPTPROV> {
    static void close(HCRYPTPROV h) noexcept { ::CryptReleaseContext(h, 0); }
};
struct CryptKey : Base<HCRYPTKEY> {
    static void close(HCRYPTKEY h) noexcept { ::CryptDestroyKey(h); }
};
struct CryptHash : Base<HCRYPTHASH> {
    static void close(HCRYPTHASH h) noexcept { ::CryptDestroyHash(h); }
};
struct CertStore : Base<HCERTSTORE> {
    static void close(HCERTSTORE h) noexcept { ::CertCloseStore(h, 0); }
};
struct CertContext : Base<PCCERT_CONTEXT> {
    static void close(PCCERT_CONTEXT h) noexcept { ::CertFreeCertificateContext(h); }
};
struct HFont : Base<HFONT> {
    static void close(HFONT h) noexcept { ::DeleteObject(h); }
};
struct HBitmap : Base<HBITMAP> {
    static void close(HBITMAP h) noexcept { ::DeleteObject(h); }
};
struct HIcon : Base<HICON> {
    static void close(HICON h) noexcept { ::DestroyIcon(h); }
};
struct HGlobal : Base<HGLOBAL> {
    static void close(HGLOBAL h) noexcept { ::GlobalFree(h); }
};
struct HModule : Base<HMODULE> {
    static void close(HMODULE h) noexcept { ::FreeLibrary(h); }
};
struct Handle : Base<HANDLE> {
    static void close(HANDLE h) noexcept { ::CloseHandle(h); }
};
struct ScHandle : Base<SC_HANDLE> {
    static void close(SC_HANDLE h) noexcept { ::CloseServiceHandle(h); }
};
struct ActCtx {
    using pointer = HANDLE;
    static pointer invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void close(HANDLE h) noexcept { ::ReleaseActCtx(h); }
};

}  // namespace traits

using UniqueHKey = UniqueHandle<traits::HKey>;
using UniqueCryptProv = UniqueHandle<traits::CryptProv>;
using UniqueCryptKey = UniqueHandle<traits::CryptKey>;
using UniqueCryptHash = UniqueHandle<traits::CryptHash>;
using UniqueCertStore = UniqueHandle<traits::CertStore>;
using UniqueCertContext = UniqueHandle<traits::CertContext>;
using UniqueHFont = UniqueHandle<traits::HFont>;
using UniqueHBitmap = UniqueHandle<traits::HBitmap>;
using UniqueHIcon = UniqueHandle<traits::HIcon>;
using UniqueHGlobal = UniqueHandle<traits::HGlobal>;
using UniqueHModule = UniqueHandle<traits::HModule>;
using UniqueHandleW = UniqueHandle<traits::Handle>;
using UniqueActCtx = UniqueHandle<traits::ActCtx>;
using UniqueScHandle = UniqueHandle<traits::ScHandle>;

}  // namespace ui
