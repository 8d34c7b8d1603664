#include "kvsuprt/store.h"

#include "testbed/knobs.h"
#include "ui/handles.h"

#include <vector>

namespace kvsuprt {
namespace {

struct Scope {
    const wchar_t* name;
    HKEY hive;
};

// \local is the user's; the other scopes belong to the machine.
const Scope kScopes[] = {
    {L"config", HKEY_LOCAL_MACHINE},
    {L"global", HKEY_LOCAL_MACHINE},
    {L"cryptography", HKEY_LOCAL_MACHINE},
    {L"local", HKEY_CURRENT_USER},
};

const Scope* FindScope(const std::wstring& name) noexcept {
    for (const Scope& scope : kScopes)
        if (::CompareStringOrdinal(name.c_str(), -1, scope.name, -1, TRUE) == CSTR_EQUAL)
            return &scope;
    return nullptr;
}

bool HasEmptyComponent(const std::wstring& rest) noexcept {
    return !rest.empty() && (rest.front() == L'\\' || rest.find(L"\\\\") != std::wstring::npos);
}

}  // namespace

DWORD Resolve(const wchar_t* path, DWORD rights, Target& target) {
    if (!path || path[0] != L'\\') return ERROR_INVALID_PARAMETER;
    std::wstring text(path);
    if (text.size() > 1 && text.back() == L'\\') text.pop_back();

    size_t scope_end = text.find(L'\\', 1);
    const Scope* scope = FindScope(
        text.substr(1, scope_end == std::wstring::npos ? std::wstring::npos : scope_end - 1));
    std::wstring rest = scope_end == std::wstring::npos ? L"" : text.substr(scope_end + 1);
    if (!scope || HasEmptyComponent(rest)) return ERROR_INVALID_PARAMETER;

    std::wstring root = std::wstring(kStoreKey) + L"\\" + scope->name;
    target.hive = scope->hive;
    target.path = text;
    target.scope = rest.empty();
    if (target.scope) {
        target.key = root;
        target.parent.clear();
        target.name = scope->name;
    } else {
        size_t slash = rest.rfind(L'\\');
        target.key = root + L"\\" + rest;
        target.parent = slash == std::wstring::npos ? root : root + L"\\" + rest.substr(0, slash);
        target.name = slash == std::wstring::npos ? rest : rest.substr(slash + 1);
    }
    if ((GrantedRights(target) & rights) != rights) return ERROR_ACCESS_DENIED;

    // A scope always exists, even in a profile that never used the store.
    ui::UniqueHKey key;
    if (target.scope)
        target.section = ::RegCreateKeyExW(target.hive, target.key.c_str(), 0, nullptr, 0, KEY_READ,
                                           nullptr, key.put(), nullptr) == ERROR_SUCCESS;
    else
        target.section = ::RegOpenKeyExW(target.hive, target.key.c_str(), 0, KEY_READ, key.put()) ==
                         ERROR_SUCCESS;
    return ERROR_SUCCESS;
}

DWORD GrantedRights(const Target& target) noexcept {
    // The nearest ancestor with a knob of its own decides: "\config" = 1 makes all of \config
    // read-only unless a deeper path says otherwise.
    std::wstring path = target.path;
    for (;;) {
        DWORD granted = 0;
        DWORD size = sizeof(granted);
        if (::RegGetValueW(HKEY_LOCAL_MACHINE, testbed::knobs::kAccess, path.c_str(),
                           RRF_RT_REG_DWORD, nullptr, &granted, &size) == ERROR_SUCCESS)
            return granted;
        size_t slash = path.rfind(L'\\');
        if (slash == 0 || slash == std::wstring::npos) return ~DWORD{0};
        path.resize(slash);
    }
}

DWORD ReadParameter(HKEY key, const std::wstring& name, Entry& entry) {
    DWORD type = 0;
    DWORD size = 0;
    LSTATUS status = ::RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size);
    if (status != ERROR_SUCCESS) return status;
    entry.name = name;
    if (type == REG_DWORD && size == sizeof(DWORD)) {
        entry.kind = Entry::Kind::kNumber;
        return ::RegQueryValueExW(key, name.c_str(), nullptr, nullptr,
                                  reinterpret_cast<BYTE*>(&entry.number), &size);
    }
    if (type != REG_SZ && type != REG_EXPAND_SZ) return ERROR_INVALID_DATATYPE;
    std::vector<wchar_t> buffer(size / sizeof(wchar_t) + 1, L'\0');
    size = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
    status = ::RegQueryValueExW(key, name.c_str(), nullptr, nullptr,
                                reinterpret_cast<BYTE*>(buffer.data()), &size);
    if (status != ERROR_SUCCESS) return status;
    entry.kind = Entry::Kind::kText;
    entry.text = buffer.data();  // up to the first NUL, whether or not the value carries one
    return ERROR_SUCCESS;
}

DWORD ReadEntry(const Target& target, Entry& entry) {
    if (target.section) {
        entry = Entry{Entry::Kind::kSection, target.name, 0, {}};
        return ERROR_SUCCESS;
    }
    ui::UniqueHKey parent;
    LSTATUS status =
        ::RegOpenKeyExW(target.hive, target.parent.c_str(), 0, KEY_QUERY_VALUE, parent.put());
    if (status != ERROR_SUCCESS) return status;
    return ReadParameter(parent.get(), target.name, entry);
}

DWORD CopyText(const std::wstring& text, DWORD* length, wchar_t* buffer) noexcept {
    if (!length) return ERROR_INVALID_PARAMETER;
    auto needed = static_cast<DWORD>(text.size());
    if (buffer && *length < needed) {
        *length = needed;
        return ERROR_MORE_DATA;
    }
    *length = needed;
    if (buffer) {
        text.copy(buffer, needed);
        buffer[needed] = L'\0';
    }
    return ERROR_SUCCESS;
}

}  // namespace kvsuprt
