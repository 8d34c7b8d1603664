// The exported functions of the stand-in product libraries, as C declarations. The libraries
// define them against this header, so a signature can't drift from what testbed/README.md
// promises; tests use it to type what GetProcAddress returns:
//     auto get = reinterpret_cast<decltype(&support_registry_get_long)>(
//         GetProcAddress(module, "support_registry_get_long"));
//
// Every function that returns DWORD answers 0 on success and a Win32 error code otherwise.
// Text lengths are in characters and never count the terminating NUL: on the way in, *length is
// what the buffer holds besides the NUL (a buffer of *length + 1 characters); on the way out, the
// length of the text. A null buffer asks for the length only (result 0); a buffer that is too
// small gives ERROR_MORE_DATA with the length needed and leaves the buffer as it was.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct support_search* SUPPORT_SEARCH;
typedef struct support_value* SUPPORT_VALUE;
typedef struct supsys_context* SUPSYS_CONTEXT;
typedef struct supsys_find* SUPSYS_FIND;

// kvsuprt.dll: resources in the product's language.
DWORD support_resource_string(HINSTANCE module, UINT id, wchar_t* buffer, DWORD* length);
DWORD support_resource_version_string(const wchar_t* name, HINSTANCE module, wchar_t* buffer,
                                      DWORD* length);
DWORD support_wnd_language_get(void);
DWORD support_wnd_language_update(void);
DWORD support_wnd_language_done(void);

// kvsuprt.dll: the configuration store.
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
DWORD support_registry_search_open(const wchar_t* path, SUPPORT_SEARCH* search);
DWORD support_registry_search_next(SUPPORT_SEARCH search, SUPPORT_VALUE* value);
DWORD support_registry_search_close(SUPPORT_SEARCH search);
DWORD support_registry_find(const wchar_t* path, SUPPORT_VALUE* value);
DWORD support_registry_value_long(SUPPORT_VALUE value, DWORD* number);
DWORD support_registry_value_name(SUPPORT_VALUE value, DWORD* length, wchar_t* buffer);
DWORD support_registry_value_free(SUPPORT_VALUE value);

// kvsuprt.dll: reader subsystems.
DWORD supsys_context_new(SUPSYS_CONTEXT* registration);
DWORD supsys_register_all(SUPSYS_CONTEXT registration);
DWORD supsys_unregister_all(SUPSYS_CONTEXT registration, BOOL release);
DWORD supsys_find_open(SUPSYS_CONTEXT registration, SUPSYS_FIND* find);
DWORD supsys_find_next(SUPSYS_FIND find, SUPSYS_CONTEXT* reader);
DWORD supsys_find_close(SUPSYS_FIND find);
DWORD supsys_nickname(SUPSYS_CONTEXT reader, DWORD* length, wchar_t* buffer);
DWORD supsys_connect_current(SUPSYS_CONTEXT reader, DWORD* length, wchar_t* buffer);
DWORD supsys_register_name(SUPSYS_CONTEXT reader, DWORD* length, wchar_t* buffer);
DWORD supsys_context_free(SUPSYS_CONTEXT context);

// kvrdr.dll
typedef struct rdr_wnd_request {
    DWORD size;  // sizeof(RDR_WND_REQUEST), 16
    HWND parent;
} RDR_WND_REQUEST;
DWORD rdr_wnd_configure(const RDR_WND_REQUEST* request);
DWORD rdr_media_wnd_configure(const RDR_WND_REQUEST* request);
DWORD rdr_register_start(SUPSYS_CONTEXT* registration);

// kvrndm.dll
DWORD rndm_wnd_configure(HWND parent);

// kvcrypt.dll
BOOL WINAPI SetThreadDefaultCryptProv(HCRYPTPROV prov);

// Not installed: tests load these from the build tree (testbed/uninstalled).
// kvprobe.dll notes how it was loaded: GetErrorMode() while it attached, and the root manifest
// of the activation context then active ("" when none was).
UINT probe_error_mode(void);
const wchar_t* probe_activation_manifest(void);
// activeds.dll keeps the directory service's extended error that ADsSetLastError gives it.
HRESULT WINAPI ADsGetLastError(DWORD* error, wchar_t* text, DWORD textLength, wchar_t* provider,
                               DWORD providerLength);
void WINAPI ADsSetLastError(DWORD error, const wchar_t* text, const wchar_t* provider);

#ifdef __cplusplus
}
#endif
