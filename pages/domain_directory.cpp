#include "pages/domain_directory.h"

#include "applet/strings.h"
#include "pages/winlogon_page.h"
#include "resource.h"
#include "ui/com.h"
#include "ui/controls.h"

#include <ole2.h>
// The directory interfaces need the OLE types that a lean windows.h leaves out.
#include <activeds.h>
#include <commdlg.h>
#include <rpc.h>

namespace applet {

namespace {

constexpr wchar_t kTemplateClass[] = L"pKICertificateTemplate";
// Relative to the configuration naming context.
constexpr const wchar_t* kTemplates[] = {
    L"CN=DomainController, CN=Certificate Templates, CN=Public Key Services, CN=Services",
    L"CN=EnrollmentAgent, CN=Certificate Templates, CN=Public Key Services, CN=Services",
};
constexpr wchar_t kDefaultProviders[] = L"pKIDefaultCSPs";
constexpr wchar_t kMinimalKeySize[] = L"msPKI-Minimal-Key-Size";
constexpr LONG kWantedKeySize = 512;

// The directory library is loaded for each bind, not imported: an import would keep it in every
// process that loads the applet, and the error text asks for its extended error only where a
// directory is in use.
template <class Interface>
HRESULT Bind(const std::wstring& path, REFIID iid, ui::ComPtr<Interface>& object) {
    ui::UniqueHModule library(::LoadLibraryW(L"activeds.dll"));
    const auto getObject = reinterpret_cast<decltype(&::ADsGetObject)>(
        library ? reinterpret_cast<void*>(::GetProcAddress(library.get(), "ADsGetObject"))
                : nullptr);
    if (!getObject) return HRESULT_FROM_WIN32(::GetLastError());
    return getObject(path.c_str(), iid, object.put_void());
}

HRESULT Get(IADs* object, const wchar_t* name, ui::Variant& value) {
    return object->Get(ui::UniqueBstr(name).get(), value.get());
}

// A text attribute of `object`.
HRESULT GetText(IADs* object, const wchar_t* name, std::wstring& text) {
    ui::Variant value;
    HRESULT hr = Get(object, name, value);
    if (SUCCEEDED(hr)) hr = ::VariantChangeType(value.get(), value.get(), 0, VT_BSTR);
    if (SUCCEEDED(hr)) text = (*value).bstrVal ? (*value).bstrVal : L"";
    return hr;
}

// A naming context that the root object names.
HRESULT NamingContext(const wchar_t* name, std::wstring& context) {
    ui::ComPtr<IADs> root;
    HRESULT hr = Bind(L"LDAP://rootDSE", IID_IADs, root);
    if (SUCCEEDED(hr)) hr = GetText(root.get(), name, context);
    return hr;
}

// The GUID bytes of "objectGUID" as text; false when the value holds no GUID.
bool IdentifierText(const VARIANT& value, std::wstring& text) {
    if (value.vt != (VT_ARRAY | VT_UI1) || !value.parray || ::SafeArrayGetDim(value.parray) != 1 ||
        value.parray->rgsabound[0].cElements < sizeof(UUID))
        return false;
    UUID uuid{};
    void* bytes = nullptr;
    if (FAILED(::SafeArrayAccessData(value.parray, &bytes))) return false;
    memcpy(&uuid, bytes, sizeof(uuid));
    ::SafeArrayUnaccessData(value.parray);
    RPC_WSTR string = nullptr;
    if (::UuidToStringW(&uuid, &string) != RPC_S_OK) return false;
    text = reinterpret_cast<wchar_t*>(string);
    ::RpcStringFreeW(&string);
    return true;
}

// One child of the controllers' container, when it is a computer with a name and a GUID.
bool ReadController(IDispatch* child, DomainControllerEntry& entry) {
    ui::ComPtr<IADs> object;
    ui::UniqueBstr className;
    ui::Variant guid;
    return SUCCEEDED(child->QueryInterface(IID_IADs, object.put_void())) &&
           SUCCEEDED(object->get_Class(className.put())) && className &&
           _wcsicmp(className.get(), L"computer") == 0 &&
           SUCCEEDED(GetText(object.get(), L"dNSHostName", entry.name)) &&
           SUCCEEDED(Get(object.get(), L"objectGUID", guid)) &&
           IdentifierText(*guid, entry.identifier);
}

// Both templates, in the order of kTemplates.
HRESULT BindTemplates(ui::ComPtr<IADs> (&templates)[2]) {
    std::wstring context;
    HRESULT hr = NamingContext(L"configurationNamingContext", context);
    ui::ComPtr<IADsContainer> configuration;
    if (SUCCEEDED(hr)) hr = Bind(L"LDAP://" + context, IID_IADsContainer, configuration);
    for (int i = 0; i < 2 && SUCCEEDED(hr); ++i) {
        ui::ComPtr<IDispatch> object;
        hr = configuration->GetObject(ui::UniqueBstr(kTemplateClass).get(),
                                      ui::UniqueBstr(kTemplates[i]).get(), object.put());
        if (SUCCEEDED(hr)) hr = object->QueryInterface(IID_IADs, templates[i].put_void());
    }
    return hr;
}

// Whether `name` holds anything but `wanted`; a missing attribute counts as `wanted`.
HRESULT Differs(IADs* object, const wchar_t* name, LONG wanted, bool& differs) {
    ui::Variant value(wanted), expected(wanted);
    const HRESULT hr = Get(object, name, value);
    if (FAILED(hr) && hr != E_ADS_PROPERTY_NOT_FOUND) return hr;
    differs = (*value).vt != VT_I4 || ::VarCmp(value.get(), expected.get(), LOCALE_USER_DEFAULT,
                                               0) != static_cast<HRESULT>(VARCMP_EQ);
    return S_OK;
}

}  // namespace

HRESULT ListDomainControllers(std::vector<DomainControllerEntry>& controllers) {
    controllers.clear();
    std::wstring context;
    HRESULT hr = NamingContext(L"DefaultNamingContext", context);
    ui::ComPtr<IADsContainer> container;
    if (SUCCEEDED(hr))
        hr = Bind(L"LDAP://OU=Domain Controllers," + context, IID_IADsContainer, container);
    ui::ComPtr<IUnknown> unknown;
    ui::ComPtr<IEnumVARIANT> children;
    if (SUCCEEDED(hr)) hr = container->get__NewEnum(unknown.put());
    if (SUCCEEDED(hr)) hr = unknown->QueryInterface(IID_IEnumVARIANT, children.put_void());
    if (FAILED(hr)) return hr;
    for (;;) {
        ui::Variant child;
        ULONG fetched = 0;
        if (children->Next(1, child.get(), &fetched) != S_OK || fetched != 1) break;
        DomainControllerEntry entry;
        if ((*child).vt == VT_DISPATCH && (*child).pdispVal &&
            ReadController((*child).pdispVal, entry))
            controllers.push_back(std::move(entry));
    }
    return S_OK;
}

std::wstring ShownIdentifier(const std::wstring& identifier) {
    return L"{" + identifier + L"}";
}

std::string ExportText(const std::vector<DomainControllerEntry>& controllers) {
    std::wstring text;
    for (const DomainControllerEntry& controller : controllers)
        text += controller.name + L"\r\n" + ShownIdentifier(controller.identifier) + L"\r\n";
    if (text.empty()) return {};
    const int size = ::WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()),
                                           nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(size), '\0');
    ::WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), bytes.data(), size,
                          nullptr, nullptr);
    return bytes;
}

