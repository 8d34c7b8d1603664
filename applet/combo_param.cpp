#include "applet/combo_param.h"

#include "applet/strings.h"
#include "applet/crypt_reads.h"

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

CComboParam::CComboParam(DWORD enumParam, DWORD valueParam)
    : enumParam_(enumParam), valueParam_(valueParam) {}

void CComboParam::Attach(HCRYPTPROV provider) {
    provider_ = provider;
    entries_.clear();
    filledIndex_ = -1;
    Clear();
    const bool filled = provider_ && Fill();
    if (!filled) {
        // Nothing to compare with: the page must never write what it could not read.
        provider_ = 0;
        Clear();
    }
    Enable(filled);
}

bool CComboParam::Fill() {
    std::vector<BYTE> data;
    for (DWORD flags = CRYPT_FIRST; ReadSized(ProvParam(provider_, enumParam_, flags), data);
         flags = 0) {
        ParamEntry entry;
        if (!ParseParamEntry(data.data(), static_cast<DWORD>(data.size()), entry)) continue;
        const int item = Add(entry.text);
        SetItemData(item, static_cast<LPARAM>(entries_.size()));
        entries_.push_back(std::move(entry));
    }
    std::vector<BYTE> current;
    if (entries_.empty() || !ReadSized(ProvParam(provider_, valueParam_), current)) return false;
    const int entry = MatchingEntry(entries_, current);
    // The list may sort: find the item that carries the entry.
    for (int item = 0, count = Count(); item < count; ++item)
        if (ItemData(item) == entry) filledIndex_ = item;
    Select(filledIndex_);
    return true;
}

bool CComboParam::IsModified() const {
    return provider_ && Selection() != filledIndex_;
}

void CComboParam::Save() {
    if (!IsModified()) return;
    const int item = Selection();
    const auto entry = static_cast<size_t>(ItemData(item));
    if (entry >= entries_.size()) return;
    filledIndex_ = item;
    ::CryptSetProvParam(provider_, valueParam_, entries_[entry].value.data(), 0);
}

}  // namespace applet
