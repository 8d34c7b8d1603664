// The little DER the provider's crypt32 functions and the fixture maker need: reading one
// element at a time, and writing the few element types they produce.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace der {

using Bytes = std::vector<BYTE>;

enum Tag : BYTE {
    kInteger = 0x02,
    kBitString = 0x03,
    kOctetString = 0x04,
    kOid = 0x06,
    kUtf8String = 0x0C,
    kUtcTime = 0x17,
    kGeneralizedTime = 0x18,
    kSequence = 0x30,
    kContext0 = 0x80,  // [0] IMPLICIT, primitive
    kContext1 = 0x81,
};

// One element: its tag, its content, and the whole encoding (header included).
struct Element {
    BYTE tag = 0;
    const BYTE* content = nullptr;
    size_t length = 0;
    const BYTE* begin = nullptr;
    const BYTE* end = nullptr;
};

// Reads the element at `at` (before `end`) and moves `at` past it; false when it is malformed
// or runs past `end`. Only definite lengths of up to four bytes.
bool Read(const BYTE*& at, const BYTE* end, Element& element);

Bytes Encode(BYTE tag, const Bytes& content);
Bytes Concat(std::initializer_list<Bytes> parts);
Bytes Oid(const std::string& dotted);
bool OidText(const Element& element, std::string& dotted);
Bytes Time(BYTE tag, const FILETIME& time);  // kGeneralizedTime or kUtcTime, seconds, "Z"
bool ParseTime(const Element& element, FILETIME& time);

}  // namespace der
