// The stand-in directory: a namespace provider for "LDAP:" whose objects are the sections of a
// description file (testbed::knobs::kDirectory). Only what a client binding objects, reading and
// clearing attributes, listing a container's children and writing changes back needs is there;
// everything else answers E_NOTIMPL.
#include "common/knob.h"
#include "testbed/knobs.h"

#include <windows.h>
#include <ole2.h>
// After the OLE types, which a lean windows.h leaves out.
#include <activeds.h>

#include <atomic>
#include <cwctype>
#include <map>
#include <string>
#include <vector>

namespace {

namespace knobs = testbed::knobs;

// {6E0B1C2A-5D47-4F1B-9A63-2C8E71D4B5F9}, as registration.wxs.in registers it.
constexpr CLSID kClsid = {
    0x6e0b1c2a, 0x5d47, 0x4f1b, {0x9a, 0x63, 0x2c, 0x8e, 0x71, 0xd4, 0xb5, 0xf9}};
constexpr HRESULT kNoSuchObject = HRESULT_FROM_WIN32(ERROR_DS_NO_SUCH_OBJECT);

HRESULT Knob(const wchar_t* name) {
    return static_cast<HRESULT>(testbed::ReadKnob(knobs::kDirectory, name, 0));
}

std::wstring TextKnob(const wchar_t* name) {
    wchar_t text[MAX_PATH] = {};
    DWORD size = sizeof(text);
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, knobs::kDirectory, name, RRF_RT_REG_SZ, nullptr, text,
                       &size) != ERROR_SUCCESS)
        return {};
    return text;
}

// Distinguished names compare without the blanks around their commas and without case.
std::wstring Normal(const std::wstring& name) {
    std::wstring result;
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] == L' ' && ((i + 1 < name.size() && name[i + 1] == L',') ||
                                (!result.empty() && result.back() == L',')))
            continue;
        result += static_cast<wchar_t>(std::towlower(name[i]));
    }
    return result;
}

// The file's sections in its order, each as the file spells it.
std::vector<std::wstring> Sections(const std::wstring& file) {
    std::vector<wchar_t> buffer(65536);
    const DWORD length = ::GetPrivateProfileSectionNamesW(
        buffer.data(), static_cast<DWORD>(buffer.size()), file.c_str());
    std::vector<std::wstring> names;
    for (const wchar_t* p = buffer.data(); p < buffer.data() + length && *p; p += wcslen(p) + 1)
        names.emplace_back(p);
    return names;
}

std::wstring FindSection(const std::wstring& file, const std::wstring& name) {
    for (const std::wstring& section : Sections(file))
        if (Normal(section) == Normal(name)) return section;
    return {};
}

BSTR Copy(const std::wstring& text) {
    return ::SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
}

// The attribute text as a variant; false for a text of no known type.
bool ToVariant(const std::wstring& text, VARIANT* value) {
    const std::wstring kind = text.substr(0, 2), body = text.size() > 2 ? text.substr(2) : L"";
    if (kind == L"s:") {
        value->vt = VT_BSTR;
        value->bstrVal = Copy(body);
        return true;
    }
    if (kind == L"i:") {
        value->vt = VT_I4;
        value->lVal = static_cast<LONG>(std::wcstol(body.c_str(), nullptr, 10));
        return true;
    }
    GUID guid{};
    if (kind == L"g:" && ::CLSIDFromString((L"{" + body + L"}").c_str(), &guid) == S_OK) {
        SAFEARRAY* bytes = ::SafeArrayCreateVector(VT_UI1, 0, sizeof(guid));
        void* data = nullptr;
        ::SafeArrayAccessData(bytes, &data);
        memcpy(data, &guid, sizeof(guid));
        ::SafeArrayUnaccessData(bytes);
        value->vt = VT_ARRAY | VT_UI1;
        value->parray = bytes;
        return true;
    }
    return false;
}

// What Put stores: integers and strings.
bool FromVariant(VARIANT& value, std::wstring& text) {
    VARIANT converted;
    ::VariantInit(&converted);
    if (value.vt == VT_BSTR) {
        text = L"s:" + std::wstring(value.bstrVal ? value.bstrVal : L"");
        return true;
    }
    if (::VariantChangeType(&converted, &value, 0, VT_I4) != S_OK) return false;
    text = L"i:" + std::to_wstring(converted.lVal);
    return true;
}

template <class Interface>
class Unknown : public Interface {
public:
    virtual ~Unknown() = default;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

private:
    std::atomic<ULONG> references_{1};
};