bool WriteExportFile(const std::wstring& path,
                     const std::vector<DomainControllerEntry>& controllers) {
    ui::UniqueHandleW file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file.get() == INVALID_HANDLE_VALUE) {
        file.release();
        return false;
    }
    const std::string text = ExportText(controllers);
    DWORD written = 0;
    return ::WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written,
                       nullptr) &&
           written == text.size();
}

bool TemplatesNeedRepair() {
    ui::ComPtr<IADs> templates[2];
    if (FAILED(BindTemplates(templates))) return false;
    // An attribute that can't be read leaves the templates as they are, whatever the others say.
    bool repair = false;
    for (const ui::ComPtr<IADs>& object : templates) {
        bool providers = false, keySize = false;
        if (FAILED(Differs(object.get(), kDefaultProviders, 0, providers)) ||
            FAILED(Differs(object.get(), kMinimalKeySize, kWantedKeySize, keySize)))
            return false;
        repair = repair || providers || keySize;
    }
    return repair;
}

HRESULT RepairTemplates() {
    ui::ComPtr<IADs> templates[2];
    HRESULT hr = BindTemplates(templates);
    ui::Variant none, keySize(kWantedKeySize);
    for (int i = 0; i < 2 && SUCCEEDED(hr); ++i)
        hr =
            templates[i]->PutEx(ADS_PROPERTY_CLEAR, ui::UniqueBstr(kDefaultProviders).get(), *none);
    for (int i = 0; i < 2 && SUCCEEDED(hr); ++i)
        hr = templates[i]->Put(ui::UniqueBstr(kMinimalKeySize).get(), *keySize);
    for (int i = 0; i < 2 && SUCCEEDED(hr); ++i) hr = templates[i]->SetInfo();
    return hr;
}

