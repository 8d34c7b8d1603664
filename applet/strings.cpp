#include "applet/strings.h"

#include "applet/module_state.h"
#include "applet/support.h"
#include "resource.h"
#include "ui/handles.h"
#include "ui/message_box.h"
#include "ui/resources.h"

#include <cstdarg>
#include <cwchar>

namespace applet {

std::wstring Wide(const std::string& text) {
    if (text.empty()) return {};
    const int chars =
        ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring wide(chars > 0 ? chars : 0, L'\0');
    if (chars > 0)
        ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                              chars);
    return wide;
}

std::string Utf8(const std::wstring& text) {
    if (text.empty()) return {};
    const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                            nullptr, 0, nullptr, nullptr);
    std::string narrow(bytes > 0 ? bytes : 0, '\0');
    if (bytes > 0)
        ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), narrow.data(),
                              bytes, nullptr, nullptr);
    return narrow;
}

namespace {

std::wstring& AppNameStorage() {
    static std::wstring name;
    return name;
}

HWND MessageOwner() { return ::GetActiveWindow(); }

constexpr LANGID kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
constexpr LANGID kRussian = MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT);
constexpr wchar_t kSupportLibraryFile[] = L"kvsuprt.dll";

// Whether the module carries its texts, and with them its templates, in `language`.
bool Carries(LANGID language) {
    return ::FindResourceExW(Module(), RT_STRING, MAKEINTRESOURCEW(IDS_APP_TITLE / 16 + 1),
                             language) != nullptr;
}

// The module's own language nearest to the Windows user interface language `windows`.
LANGID OwnLanguageFor(LANGID windows) {
    return PRIMARYLANGID(windows) == LANG_RUSSIAN ? kRussian : kEnglish;
}

// -- Error text -------------------------------------------------------------------------------

constexpr DWORD kTextCapacity = 1024;

std::wstring FormatFrom(DWORD source, HMODULE module, DWORD code, LANGID language) {
    wchar_t buffer[kTextCapacity];
    const DWORD flags = source | FORMAT_MESSAGE_IGNORE_INSERTS;
    DWORD n = ::FormatMessageW(flags, module, code, language, buffer, kTextCapacity, nullptr);
    if (n == 0 && language != 0)
        n = ::FormatMessageW(flags, module, code, 0, buffer, kTextCapacity, nullptr);
    return std::wstring(buffer, n);
}

HMODULE LoadedUnder(HANDLE context, const wchar_t* name) {
    ULONG_PTR cookie = 0;
    if (!::ActivateActCtx(context, &cookie)) return nullptr;
    HMODULE module = ::GetModuleHandleW(name);
    ::DeactivateActCtx(0, cookie);
    return module;
}

// A product client library, already loaded, seen from this module's activation context or,
// failing that, from the signature library's (its message tables are installed beside it).
HMODULE ProductMessageModule(const wchar_t* name) {
    HMODULE module;
    {
        ActivationScope own;
        module = ::GetModuleHandleW(name);
    }
    if (module) return module;
    HMODULE signature = ::GetModuleHandleW(L"kvsign.dll");
    if (!signature) return nullptr;
    static HANDLE signatureContext = [signature] {
        ACTCTXW info{};
        info.cbSize = sizeof(info);
        info.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
        info.hModule = signature;
        info.lpResourceName = MAKEINTRESOURCEW(2);
        return ::CreateActCtxW(&info);
    }();
    return signatureContext == INVALID_HANDLE_VALUE ? nullptr
                                                    : LoadedUnder(signatureContext, name);
}

HMODULE MessageModuleFor(DWORD code) {
    HMODULE module = nullptr;
    switch ((code >> 16) & 0x1FFF) {
        case 14:
            module = ::GetModuleHandleW(L"mqutil.dll");
            break;
        case 528:
            module = ProductMessageModule(L"kvstamp.dll");
            break;
        case 529:
            module = ProductMessageModule(L"kvstatus.dll");
            break;
    }
    if (!module && LOWORD(code) >= 2100 && LOWORD(code) <= 2999)
        module = ::GetModuleHandleW(L"NETMSG");
    return module;
}

const wchar_t* DirectoryServiceName(DWORD code) {
    static const wchar_t* const names[] = {
        L"E_ADS_BAD_PATHNAME",          L"E_ADS_INVALID_DOMAIN_OBJECT",
        L"E_ADS_INVALID_USER_OBJECT",   L"E_ADS_INVALID_COMPUTER_OBJECT",
        L"E_ADS_UNKNOWN_OBJECT",        L"E_ADS_PROPERTY_NOT_SET",
        L"E_ADS_PROPERTY_NOT_SUPPORTED", L"E_ADS_PROPERTY_INVALID",
        L"E_ADS_BAD_PARAMETER",         L"E_ADS_OBJECT_UNBOUND",
        L"E_ADS_PROPERTY_NOT_MODIFIED", L"E_ADS_PROPERTY_MODIFIED",
        L"E_ADS_CANT_CONVERT_DATATYPE", L"E_ADS_PROPERTY_NOT_FOUND",
        L"E_ADS_OBJECT_EXISTS",         L"E_ADS_SCHEMA_VIOLATION",
        L"E_ADS_COLUMN_NOT_SET",        nullptr,
        nullptr,                        nullptr,
        L"E_ADS_INVALID_FILTER"};
    if (code < 0x80005000 || code > 0x80005014) return nullptr;
    return names[code - 0x80005000];
}

