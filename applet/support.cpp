#include "applet/support.h"

namespace applet {

namespace {

// Slots of the binding, in the order of the names below.
enum Slot : size_t {
    kResourceString,
    kResourceVersionString,
    kGetString,
    kPutString,
    kGetLong,
    kPutLong,
    kGetBool,
    kPutBool,
    kPutSection,
    kDeleteParam,
    kDeleteSection,
    kCheckAccess,
    kSearchOpen,
    kSearchNext,
    kSearchClose,
    kFind,
    kValueLong,
    kValueName,
    kValueFree,
    kNickname,
    kFindOpen,
    kFindNext,
    kFindClose,
    kRegisterAll,
    kUnregisterAll,
    kRegisterName,
    kContextFree,
    kConnectCurrent,
    kLanguageGet,
    kLanguageUpdate,
    kLanguageDone,
};

}  // namespace

LibraryBinding& SupportLibrary() {
    static LibraryBinding binding(
        L"kvsuprt.dll",
        {"support_resource_string", "support_resource_version_string",
         "support_registry_get_string", "support_registry_put_string", "support_registry_get_long",
         "support_registry_put_long", "support_registry_get_bool", "support_registry_put_bool",
         "support_registry_put_section", "support_registry_delete_param",
         "support_registry_delete_section", "support_registry_check_access",
         "support_registry_search_open", "support_registry_search_next",
         "support_registry_search_close", "support_registry_find", "support_registry_value_long",
         "support_registry_value_name", "support_registry_value_free", "supsys_nickname",
         "supsys_find_open", "supsys_find_next", "supsys_find_close", "supsys_register_all",
         "supsys_unregister_all", "supsys_register_name", "supsys_context_free",
         "supsys_connect_current", "support_wnd_language_get", "support_wnd_language_update",
         "support_wnd_language_done"});
    return binding;
}

DWORD LoadSupportLibrary() { return SupportLibrary().AddRef(); }
void ReleaseSupportLibrary() { SupportLibrary().Release(); }

}  // namespace applet

namespace support {

namespace {

template <class Fn, class... Args>
DWORD Call(applet::Slot slot, Args... args) {
    return applet::SupportLibrary().Call<Fn>(slot, args...);
}

using PathFn = DWORD (*)(const wchar_t*);
using PathLengthTextFn = DWORD (*)(const wchar_t*, DWORD*, wchar_t*);
using HandleLengthTextFn = DWORD (*)(void*, DWORD*, wchar_t*);
using HandleFn = DWORD (*)(void*);
using HandleOutFn = DWORD (*)(void*, void**);
using NoArgFn = DWORD (*)();

}  // namespace

using namespace applet;

DWORD support_resource_string(HINSTANCE module, UINT id, wchar_t* buffer, DWORD* length) {
    return Call<DWORD (*)(HINSTANCE, UINT, wchar_t*, DWORD*)>(kResourceString, module, id, buffer,
                                                               length);
}
DWORD support_resource_version_string(const wchar_t* name, HINSTANCE module, wchar_t* buffer,
                                      DWORD* length) {
    return Call<DWORD (*)(const wchar_t*, HINSTANCE, wchar_t*, DWORD*)>(
        kResourceVersionString, name, module, buffer, length);
}
DWORD support_registry_get_string(const wchar_t* path, DWORD* length, wchar_t* buffer) {
    return Call<PathLengthTextFn>(kGetString, path, length, buffer);
}
DWORD support_registry_put_string(const wchar_t* path, const wchar_t* value) {
    return Call<DWORD (*)(const wchar_t*, const wchar_t*)>(kPutString, path, value);
}
DWORD support_registry_get_long(const wchar_t* path, DWORD* value) {
    return Call<DWORD (*)(const wchar_t*, DWORD*)>(kGetLong, path, value);
}
DWORD support_registry_put_long(const wchar_t* path, DWORD value) {
    return Call<DWORD (*)(const wchar_t*, DWORD)>(kPutLong, path, value);
}
DWORD support_registry_get_bool(const wchar_t* path, BOOL* value) {
    return Call<DWORD (*)(const wchar_t*, BOOL*)>(kGetBool, path, value);
}
DWORD support_registry_put_bool(const wchar_t* path, BOOL value) {
    return Call<DWORD (*)(const wchar_t*, BOOL)>(kPutBool, path, value);
}
DWORD support_registry_put_section(const wchar_t* path) { return Call<PathFn>(kPutSection, path); }
DWORD support_registry_delete_param(const wchar_t* path) { return Call<PathFn>(kDeleteParam, path); }
DWORD support_registry_delete_section(const wchar_t* path, DWORD flags) {
    return Call<DWORD (*)(const wchar_t*, DWORD)>(kDeleteSection, path, flags);
}
DWORD support_registry_check_access(const wchar_t* path, DWORD* rights) {
    return Call<DWORD (*)(const wchar_t*, DWORD*)>(kCheckAccess, path, rights);
}
DWORD support_registry_search_open(const wchar_t* path, Search* search) {
    return Call<DWORD (*)(const wchar_t*, Search*)>(kSearchOpen, path, search);
}
DWORD support_registry_search_next(Search search, Value* value) {
    return Call<HandleOutFn>(kSearchNext, search, value);
}
DWORD support_registry_search_close(Search search) { return Call<HandleFn>(kSearchClose, search); }
DWORD support_registry_find(const wchar_t* path, Value* value) {
    return Call<DWORD (*)(const wchar_t*, Value*)>(kFind, path, value);
}
DWORD support_registry_value_long(Value value, DWORD* number) {
    return Call<DWORD (*)(Value, DWORD*)>(kValueLong, value, number);
}
DWORD support_registry_value_name(Value value, DWORD* length, wchar_t* buffer) {
    return Call<HandleLengthTextFn>(kValueName, value, length, buffer);
}
DWORD support_registry_value_free(Value value) { return Call<HandleFn>(kValueFree, value); }
DWORD supsys_nickname(Context reader, DWORD* length, wchar_t* buffer) {
    return Call<HandleLengthTextFn>(kNickname, reader, length, buffer);
}
DWORD supsys_find_open(Context registration, Find* find) {
    return Call<HandleOutFn>(kFindOpen, registration, find);
}
DWORD supsys_find_next(Find find, Context* reader) {
    return Call<HandleOutFn>(kFindNext, find, reader);
}
DWORD supsys_find_close(Find find) { return Call<HandleFn>(kFindClose, find); }
DWORD supsys_register_all(Context registration) {
    return Call<HandleFn>(kRegisterAll, registration);
}
DWORD supsys_unregister_all(Context registration, BOOL release) {
    return Call<DWORD (*)(Context, BOOL)>(kUnregisterAll, registration, release);
}
DWORD supsys_register_name(Context reader, DWORD* length, wchar_t* buffer) {
    return Call<HandleLengthTextFn>(kRegisterName, reader, length, buffer);
}
DWORD supsys_context_free(Context context) { return Call<HandleFn>(kContextFree, context); }
DWORD supsys_connect_current(Context reader, DWORD* length, wchar_t* buffer) {
    return Call<HandleLengthTextFn>(kConnectCurrent, reader, length, buffer);
}
DWORD support_wnd_language_get() { return Call<NoArgFn>(kLanguageGet); }
DWORD support_wnd_language_update() { return Call<NoArgFn>(kLanguageUpdate); }
DWORD support_wnd_language_done() { return Call<NoArgFn>(kLanguageDone); }

bool MayWrite(const wchar_t* path) {
    DWORD rights = kRightWrite;
    return support_registry_check_access(path, &rights) == 0 && (rights & kRightWrite);
}

}  // namespace support
