#include "applet/param_sets.h"

#include "applet/crypt_reads.h"
#include "applet/strings.h"

#include <cstring>

namespace applet {

bool ParseParamEntry(const BYTE* data, DWORD length, ParamEntry& entry) {
    DWORD head[2];
    if (!data || length < sizeof(head)) return false;
    std::memcpy(head, data, sizeof(head));
    const DWORD nameId = head[0], valueLength = head[1];
    const BYTE* at = data + sizeof(head);
    const BYTE* end = data + length;
    std::wstring name;
    for (;; at += sizeof(wchar_t)) {
        if (end - at < static_cast<ptrdiff_t>(sizeof(wchar_t))) return false;
        wchar_t c;
        std::memcpy(&c, at, sizeof(c));
        if (!c) break;
        name += c;
    }
    at += sizeof(wchar_t);
    if (static_cast<DWORD>(end - at) < valueLength) return false;
    entry.text = nameId > 0 && nameId < 0x10000 ? LoadStringLang(nameId) : name;
    entry.value.assign(at, at + valueLength);
    return true;
}

int MatchingEntry(const std::vector<ParamEntry>& entries, const std::vector<BYTE>& current) {
    int match = 0;
    for (size_t i = 0; i < entries.size(); ++i)
        if (entries[i].value == current) match = static_cast<int>(i);
    return match;
}

DWORD ReadParamChoice(HCRYPTPROV provider, DWORD enumParam, DWORD valueParam,
                      ParamChoice& choice) {
    choice = {};
    std::vector<BYTE> data;
    for (DWORD flags = CRYPT_FIRST; ReadSized(ProvParam(provider, enumParam, flags), data);
         flags = 0) {
        ParamEntry entry;
        if (ParseParamEntry(data.data(), static_cast<DWORD>(data.size()), entry))
            choice.entries.push_back(std::move(entry));
    }
    if (choice.entries.empty()) return ERROR_NO_DATA;
    std::vector<BYTE> current;
    if (!ReadSized(ProvParam(provider, valueParam), current)) {
        const DWORD error = ::GetLastError();
        return error ? error : ERROR_NO_DATA;
    }
    choice.current = MatchingEntry(choice.entries, current);
    return 0;
}

DWORD WriteParamValue(HCRYPTPROV provider, DWORD valueParam, const std::vector<BYTE>& value) {
    return ::CryptSetProvParam(provider, valueParam, value.data(), 0) ? 0 : ::GetLastError();
}

}  // namespace applet
