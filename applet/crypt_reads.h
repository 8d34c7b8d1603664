// CryptoAPI reads of provider and key parameters: the two-call form for data of any size, and
// 32-bit values.
#pragma once

#include <windows.h>
#include <wincrypt.h>

namespace applet {

// The size first, then the data: `get(buffer, &size)` as the CryptoAPI call it wraps.
template <class Bytes, class Get>
bool ReadSized(Get get, Bytes& data) {
    DWORD size = 0;
    if (!get(nullptr, &size)) return false;
    data.resize(size);
    if (!get(data.data(), &size)) return false;
    data.resize(size);
    return true;
}

// A 32-bit value; an answer of any other size is no value.
template <class Get>
bool ReadDword(Get get, DWORD& value) {
    DWORD size = sizeof(value);
    return get(reinterpret_cast<BYTE*>(&value), &size) && size == sizeof(value);
}

// Whether `error` is the system error `code`, as it is or in its HRESULT form: providers answer
// with either.
inline bool IsSystemError(DWORD error, DWORD code) {
    return error == code || error == static_cast<DWORD>(HRESULT_FROM_WIN32(code));
}

// `flags` CRYPT_FIRST, then 0, step through an enumerating parameter.
inline auto ProvParam(HCRYPTPROV prov, DWORD param, DWORD flags = 0) {
    return [=](BYTE* buffer, DWORD* size) {
        return ::CryptGetProvParam(prov, param, buffer, size, flags) != FALSE;
    };
}

inline auto KeyParam(HCRYPTKEY key, DWORD param) {
    return [=](BYTE* buffer, DWORD* size) {
        return ::CryptGetKeyParam(key, param, buffer, size, 0) != FALSE;
    };
}

}  // namespace applet
