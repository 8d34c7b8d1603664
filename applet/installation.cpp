#include "applet/installation.h"

#include "applet/crypt_reads.h"
#include "applet/module_state.h"
#include "applet/provider_params.h"
#include "applet/support.h"
#include "ui/handles.h"

#include <msi.h>
#include <wincrypt.h>

#include <cwchar>

namespace applet {

namespace {

constexpr wchar_t kAppletComponent[] = L"{8D2B4E61-93A7-4C05-B1E8-2F6A0C93D417}";
constexpr wchar_t kProductCode[] = L"{B4E93F27-6A15-4D8C-8E02-7A39C15D6E80}";
// The product's other edition, asked when this installation's product has no properties.
constexpr wchar_t kOtherProductCode[] = L"{5C71E0A9-2B84-4F3D-9A66-D18E42B70C25}";
constexpr wchar_t kConsoleComponents[][39] = {L"{2A6F8D13-E947-4B20-A5C8-91D3F07E46B2}",
                                              L"{E7C05B94-1D38-4A6E-8F27-C4B9A20D5318}"};

}  // namespace

std::wstring InstallationProductCode() {
    const std::wstring self = ModulePath();
    wchar_t product[39];
    for (DWORD index = 0; ::MsiEnumClientsW(kAppletComponent, index, product) == ERROR_SUCCESS;
         ++index) {
        wchar_t path[MAX_PATH];
        DWORD length = MAX_PATH;
        if (::MsiGetComponentPathW(product, kAppletComponent, path, &length) ==
                INSTALLSTATE_LOCAL &&
            ::_wcsicmp(path, self.c_str()) == 0)
            return product;
    }
    return kProductCode;
}

std::wstring ProductProperty(const std::wstring& productCode, const wchar_t* name) {
    for (const wchar_t* code : {productCode.c_str(), kOtherProductCode}) {
        wchar_t value[256];
        DWORD length = 255;
        if (::MsiGetProductInfoW(code, name, value, &length) == ERROR_SUCCESS)
            return std::wstring(value, length);
    }
    return {};
}

std::wstring ProductProviderName(const std::wstring& productCode) {
    const std::wstring path = store::kProductPrefix + productCode;
    DWORD length = 0;
    if (support::support_registry_get_string(path.c_str(), &length, nullptr) != 0) return {};
    std::wstring name(length + 1, L'\0');
    if (support::support_registry_get_string(path.c_str(), &length, name.data()) != 0) return {};
    name.resize(::wcsnlen(name.c_str(), name.size()));
    return name;
}

std::wstring FormatCoreVersion(DWORD version, DWORD build, DWORD protectionClass, bool debug) {
    static const wchar_t* const kClasses[] = {L"KC1", L"KC2", L"KC3", L"KB1", L"KB2", L"KA1"};
    wchar_t text[64];
    std::swprintf(text, 64, L"%u.%u.%04u ", static_cast<unsigned>((version >> 8) & 0xFF),
                  static_cast<unsigned>(version & 0xFF), static_cast<unsigned>(build));
    std::wstring result = text;
    if (protectionClass >= 1 && protectionClass <= 6) result += kClasses[protectionClass - 1];
    if (debug) result += L" Debug";
    return result;
}

std::wstring CoreVersionText(const std::wstring& provider) {
    ui::UniqueCryptProv context;
    if (!::CryptAcquireContextW(context.put(), nullptr, provider.c_str(), 75, CRYPT_VERIFYCONTEXT))
        return {};
    DWORD version = 0;
    // The provider's build record: version, build number, debug flag and two of its own.
    DWORD build[5] = {};
    DWORD length = sizeof(build);
    if (!ReadDword(ProvParam(context.get(), PP_VERSION), version) ||
        !::CryptGetProvParam(context.get(), kParamBuild, reinterpret_cast<BYTE*>(build), &length,
                             0) ||
        length < 3 * sizeof(DWORD))
        return {};
    DWORD protectionClass = 0;
    if (!ReadDword(ProvParam(context.get(), kParamProtectionClass), protectionClass))
        protectionClass = 0;
    return FormatCoreVersion(version, build[1], protectionClass, build[2] == 1);
}

std::wstring ConsolePath() {
    for (const wchar_t* component : kConsoleComponents) {
        wchar_t path[MAX_PATH];
        DWORD length = MAX_PATH;
        if (::MsiLocateComponentW(component, path, &length) == INSTALLSTATE_LOCAL) return path;
    }
    return {};
}

}  // namespace applet