// The dispatch part every directory interface carries; no client here goes through it.
#define TB_NO_DISPATCH                                                                         \
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {                         \
        *count = 0;                                                                            \
        return S_OK;                                                                           \
    }                                                                                          \
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override {                  \
        return E_NOTIMPL;                                                                      \
    }                                                                                          \
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { \
        return E_NOTIMPL;                                                                      \
    }                                                                                          \
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*,        \
                                     EXCEPINFO*, UINT*) override {                             \
        return E_NOTIMPL;                                                                      \
    }

// One directory object: its attributes as read when it was bound, changed by Put and PutEx
// until SetInfo writes the changed ones.
class Object : public Unknown<IADs>, public IADsContainer {
public:
    Object(std::wstring file, std::wstring section)
        : file_(std::move(file)), dn_(std::move(section)) {
        std::vector<wchar_t> buffer(65536);
        const DWORD length = ::GetPrivateProfileSectionW(
            dn_.c_str(), buffer.data(), static_cast<DWORD>(buffer.size()), file_.c_str());
        for (const wchar_t* p = buffer.data(); p < buffer.data() + length && *p;
             p += wcslen(p) + 1) {
            const std::wstring line = p;
            const size_t equals = line.find(L'=');
            if (equals != std::wstring::npos)
                attributes_[Normal(line.substr(0, equals))] = line.substr(equals + 1);
        }
    }

