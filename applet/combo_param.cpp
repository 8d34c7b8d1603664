#include "applet/combo_param.h"

namespace applet {

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
    ParamChoice choice;
    if (ReadParamChoice(provider_, enumParam_, valueParam_, choice) != 0) return false;
    entries_ = std::move(choice.entries);
    for (size_t i = 0; i < entries_.size(); ++i)
        SetItemData(Add(entries_[i].text), static_cast<LPARAM>(i));
    const int entry = choice.current;
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
    WriteParamValue(provider_, valueParam_, entries_[entry].value);
}

}  // namespace applet