namespace {

// The page's side: the controllers in combo 1009 with their identifiers kept in its order.
class ActiveDirectory : public DomainDirectory {
public:
    bool ListControllers(HWND page) override {
        if (FAILED(ListDomainControllers(controllers_))) return false;
        ui::ComboBox combo(::GetDlgItem(page, IDC_WINLOGON_DC));
        for (const DomainControllerEntry& controller : controllers_) combo.Add(controller.name);
        if (!controllers_.empty()) {
            combo.Select(0);
            ShowIdentifier(page);
        }
        return true;
    }

    void ShowIdentifier(HWND page) override {
        const int item = ui::ComboBox(::GetDlgItem(page, IDC_WINLOGON_DC)).Selection();
        if (item < 0 || static_cast<size_t>(item) >= controllers_.size()) return;
        ui::Control(::GetDlgItem(page, IDC_WINLOGON_DC_ID))
            .SetText(ShownIdentifier(controllers_[static_cast<size_t>(item)].identifier));
    }

    void ExportIdentifiers(HWND page) override {
        for (;;) {
            const std::wstring path = AskFileName(page);
            if (path.empty()) return;
            if (::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) {
                const int answer = MessageBoxFormat(IDS_OVERWRITE_FILE, path, std::wstring(),
                                                    MB_YESNOCANCEL | MB_ICONQUESTION);
                if (answer == IDNO) continue;
                if (answer != IDYES) return;
            }
            if (!WriteExportFile(path, controllers_)) ErrorMessageBox(::GetLastError());
            return;
        }
    }

    bool TemplatesNeedRepair() override { return applet::TemplatesNeedRepair(); }

    bool FixTemplates(HWND) override {
        const HRESULT hr = RepairTemplates();
        if (FAILED(hr)) {
            ErrorMessageBox(static_cast<DWORD>(hr));
            return false;
        }
        MessageBoxId(IDS_TEMPLATES_UPDATED, MB_ICONINFORMATION);
        return true;
    }

private:
    // The system's save dialog, with no name proposed; empty when it is cancelled.
    static std::wstring AskFileName(HWND owner) {
        wchar_t path[MAX_PATH] = {};
        OPENFILENAMEW dialog{};
        dialog.lStructSize = sizeof(dialog);
        dialog.hwndOwner = owner;
        dialog.lpstrFilter = L"All Files (*.*)\0*.*\0";
        dialog.lpstrFile = path;
        dialog.nMaxFile = MAX_PATH;
        dialog.Flags = OFN_EXPLORER | OFN_HIDEREADONLY | OFN_PATHMUSTEXIST | OFN_NOCHANGEDIR;
        return ::GetSaveFileNameW(&dialog) ? path : L"";
    }

    std::vector<DomainControllerEntry> controllers_;
};

}  // namespace

std::unique_ptr<DomainDirectory> OpenDomainDirectory() {
    return std::make_unique<ActiveDirectory>();
}

}  // namespace applet
