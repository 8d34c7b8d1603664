// The store functions of the library. Each one resolves its path (and the rights it needs there)
// through Resolve and then does one registry operation.
#include "kvsuprt/guard.h"
#include "kvsuprt/store.h"
#include "testbed/knobs.h"
#include "testbed/libraries.h"
#include "ui/handles.h"

#include <memory>
#include <vector>

using kvsuprt::Entry;
using kvsuprt::Guarded;
using kvsuprt::Target;
namespace knobs = testbed::knobs;

struct support_value {
    Entry entry;
};

// A search hands out what the section held when it was opened: entries deleted meanwhile (the
// caller's own deletions included) don't disturb it.
struct support_search {
    std::vector<Entry> entries;
    size_t next = 0;
};

namespace {

DWORD ReadAs(const wchar_t* path, Entry::Kind kind, Entry& entry) {
    Target target;
    DWORD error = kvsuprt::Resolve(path, knobs::kRead, target);
    if (error == ERROR_SUCCESS) error = kvsuprt::ReadEntry(target, entry);
    if (error == ERROR_SUCCESS && entry.kind != kind) error = ERROR_INVALID_DATATYPE;
    return error;
}

DWORD Write(const wchar_t* path, DWORD type, const void* data, DWORD size) {
    Target target;
    DWORD error = kvsuprt::Resolve(path, knobs::kWrite, target);
    if (error != ERROR_SUCCESS) return error;
    if (target.section) return ERROR_INVALID_DATATYPE;
    return ::RegSetKeyValueW(target.hive, target.parent.c_str(), target.name.c_str(), type, data,
                             size);
}

DWORD ListSection(const Target& target, std::vector<Entry>& entries) {
    ui::UniqueHKey key;
    LSTATUS status = ::RegOpenKeyExW(target.hive, target.key.c_str(), 0, KEY_READ, key.put());
    if (status != ERROR_SUCCESS) return status;
    std::vector<wchar_t> name(16384);  // the registry's longest value name, plus one
    for (DWORD i = 0;; ++i) {
        auto length = static_cast<DWORD>(name.size());
        status =
            ::RegEnumKeyExW(key.get(), i, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) break;
        if (status != ERROR_SUCCESS) return status;
        entries.push_back(Entry{Entry::Kind::kSection, name.data(), 0, {}});
    }
    for (DWORD i = 0;; ++i) {
        auto length = static_cast<DWORD>(name.size());
        status =
            ::RegEnumValueW(key.get(), i, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) break;
        if (status != ERROR_SUCCESS) return status;
        Entry entry;
        // Values of other types are not parameters of the store.
        if (kvsuprt::ReadParameter(key.get(), name.data(), entry) == ERROR_SUCCESS)
            entries.push_back(std::move(entry));
    }
    return ERROR_SUCCESS;
}

}  // namespace

