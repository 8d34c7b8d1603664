// The product's support library (kvsuprt.dll), bound at run time: the configuration store, the
// user interface language and localised resource strings. Every function returns 0 on success,
// kLibraryLoadFailed / kLibraryMissing from the binding, else the library's own error code.
// Lengths are in characters without the terminating NUL; a null buffer asks for the length.
#pragma once

#include "applet/library_binding.h"
#include "ui/handles.h"

#include <windows.h>

namespace applet {

// The one binding of the process; the applet takes a reference at CPL_INIT.
LibraryBinding& SupportLibrary();
DWORD LoadSupportLibrary();
void ReleaseSupportLibrary();

}  // namespace applet

namespace support {

using Search = void*;
using Value = void*;
using Context = void*;
using Find = void*;

DWORD support_resource_string(HINSTANCE module, UINT id, wchar_t* buffer, DWORD* length);
DWORD support_resource_version_string(const wchar_t* name, HINSTANCE module, wchar_t* buffer,
                                      DWORD* length);
DWORD support_registry_get_string(const wchar_t* path, DWORD* length, wchar_t* buffer);
DWORD support_registry_put_string(const wchar_t* path, const wchar_t* value);
DWORD support_registry_get_long(const wchar_t* path, DWORD* value);
DWORD support_registry_put_long(const wchar_t* path, DWORD value);
DWORD support_registry_get_bool(const wchar_t* path, BOOL* value);
DWORD support_registry_put_bool(const wchar_t* path, BOOL value);
DWORD support_registry_put_section(const wchar_t* path);
DWORD support_registry_delete_param(const wchar_t* path);
DWORD support_registry_delete_section(const wchar_t* path, DWORD flags);
DWORD support_registry_check_access(const wchar_t* path, DWORD* rights);
DWORD support_registry_search_open(const wchar_t* path, Search* search);
DWORD support_registry_search_next(Search search, Value* value);
DWORD support_registry_search_close(Search search);
DWORD support_registry_find(const wchar_t* path, Value* value);
DWORD support_registry_value_long(Value value, DWORD* number);
DWORD support_registry_value_name(Value value, DWORD* length, wchar_t* buffer);
DWORD support_registry_value_free(Value value);
DWORD supsys_nickname(Context reader, DWORD* length, wchar_t* buffer);
DWORD supsys_find_open(Context registration, Find* find);
DWORD supsys_find_next(Find find, Context* reader);
DWORD supsys_find_close(Find find);
DWORD supsys_register_all(Context registration);
DWORD supsys_unregister_all(Context registration, BOOL release);
DWORD supsys_register_name(Context reader, DWORD* length, wchar_t* buffer);
DWORD supsys_context_free(Context context);
DWORD supsys_connect_current(Context reader, DWORD* length, wchar_t* buffer);
DWORD support_wnd_language_get();
DWORD support_wnd_language_update();
DWORD support_wnd_language_done();

// Rights asked of support_registry_check_access.
constexpr DWORD kRightWrite = 2;
constexpr DWORD kRightRemove = 8;

// True when the store grants write access to `path`.
bool MayWrite(const wchar_t* path);

// Owners of the library's searches and value objects.
struct SearchTraits : ui::traits::Base<Search> {
    static void close(Search search) noexcept { support_registry_search_close(search); }
};
struct ValueTraits : ui::traits::Base<Value> {
    static void close(Value value) noexcept { support_registry_value_free(value); }
};
using UniqueSearch = ui::UniqueHandle<SearchTraits>;
using UniqueValue = ui::UniqueHandle<ValueTraits>;

}  // namespace support

// Paths of the configuration store that the applet reads and writes.
namespace store {
constexpr wchar_t kConfig[] = L"\\config";
constexpr wchar_t kLocal[] = L"\\local";
constexpr wchar_t kGlobal[] = L"\\global";
constexpr wchar_t kConfigLanguage[] = L"\\config\\Language";
constexpr wchar_t kLocalLanguage[] = L"\\local\\Language";
constexpr wchar_t kConfigOid[] = L"\\config\\oid";
constexpr wchar_t kParameters[] = L"\\config\\Parameters";
constexpr wchar_t kDisableShortcuts[] = L"\\config\\Parameters\\DisableShortcuts";
constexpr wchar_t kParameterFormat[] = L"\\config\\Parameters\\%s";
constexpr wchar_t kDisableWinlogon[] = L"\\config\\Parameters\\DisableWL";
constexpr wchar_t kProvider[] = L"\\config\\Provider";
constexpr wchar_t kProductPrefix[] = L"\\CONFIG\\";  // followed by the installer product code
constexpr wchar_t kLocalKeyDevices[] = L"\\local\\KeyDevices";
constexpr wchar_t kGlobalKeyDevices[] = L"\\global\\KeyDevices";
constexpr wchar_t kLocalPasswords[] = L"\\local\\KeyDevices\\passwords";
constexpr wchar_t kGlobalPasswords[] = L"\\global\\KeyDevices\\passwords";
}  // namespace store
