#include "der.h"

#include <cstdio>
#include <cstdlib>

namespace der {

bool Read(const BYTE*& at, const BYTE* end, Element& element) {
    if (!at || at >= end || end - at < 2) return false;
    const BYTE* p = at;
    element.begin = p;
    element.tag = *p++;
    size_t length = *p++;
    if (length & 0x80) {
        size_t count = length & 0x7F;
        if (count == 0 || count > 4 || static_cast<size_t>(end - p) < count) return false;
        length = 0;
        while (count--) length = (length << 8) | *p++;
    }
    if (static_cast<size_t>(end - p) < length) return false;
    element.content = p;
    element.length = length;
    element.end = p + length;
    at = element.end;
    return true;
}

Bytes Encode(BYTE tag, const Bytes& content) {
    Bytes out{tag};
    size_t length = content.size();
    if (length < 0x80) {
        out.push_back(static_cast<BYTE>(length));
    } else {
        Bytes digits;
        for (size_t rest = length; rest; rest >>= 8) digits.insert(digits.begin(), rest & 0xFF);
        out.push_back(static_cast<BYTE>(0x80 | digits.size()));
        out.insert(out.end(), digits.begin(), digits.end());
    }
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

Bytes Concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

Bytes Oid(const std::string& dotted) {
    std::vector<unsigned long> arcs;
    for (size_t start = 0;;) {
        size_t dot = dotted.find('.', start);
        arcs.push_back(std::strtoul(dotted.substr(start, dot - start).c_str(), nullptr, 10));
        if (dot == std::string::npos) break;
        start = dot + 1;
    }
    Bytes content;
    if (arcs.size() >= 2) {
        arcs[1] += arcs[0] * 40;
        for (size_t i = 1; i < arcs.size(); ++i) {
            Bytes group;
            unsigned long arc = arcs[i];
            do {
                group.insert(group.begin(),
                             static_cast<BYTE>((arc & 0x7F) | (group.empty() ? 0 : 0x80)));
                arc >>= 7;
            } while (arc);
            content.insert(content.end(), group.begin(), group.end());
        }
    }
    return Encode(kOid, content);
}

bool OidText(const Element& element, std::string& dotted) {
    if (element.tag != kOid || element.length == 0) return false;
    dotted.clear();
    unsigned long arc = 0;
    bool first = true;
    for (size_t i = 0; i < element.length; ++i) {
        arc = (arc << 7) | (element.content[i] & 0x7F);
        if (element.content[i] & 0x80) continue;
        if (first) {
            unsigned long top = arc < 80 ? arc / 40 : 2;
            dotted = std::to_string(top) + "." + std::to_string(arc - top * 40);
            first = false;
        } else {
            dotted += "." + std::to_string(arc);
        }
        arc = 0;
    }
    return !first;
}

Bytes Time(BYTE tag, const FILETIME& time) {
    SYSTEMTIME st{};
    ::FileTimeToSystemTime(&time, &st);
    char text[32];
    if (tag == kUtcTime)
        std::snprintf(text, sizeof(text), "%02u%02u%02u%02u%02u%02uZ", st.wYear % 100, st.wMonth,
                      st.wDay, st.wHour, st.wMinute, st.wSecond);
    else
        std::snprintf(text, sizeof(text), "%04u%02u%02u%02u%02u%02uZ", st.wYear, st.wMonth, st.wDay,
                      st.wHour, st.wMinute, st.wSecond);
    return Encode(tag, Bytes(text, text + std::string(text).size()));
}

bool ParseTime(const Element& element, FILETIME& time) {
    std::string text(reinterpret_cast<const char*>(element.content), element.length);
    size_t year_digits = element.tag == kGeneralizedTime ? 4 : element.tag == kUtcTime ? 2 : 0;
    if (!year_digits || text.size() != year_digits + 11 || text.back() != 'Z') return false;
    for (size_t i = 0; i + 1 < text.size(); ++i)
        if (text[i] < '0' || text[i] > '9') return false;
    auto number = [&](size_t at, size_t digits) {
        return static_cast<WORD>(std::atoi(text.substr(at, digits).c_str()));
    };
    SYSTEMTIME st{};
    st.wYear = number(0, year_digits);
    if (year_digits == 2) st.wYear += st.wYear < 50 ? 2000 : 1900;
    st.wMonth = number(year_digits, 2);
    st.wDay = number(year_digits + 2, 2);
    st.wHour = number(year_digits + 4, 2);
    st.wMinute = number(year_digits + 6, 2);
    st.wSecond = number(year_digits + 8, 2);
    return ::SystemTimeToFileTime(&st, &time) != FALSE;
}

}  // namespace der