extern "C" {

DWORD support_registry_get_string(const wchar_t* path, DWORD* length, wchar_t* buffer) {
    return Guarded([&] {
        Entry entry;
        DWORD error = ReadAs(path, Entry::Kind::kText, entry);
        return error ? error : kvsuprt::CopyText(entry.text, length, buffer);
    });
}

DWORD support_registry_put_string(const wchar_t* path, const wchar_t* value) {
    if (!value) return ERROR_INVALID_PARAMETER;
    return Guarded([&] {
        auto size = static_cast<DWORD>((wcslen(value) + 1) * sizeof(wchar_t));
        return Write(path, REG_SZ, value, size);
    });
}

DWORD support_registry_get_long(const wchar_t* path, DWORD* value) {
    if (!value) return ERROR_INVALID_PARAMETER;
    return Guarded([&] {
        Entry entry;
        DWORD error = ReadAs(path, Entry::Kind::kNumber, entry);
        if (error == ERROR_SUCCESS) *value = entry.number;
        return error;
    });
}

DWORD support_registry_put_long(const wchar_t* path, DWORD value) {
    return Guarded([&] { return Write(path, REG_DWORD, &value, sizeof(value)); });
}

// Flags are numbers 0 and 1 in the store; any other number reads as set.
DWORD support_registry_get_bool(const wchar_t* path, BOOL* value) {
    if (!value) return ERROR_INVALID_PARAMETER;
    return Guarded([&] {
        Entry entry;
        DWORD error = ReadAs(path, Entry::Kind::kNumber, entry);
        if (error == ERROR_SUCCESS) *value = entry.number != 0;
        return error;
    });
}

DWORD support_registry_put_bool(const wchar_t* path, BOOL value) {
    DWORD number = value ? 1 : 0;
    return Guarded([&] { return Write(path, REG_DWORD, &number, sizeof(number)); });
}

DWORD support_registry_put_section(const wchar_t* path) {
    return Guarded([&] {
        Target target;
        DWORD error = kvsuprt::Resolve(path, knobs::kWrite, target);
        if (error != ERROR_SUCCESS || target.section) return error;
        ui::UniqueHKey key;
        return static_cast<DWORD>(::RegCreateKeyExW(target.hive, target.key.c_str(), 0, nullptr, 0,
                                                    KEY_READ, nullptr, key.put(), nullptr));
    });
}

DWORD support_registry_delete_param(const wchar_t* path) {
    return Guarded([&] {
        Target target;
        DWORD error = kvsuprt::Resolve(path, knobs::kRemove, target);
        if (error != ERROR_SUCCESS) return error;
        if (target.section) return static_cast<DWORD>(ERROR_INVALID_DATATYPE);
        return static_cast<DWORD>(
            ::RegDeleteKeyValueW(target.hive, target.parent.c_str(), target.name.c_str()));
    });
}

// `flags` is reserved: callers pass 0.
DWORD support_registry_delete_section(const wchar_t* path, DWORD /*flags*/) {
    return Guarded([&] {
        Target target;
        DWORD error = kvsuprt::Resolve(path, knobs::kRemove, target);
        if (error != ERROR_SUCCESS) return error;
        if (target.scope) return static_cast<DWORD>(ERROR_ACCESS_DENIED);
        if (!target.section) return static_cast<DWORD>(ERROR_FILE_NOT_FOUND);
        return static_cast<DWORD>(::RegDeleteTreeW(target.hive, target.key.c_str()));
    });
}

// Leaves in *rights those of the asked rights that the path grants. The path must exist: callers
// create a section with support_registry_put_section before they ask about it.
DWORD support_registry_check_access(const wchar_t* path, DWORD* rights) {
    if (!rights) return ERROR_INVALID_PARAMETER;
    return Guarded([&] {
        Target target;
        DWORD error = kvsuprt::Resolve(path, 0, target);
        Entry entry;
        if (error == ERROR_SUCCESS) error = kvsuprt::ReadEntry(target, entry);
        if (error == ERROR_INVALID_DATATYPE) error = ERROR_SUCCESS;  // exists, of another type
        if (error == ERROR_SUCCESS) *rights &= kvsuprt::GrantedRights(target);
        return error;
    });
}

DWORD support_registry_search_open(const wchar_t* path, SUPPORT_SEARCH* search) {
    if (!search) return ERROR_INVALID_PARAMETER;
    return Guarded([&] {
        Target target;
        DWORD error = kvsuprt::Resolve(path, knobs::kRead, target);
        if (error != ERROR_SUCCESS) return error;
        if (!target.section) return static_cast<DWORD>(ERROR_FILE_NOT_FOUND);
        auto opened = std::make_unique<support_search>();
        error = ListSection(target, opened->entries);
        if (error == ERROR_SUCCESS) *search = opened.release();
        return error;
    });
}

DWORD support_registry_search_next(SUPPORT_SEARCH search, SUPPORT_VALUE* value) {
    if (!search || !value) return ERROR_INVALID_PARAMETER;
    if (search->next == search->entries.size()) return ERROR_NO_MORE_ITEMS;
    return Guarded([&] {
        *value = new support_value{search->entries[search->next]};
        ++search->next;
        return static_cast<DWORD>(ERROR_SUCCESS);
    });
}

DWORD support_registry_search_close(SUPPORT_SEARCH search) {
    delete search;
    return ERROR_SUCCESS;
}

DWORD support_registry_find(const wchar_t* path, SUPPORT_VALUE* value) {
    if (!value) return ERROR_INVALID_PARAMETER;
    return Guarded([&] {
        Target target;
        Entry entry;
        DWORD error = kvsuprt::Resolve(path, knobs::kRead, target);
        if (error == ERROR_SUCCESS) error = kvsuprt::ReadEntry(target, entry);
        if (error == ERROR_SUCCESS) *value = new support_value{std::move(entry)};
        return error;
    });
}

DWORD support_registry_value_long(SUPPORT_VALUE value, DWORD* number) {
    if (!value || !number) return ERROR_INVALID_PARAMETER;
    if (value->entry.kind != Entry::Kind::kNumber) return ERROR_INVALID_DATATYPE;
    *number = value->entry.number;
    return ERROR_SUCCESS;
}

DWORD support_registry_value_name(SUPPORT_VALUE value, DWORD* length, wchar_t* buffer) {
    if (!value) return ERROR_INVALID_PARAMETER;
    return kvsuprt::CopyText(value->entry.name, length, buffer);
}

DWORD support_registry_value_free(SUPPORT_VALUE value) {
    delete value;
    return ERROR_SUCCESS;
}

}  // extern "C"
