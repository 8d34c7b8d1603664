// The system's certificate dialogs that MinGW's cryptuiapi.h does not declare.
#pragma once

#include <windows.h>
#include <wincrypt.h>
#include <prsht.h>

namespace applet {

using CertFilter = BOOL(WINAPI*)(PCCERT_CONTEXT, BOOL*, void*);
using CertDisplay = BOOL(WINAPI*)(PCCERT_CONTEXT, HWND, void*);
struct SelectCertificateRequest {
    DWORD dwSize;
    HWND hwndParent;
    DWORD dwFlags;
    LPCWSTR szTitle;
    DWORD dwDontUseColumn;
    LPCWSTR szDisplayString;
    CertFilter pFilterCallback;
    CertDisplay pDisplayCallback;
    void* pvCallbackData;
    DWORD cDisplayStores;
    HCERTSTORE* rghDisplayStores;
    DWORD cStores;
    HCERTSTORE* rghStores;
    DWORD cPropSheetPages;
    LPCPROPSHEETPAGEW rgPropSheetPages;
    HCERTSTORE hSelectedCertStore;
};
constexpr DWORD kDontShowLocation = 0x10;  // CRYPTUI_SELECT_LOCATION_COLUMN

struct SystemStoreEnumArgs {
    DWORD dwFlags;
    const void* pvSystemStoreLocationPara;
};
struct StoreEnumData {
    DWORD cStores;
    HCERTSTORE* rghStore;
    DWORD cEnumArgs;
    SystemStoreEnumArgs* rgEnumArgs;
};
struct SelectStoreRequest {
    DWORD dwSize;
    HWND parent;
    DWORD dwFlags;
    LPWSTR pwszTitle;
    LPWSTR pwszText;
    StoreEnumData* pEnumData;
    BOOL(WINAPI* pfnSelectedStoreCallback)(HCERTSTORE, HWND, void*);
    void* pvArg;
};
// CRYPTUI_ENABLE_SHOW_PHYSICAL_STORE | CRYPTUI_RETURN_READ_ONLY_STORE
constexpr DWORD kSelectStoreFlags = 9;

}  // namespace applet

extern "C" {
PCCERT_CONTEXT WINAPI CryptUIDlgSelectCertificateW(const applet::SelectCertificateRequest*);
HCERTSTORE WINAPI CryptUIDlgSelectStoreW(applet::SelectStoreRequest*);
}
