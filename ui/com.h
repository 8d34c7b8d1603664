// Owners for COM interface pointers, strings and variants. Like the handle owners, releasing
// never changes the thread's last-error value.
#pragma once

#include "ui/handles.h"

#include <oleauto.h>

#include <string>
#include <utility>

namespace ui {

template <class Interface>
class ComPtr {
public:
    ComPtr() noexcept = default;
    ~ComPtr() { reset(); }
    ComPtr(ComPtr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
    ComPtr& operator=(ComPtr&& other) noexcept {
        if (this != &other) {
            reset();
            p_ = std::exchange(other.p_, nullptr);
        }
        return *this;
    }
    ComPtr(const ComPtr&) = delete;
    ComPtr& operator=(const ComPtr&) = delete;

    Interface* get() const noexcept { return p_; }
    Interface* operator->() const noexcept { return p_; }
    explicit operator bool() const noexcept { return p_ != nullptr; }

    // For out-parameters: releases what is held, then hands out the slot.
    Interface** put() noexcept {
        reset();
        return &p_;
    }
    void** put_void() noexcept { return reinterpret_cast<void**>(put()); }

    void reset() noexcept {
        if (Interface* old = std::exchange(p_, nullptr)) {
            LastErrorKeeper keep;
            old->Release();
        }
    }

private:
    Interface* p_ = nullptr;
};

namespace traits {
struct Bstr : Base<BSTR> {
    static void close(BSTR b) noexcept { ::SysFreeString(b); }
};
}  // namespace traits

class UniqueBstr : public UniqueHandle<traits::Bstr> {
public:
    UniqueBstr() noexcept = default;
    explicit UniqueBstr(const std::wstring& text)
        : UniqueHandle(::SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
};

class Variant {
public:
    Variant() noexcept { ::VariantInit(&value_); }
    explicit Variant(LONG number) noexcept : Variant() {
        value_.vt = VT_I4;
        value_.lVal = number;
    }
    ~Variant() {
        LastErrorKeeper keep;
        ::VariantClear(&value_);
    }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;

    VARIANT* get() noexcept { return &value_; }
    const VARIANT& operator*() const noexcept { return value_; }

private:
    VARIANT value_;
};

}  // namespace ui
