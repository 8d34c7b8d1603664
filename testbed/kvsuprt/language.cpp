// The product's user interface language: the user's choice, else the machine's, else the
// system's. Read once and kept until support_wnd_language_update reads it again; the library's
// callers use it from one thread only.
#include "kvsuprt/guard.h"
#include "kvsuprt/language.h"
#include "kvsuprt/store.h"
#include "common/knob.h"
#include "testbed/knobs.h"
#include "testbed/libraries.h"

namespace kvsuprt {
namespace {

constexpr LANGID kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);  // 1033
constexpr LANGID kRussian = MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT);     // 1049

LANGID g_language = 0;  // 0 until read

// A stored language counts only when the product speaks it.
bool ReadStoredLanguage(const wchar_t* path, LANGID& language) {
    Target target;
    Entry entry;
    if (Resolve(path, 0, target) != ERROR_SUCCESS || ReadEntry(target, entry) != ERROR_SUCCESS ||
        entry.kind != Entry::Kind::kNumber)
        return false;
    if (entry.number != kEnglish && entry.number != kRussian &&
        !testbed::ReadKnob(testbed::knobs::kRoot, testbed::knobs::kLanguageAsStored, 0))
        return false;
    language = static_cast<LANGID>(entry.number);
    return true;
}

LANGID ReadLanguage() {
    LANGID language = 0;
    if (ReadStoredLanguage(L"\\local\\Language", language) ||
        ReadStoredLanguage(L"\\config\\Language", language))
        return language;
    return PRIMARYLANGID(::GetSystemDefaultUILanguage()) == LANG_RUSSIAN ? kRussian : kEnglish;
}

}  // namespace

LANGID CurrentLanguage() {
    if (!g_language) g_language = ReadLanguage();
    return g_language;
}

void RereadLanguage() {
    g_language = ReadLanguage();
}

void ForgetLanguage() noexcept {
    g_language = 0;
}

}  // namespace kvsuprt

extern "C" {

DWORD support_wnd_language_get(void) {
    LANGID language = 0;
    kvsuprt::Guarded([&] {
        language = kvsuprt::CurrentLanguage();
        return static_cast<DWORD>(ERROR_SUCCESS);
    });
    return language;
}

DWORD support_wnd_language_update(void) {
    return kvsuprt::Guarded([] {
        kvsuprt::RereadLanguage();
        return static_cast<DWORD>(ERROR_SUCCESS);
    });
}

DWORD support_wnd_language_done(void) {
    kvsuprt::ForgetLanguage();
    return ERROR_SUCCESS;
}

}  // extern "C"
