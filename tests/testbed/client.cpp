#include "client.h"

#include "driver/driver.h"

#include <gtest/gtest.h>

#include <vector>

namespace testbed {

std::wstring InstalledPath(const wchar_t* file) {
    std::wstring key =
        std::wstring(L"SOFTWARE\\Kelvane\\Cryptography\\CurrentVersion\\AppPath\\") + file;
    wchar_t path[MAX_PATH] = {};
    DWORD size = sizeof(path);
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, path,
                       &size) != ERROR_SUCCESS)
        return {};
    return path;
}

Library::Library(const wchar_t* file) {
    std::wstring path = InstalledPath(file);
    module_.reset(::LoadLibraryW(path.c_str()));
    if (!module_) {
        ADD_FAILURE() << "cannot load the installed " << driver::Narrow(file) << " from '"
                      << driver::Narrow(path) << "': error " << ::GetLastError();
    }
}

FARPROC Library::Proc(const char* name) const {
    FARPROC proc = module_ ? ::GetProcAddress(module_.get(), name) : nullptr;
    if (module_ && !proc) ADD_FAILURE() << "missing export " << name;
    return proc;
}

DWORD Support::GetString(const std::wstring& path, std::wstring& text) const {
    DWORD length = 0;
    DWORD error = support_registry_get_string(path.c_str(), &length, nullptr);
    if (error != ERROR_SUCCESS) return error;
    std::vector<wchar_t> buffer(length + 1);
    error = support_registry_get_string(path.c_str(), &length, buffer.data());
    if (error == ERROR_SUCCESS) text.assign(buffer.data(), length);
    return error;
}

ScopedKnob::ScopedKnob(const wchar_t* key, const std::wstring& name, DWORD value)
    : key_(key), name_(name) {
    DWORD old = 0;
    DWORD size = sizeof(old);
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, key, name.c_str(), RRF_RT_REG_DWORD, nullptr, &old,
                       &size) == ERROR_SUCCESS)
        previous_ = old;
    EXPECT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name.c_str(), REG_DWORD,
                                               &value, sizeof(value)));
}

ScopedKnob::~ScopedKnob() {
    if (previous_)
        ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key_.c_str(), name_.c_str(), REG_DWORD, &*previous_,
                          sizeof(DWORD));
    else
        ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key_.c_str(), name_.c_str());
}

ScopedDomainController::ScopedDomainController() {
    wchar_t type[64] = {};
    DWORD size = sizeof(type);
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, knobs::kProductOptions, knobs::kProductType,
                       RRF_RT_REG_SZ, nullptr, type, &size) == ERROR_SUCCESS)
        productType_ = type;
    EXPECT_EQ(
        ERROR_SUCCESS,
        ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, knobs::kProductOptions, knobs::kProductType, REG_SZ,
                          knobs::kDomainController, sizeof(knobs::kDomainController)));
    ui::UniqueHKey kdc;
    kdcExisted_ = ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, knobs::kKdcParameters, 0, KEY_READ,
                                  kdc.put()) == ERROR_SUCCESS;
    if (!kdcExisted_) {
        EXPECT_EQ(ERROR_SUCCESS,
                  ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, knobs::kKdcParameters, 0, nullptr, 0,
                                    KEY_READ, nullptr, kdc.put(), nullptr));
    }
}

ScopedDomainController::~ScopedDomainController() {
    if (productType_.empty())
        ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, knobs::kProductOptions, knobs::kProductType);
    else
        ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, knobs::kProductOptions, knobs::kProductType, REG_SZ,
                          productType_.c_str(),
                          static_cast<DWORD>((productType_.size() + 1) * sizeof(wchar_t)));
    if (!kdcExisted_) {
        // The service's key came with it: a prefix has no KDC.
        const std::wstring parameters = knobs::kKdcParameters;
        const std::wstring service = parameters.substr(0, parameters.rfind(L'\\'));
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, service.c_str());
        ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, service.c_str());
    }
}

DWORD CallCount(const wchar_t* name) {
    DWORD count = 0;
    DWORD size = sizeof(count);
    ::RegGetValueW(HKEY_LOCAL_MACHINE, knobs::kCalls, name, RRF_RT_REG_DWORD, nullptr, &count,
                   &size);
    return count;
}

}  // namespace testbed
