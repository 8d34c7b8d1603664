// Reader subsystems. A registration context (handed out to the reader library's
// rdr_register_start) learns the readers present from the knobs when they are registered; a
// search over it hands out one reader context per reader.
#include "kvsuprt/guard.h"
#include "kvsuprt/store.h"
#include "testbed/knobs.h"
#include "testbed/libraries.h"
#include "ui/handles.h"

#include <iterator>
#include <optional>
#include <vector>

namespace {

struct Reader {
    std::wstring nickname;
    std::wstring connect;
    std::optional<std::wstring> display_name;
    DWORD nickname_error = ERROR_SUCCESS;
};

std::optional<std::wstring> ReadText(HKEY key, const wchar_t* name) {
    kvsuprt::Entry entry;
    if (kvsuprt::ReadParameter(key, name, entry) != ERROR_SUCCESS ||
        entry.kind != kvsuprt::Entry::Kind::kText)
        return std::nullopt;
    return entry.text;
}

std::vector<Reader> ReadersPresent() {
    std::vector<Reader> readers;
    ui::UniqueHKey list;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, testbed::knobs::kReaders, 0, KEY_READ, list.put()) !=
        ERROR_SUCCESS)
        return readers;
    wchar_t name[256];
    for (DWORD i = 0;; ++i) {
        DWORD length = static_cast<DWORD>(std::size(name));
        if (::RegEnumKeyExW(list.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            break;
        ui::UniqueHKey key;
        if (::RegOpenKeyExW(list.get(), name, 0, KEY_READ, key.put()) != ERROR_SUCCESS) continue;
        DWORD error = ERROR_SUCCESS, size = sizeof(error);
        ::RegGetValueW(key.get(), nullptr, testbed::knobs::kNicknameError, RRF_RT_REG_DWORD,
                       nullptr, &error, &size);
        readers.push_back(Reader{name, ReadText(key.get(), testbed::knobs::kConnect).value_or(L""),
                                 ReadText(key.get(), testbed::knobs::kDisplayName), error});
    }
    return readers;
}

}  // namespace

// Either a registration (the readers registered through it) or one reader.
struct supsys_context {
    bool registration = false;
    std::vector<Reader> readers;
    Reader reader;
};

struct supsys_find {
    std::vector<Reader> readers;
    size_t next = 0;
};

namespace {

// One of a reader's names; `name` picks it (empty optional: that name can't be read).
template <class Name>
DWORD ReaderText(SUPSYS_CONTEXT reader, Name name, DWORD* length, wchar_t* buffer) {
    if (!reader || reader->registration) return ERROR_INVALID_HANDLE;
    return kvsuprt::Guarded([&] {
        std::optional<std::wstring> text = name(reader->reader);
        return text ? kvsuprt::CopyText(*text, length, buffer)
                    : static_cast<DWORD>(ERROR_FILE_NOT_FOUND);
    });
}

}  // namespace

extern "C" {

DWORD supsys_context_new(SUPSYS_CONTEXT* registration) {
    if (!registration) return ERROR_INVALID_PARAMETER;
    return kvsuprt::Guarded([&] {
        *registration = new supsys_context{true, {}, {}};
        return static_cast<DWORD>(ERROR_SUCCESS);
    });
}

DWORD supsys_register_all(SUPSYS_CONTEXT registration) {
    if (!registration || !registration->registration) return ERROR_INVALID_HANDLE;
    return kvsuprt::Guarded([&] {
        registration->readers = ReadersPresent();
        return static_cast<DWORD>(ERROR_SUCCESS);
    });
}

// `release` nonzero also frees the registration context.
DWORD supsys_unregister_all(SUPSYS_CONTEXT registration, BOOL release) {
    if (!registration || !registration->registration) return ERROR_INVALID_HANDLE;
    registration->readers.clear();
    if (release) delete registration;
    return ERROR_SUCCESS;
}

DWORD supsys_find_open(SUPSYS_CONTEXT registration, SUPSYS_FIND* find) {
    if (!registration || !registration->registration) return ERROR_INVALID_HANDLE;
    if (!find) return ERROR_INVALID_PARAMETER;
    return kvsuprt::Guarded([&] {
        *find = new supsys_find{registration->readers, 0};
        return static_cast<DWORD>(ERROR_SUCCESS);
    });
}

DWORD supsys_find_next(SUPSYS_FIND find, SUPSYS_CONTEXT* reader) {
    if (!find || !reader) return ERROR_INVALID_PARAMETER;
    if (find->next == find->readers.size()) return ERROR_NO_MORE_ITEMS;
    return kvsuprt::Guarded([&] {
        *reader = new supsys_context{false, {}, find->readers[find->next]};
        ++find->next;
        return static_cast<DWORD>(ERROR_SUCCESS);
    });
}

DWORD supsys_find_close(SUPSYS_FIND find) {
    delete find;
    return ERROR_SUCCESS;
}

DWORD supsys_nickname(SUPSYS_CONTEXT reader, DWORD* length, wchar_t* buffer) {
    if (reader && !reader->registration && reader->reader.nickname_error)
        return reader->reader.nickname_error;
    return ReaderText(
        reader, [](const Reader& r) { return std::optional(r.nickname); }, length, buffer);
}

DWORD supsys_connect_current(SUPSYS_CONTEXT reader, DWORD* length, wchar_t* buffer) {
    return ReaderText(
        reader, [](const Reader& r) { return std::optional(r.connect); }, length, buffer);
}

DWORD supsys_register_name(SUPSYS_CONTEXT reader, DWORD* length, wchar_t* buffer) {
    return ReaderText(
        reader, [](const Reader& r) { return r.display_name; }, length, buffer);
}

DWORD supsys_context_free(SUPSYS_CONTEXT context) {
    delete context;
    return ERROR_SUCCESS;
}

}  // extern "C"