    // Binds `dn` of the file that the knob names.
    static HRESULT Bind(const std::wstring& dn, REFIID iid, void** result) {
        const std::wstring file = TextKnob(knobs::kDirectoryFile);
        const std::wstring section = FindSection(file, dn);
        if (section.empty()) return kNoSuchObject;
        Object* object = new Object(file, section);
        const HRESULT hr = object->QueryInterface(iid, result);
        object->Unknown<IADs>::Release();
        return hr;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (iid == IID_IUnknown || iid == IID_IDispatch || iid == IID_IADs)
            *result = static_cast<IADs*>(this);
        else if (iid == IID_IADsContainer)
            *result = static_cast<IADsContainer*>(this);
        else {
            *result = nullptr;
            return E_NOINTERFACE;
        }
        Unknown<IADs>::AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return Unknown<IADs>::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return Unknown<IADs>::Release(); }
    TB_NO_DISPATCH

    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override {
        *name = Copy(dn_.substr(0, dn_.find(L',')));
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Class(BSTR* name) override {
        VARIANT value;
        ::VariantInit(&value);
        const HRESULT hr = Get(const_cast<BSTR>(L"objectClass"), &value);
        if (FAILED(hr)) return hr;
        if (value.vt != VT_BSTR) {
            ::VariantClear(&value);
            return E_ADS_CANT_CONVERT_DATATYPE;
        }
        *name = value.bstrVal;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_ADsPath(BSTR* path) override {
        *path = Copy(L"LDAP://" + dn_);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_GUID(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Parent(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Schema(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetInfo() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetEx(BSTR, VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetInfoEx(VARIANT, LONG) override { return E_NOTIMPL; }

    HRESULT STDMETHODCALLTYPE Get(BSTR name, VARIANT* value) override {
        if (Knob(knobs::kGetError) != S_OK &&
            Normal(name) == Normal(TextKnob(knobs::kGetErrorName)))
            return Knob(knobs::kGetError);
        const auto found = attributes_.find(Normal(name));
        if (found == attributes_.end() || found->second.empty()) return E_ADS_PROPERTY_NOT_FOUND;
        ::VariantClear(value);
        return ToVariant(found->second, value) ? S_OK : E_ADS_CANT_CONVERT_DATATYPE;
    }
    HRESULT STDMETHODCALLTYPE Put(BSTR name, VARIANT value) override {
        std::wstring text;
        if (!FromVariant(value, text)) return E_ADS_CANT_CONVERT_DATATYPE;
        Change(name, text);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE PutEx(LONG control, BSTR name, VARIANT) override {
        if (control != ADS_PROPERTY_CLEAR) return E_NOTIMPL;
        Change(name, L"");
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetInfo() override {
        if (Knob(knobs::kSetInfoError) != S_OK) return Knob(knobs::kSetInfoError);
        for (const auto& [name, text] : changed_)
            ::WritePrivateProfileStringW(dn_.c_str(), name.c_str(),
                                         text.empty() ? nullptr : text.c_str(), file_.c_str());
        changed_.clear();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** enumerator) override;
    HRESULT STDMETHODCALLTYPE GetObject(BSTR className, BSTR relativeName,
                                        IDispatch** object) override {
        IADs* child = nullptr;
        HRESULT hr = Bind(std::wstring(relativeName) + L"," + dn_, IID_IADs,
                          reinterpret_cast<void**>(&child));
        if (FAILED(hr)) return hr;
        BSTR childClass = nullptr;
        if (className && *className &&
            (FAILED(child->get_Class(&childClass)) || Normal(childClass) != Normal(className)))
            hr = kNoSuchObject;
        ::SysFreeString(childClass);
        if (SUCCEEDED(hr))
            hr = child->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(object));
        child->Release();
        return hr;
    }
    HRESULT STDMETHODCALLTYPE get_Count(LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Filter(VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_Filter(VARIANT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Hints(VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_Hints(VARIANT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Create(BSTR, BSTR, IDispatch**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Delete(BSTR, BSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CopyHere(BSTR, BSTR, IDispatch**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE MoveHere(BSTR, BSTR, IDispatch**) override { return E_NOTIMPL; }

private:
    // An empty text stands for a cleared attribute.
    void Change(const std::wstring& name, const std::wstring& text) {
        attributes_[Normal(name)] = text;
        changed_[name] = text;
    }

    std::wstring file_, dn_;
    std::map<std::wstring, std::wstring> attributes_;  // by normal name
    std::map<std::wstring, std::wstring> changed_;     // by the name Put was given
};

// A container's children as they were when the enumerator was made, bound one by one.
class Children : public Unknown<IEnumVARIANT> {
public:
    explicit Children(std::vector<std::wstring> dns) : dns_(std::move(dns)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (iid != IID_IUnknown && iid != IID_IEnumVARIANT) {
            *result = nullptr;
            return E_NOINTERFACE;
        }
        *result = static_cast<IEnumVARIANT*>(this);
        AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* values, ULONG* fetched) override {
        ULONG done = 0;
        for (; done < count && next_ < dns_.size(); ++next_) {
            IDispatch* object = nullptr;
            if (FAILED(Object::Bind(dns_[next_], IID_IDispatch, reinterpret_cast<void**>(&object))))
                continue;
            values[done].vt = VT_DISPATCH;
            values[done].pdispVal = object;
            ++done;
        }
        if (fetched) *fetched = done;
        return done == count ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
        next_ += count;
        return next_ <= dns_.size() ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Reset() override {
        next_ = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT**) override { return E_NOTIMPL; }

private:
    std::vector<std::wstring> dns_;
    size_t next_ = 0;
};

HRESULT Object::get__NewEnum(IUnknown** enumerator) {
    const std::wstring suffix = L"," + Normal(dn_);
    std::vector<std::wstring> children;
    for (const std::wstring& section : Sections(file_)) {
        const std::wstring name = Normal(section);
        if (name.size() > suffix.size() &&
            name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0 &&
            name.find(L',') == name.size() - suffix.size())
            children.push_back(section);
    }
    *enumerator = new Children(std::move(children));
    return S_OK;
}

// What ADsGetObject creates: binds "LDAP://name" (a server part before the name is ignored).
class Namespace : public Unknown<IADsOpenDSObject> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (iid != IID_IUnknown && iid != IID_IDispatch && iid != IID_IADsOpenDSObject) {
            *result = nullptr;
            return E_NOINTERFACE;
        }
        *result = static_cast<IADsOpenDSObject*>(this);
        AddRef();
        return S_OK;
    }
    TB_NO_DISPATCH

    HRESULT STDMETHODCALLTYPE OpenDSObject(BSTR path, BSTR, BSTR, LONG,
                                           IDispatch** object) override {
        if (Knob(knobs::kBindError) != S_OK) return Knob(knobs::kBindError);
        std::wstring name = path ? path : L"";
        if (_wcsnicmp(name.c_str(), L"LDAP://", 7) != 0) return E_ADS_BAD_PATHNAME;
        name.erase(0, 7);
        const size_t slash = name.find(L'/');
        if (slash != std::wstring::npos) name.erase(0, slash + 1);
        return Object::Bind(name, IID_IDispatch, reinterpret_cast<void**>(object));
    }
};

class Factory : public IClassFactory {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (iid != IID_IUnknown && iid != IID_IClassFactory) {
            *result = nullptr;
            return E_NOINTERFACE;
        }
        *result = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** result) override {
        if (outer) return CLASS_E_NOAGGREGATION;
        Namespace* space = new Namespace;
        const HRESULT hr = space->QueryInterface(iid, result);
        space->Release();
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

Factory factory;

}  // namespace

extern "C" HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** result) {
    if (clsid != kClsid) return CLASS_E_CLASSNOTAVAILABLE;
    return factory.QueryInterface(iid, result);
}

// Objects may outlive a client's last reference to the factory; the module stays.
extern "C" HRESULT STDMETHODCALLTYPE DllCanUnloadNow() {
    return S_FALSE;
}