// The directory service's extended error of the last failing call, as " [provider, #n (text)]".
std::wstring DirectoryServiceDetail(bool haveText) {
    HMODULE activeds = ::GetModuleHandleW(L"activeds.dll");
    if (!activeds) return {};
    using GetLastErrorFn = HRESULT(WINAPI*)(DWORD*, LPWSTR, DWORD, LPWSTR, DWORD);
    auto get = reinterpret_cast<GetLastErrorFn>(
        reinterpret_cast<void*>(::GetProcAddress(activeds, "ADsGetLastError")));
    if (!get) return {};
    DWORD extended = 0;
    wchar_t text[256] = {}, provider[256] = {};
    if (FAILED(get(&extended, text, 256, provider, 256)) || extended == 0) return {};
    std::wstring part = ui::Printf(haveText ? L" [%ws, #%d (%ws)]" : L"ADs [%ws, #%d (%ws)]",
                                   provider, static_cast<int>(extended), text);
    return part.substr(0, 260);
}

}  // namespace

const std::wstring& AppName() {
    std::wstring& name = AppNameStorage();
    if (name.empty()) name = LoadStringLang(IDS_APP_TITLE);
    return name;
}

void SetAppName(std::wstring name) { AppNameStorage() = std::move(name); }

std::wstring LoadStringLang(UINT id) {
    wchar_t buffer[256] = {};
    DWORD length = 255;
    if (support::support_resource_string(Module(), id, buffer, &length) == 0)
        return std::wstring(buffer, ::wcsnlen(buffer, 255));
    // A library that speaks a language this module lacks finds none of its texts: English
    // rather than empty pages.
    const DWORD reported = support::support_wnd_language_get();
    if (reported == kLibraryMissing || Carries(LOWORD(reported))) return {};
    return ui::LoadTableString(Module(), id, kEnglish).substr(0, 255);
}

std::wstring FormatStringId(UINT id, const std::wstring& insert1, const std::wstring& insert2) {
    return ui::FormatInserts(LoadStringLang(id), {insert1, insert2});
}

std::wstring FormatStringPrintf(UINT id, ...) {
    std::wstring format = LoadStringLang(id);
    if (format.empty()) return {};
    va_list args;
    va_start(args, id);
    std::wstring text = ui::VPrintf(format.c_str(), args);
    va_end(args);
    return text;
}

int MessageBoxId(UINT id, UINT type) {
    return ui::MessageBox(MessageOwner(), LoadStringLang(id), AppName(), type, id);
}

int MessageBoxFormat(UINT id, const std::wstring& insert1, const std::wstring& insert2,
                     UINT type) {
    return ui::MessageBox(MessageOwner(), FormatStringId(id, insert1, insert2), AppName(), type,
                          id);
}

std::wstring ErrorText(DWORD code, LANGID language) {
    std::wstring text;
    if (HMODULE module = MessageModuleFor(code))
        text = FormatFrom(FORMAT_MESSAGE_FROM_HMODULE, module, code, language);
    if (text.empty()) text = FormatFrom(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code, language);
    if (text.empty()) {
        // winhttp numbers its messages without the facility.
        if (HMODULE winhttp = ::GetModuleHandleW(L"winhttp.dll"))
            text = FormatFrom(FORMAT_MESSAGE_FROM_HMODULE, winhttp, LOWORD(code), language);
    }
    for (const wchar_t* name : {L"ntdsbmsg.dll", L"wininet.dll"}) {
        if (!text.empty()) break;
        if (HMODULE module = ::GetModuleHandleW(name))
            text = FormatFrom(FORMAT_MESSAGE_FROM_HMODULE, module, code, language);
    }
    if (text.empty()) {
        if (const wchar_t* name = DirectoryServiceName(code)) text = name;
    }
    while (!text.empty() && (text.back() == L'\r' || text.back() == L'\n')) text.pop_back();

    if (((code >> 16) & 0x1FFF) == FACILITY_WIN32 || (code >= 0x80005000 && code <= 0x80005FFF))
        text += DirectoryServiceDetail(!text.empty());
    if (text.empty()) text = ui::Printf(L"Unknown error code (0x%08X)", code);
    return text;
}

std::wstring ErrorMessageText(DWORD code) {
    return FormatStringPrintf(IDS_ERROR_CODE, code, static_cast<int>(code)) +
           ErrorText(code, LOWORD(support::support_wnd_language_get()));
}

int ErrorMessageBox(DWORD code) {
    return ui::MessageBox(MessageOwner(), ErrorMessageText(code), AppName(), MB_ICONERROR);
}

LANGID CurrentLanguage() {
    support::support_wnd_language_update();
    const LANGID language = LOWORD(support::support_wnd_language_get());
    return Carries(language) ? language : kEnglish;
}

std::wstring SupportLibraryFailureText(DWORD error, LANGID windowsLanguage) {
    const LANGID language = OwnLanguageFor(windowsLanguage);
    return ui::FormatInserts(ui::LoadTableString(Module(), IDS_SUPPORT_LIBRARY_FAILED, language),
                             {kSupportLibraryFile, ErrorText(error, language)});
}

bool RequireSupportLibrary(HWND owner) {
    const DWORD error = SupportLibrary().Load();
    if (error == 0) return true;
    const LANGID windows = ::GetUserDefaultUILanguage();
    ui::MessageBox(owner, SupportLibraryFailureText(error, windows),
                   ui::LoadTableString(Module(), IDS_APPLET_NAME, OwnLanguageFor(windows)),
                   MB_ICONERROR);
    return false;
}

}  // namespace applet
