#include "wizard_fixture.h"

#include "driver/driver.h"
#include "testbed/knobs.h"
#include "ui/handles.h"

#include <gtest/gtest.h>

#include <cpl.h>

#include <cstdio>

namespace wiztest {

ScopedValue::ScopedValue(HKEY hive, std::wstring key, std::wstring name, DWORD type,
                         const void* data, DWORD size)
    : hive_(hive), key_(std::move(key)), name_(std::move(name)) {
    DWORD savedSize = 0;
    if (::RegGetValueW(hive_, key_.c_str(), name_.c_str(), RRF_RT_ANY | RRF_NOEXPAND, &savedType_,
                       nullptr, &savedSize) == ERROR_SUCCESS) {
        saved_.emplace(savedSize);
        ::RegGetValueW(hive_, key_.c_str(), name_.c_str(), RRF_RT_ANY | RRF_NOEXPAND, &savedType_,
                       saved_->data(), &savedSize);
    }
    EXPECT_EQ(ERROR_SUCCESS,
              ::RegSetKeyValueW(hive_, key_.c_str(), name_.c_str(), type, data, size));
}

ScopedValue::ScopedValue(HKEY hive, std::wstring key, std::wstring name, DWORD value)
    : ScopedValue(hive, std::move(key), std::move(name), REG_DWORD, &value, sizeof(value)) {}

ScopedValue::ScopedValue(HKEY hive, std::wstring key, std::wstring name, const std::wstring& value)
    : ScopedValue(hive, std::move(key), std::move(name), REG_SZ, value.c_str(),
                  static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))) {}

ScopedValue::~ScopedValue() {
    if (saved_)
        ::RegSetKeyValueW(hive_, key_.c_str(), name_.c_str(), savedType_, saved_->data(),
                          static_cast<DWORD>(saved_->size()));
    else
        ::RegDeleteKeyValueW(hive_, key_.c_str(), name_.c_str());
}

namespace {

DWORD Flags(bool machine) { return machine ? CRYPT_MACHINE_KEYSET : 0; }

}  // namespace

bool ContainerExists(const std::wstring& name, bool machine) {
    ui::UniqueCryptProv provider;
    return ::CryptAcquireContextW(provider.put(), name.c_str(), kDefaultProvider, kType,
                                  Flags(machine)) != FALSE;
}

void CreateContainer(const std::wstring& name, bool machine) {
    ui::UniqueCryptProv provider;
    ASSERT_TRUE(::CryptAcquireContextW(provider.put(), name.c_str(), kDefaultProvider, kType,
                                       CRYPT_NEWKEYSET | Flags(machine)))
        << std::hex << ::GetLastError();
}

void DeleteContainer(const std::wstring& name, bool machine) {
    HCRYPTPROV ignored = 0;
    ::CryptAcquireContextW(&ignored, name.c_str(), kDefaultProvider, kType,
                           CRYPT_DELETEKEYSET | Flags(machine));
}

LiveHandles Live() {
    wchar_t name[64];
    std::swprintf(name, 64, testbed::knobs::kLiveCountersFormat,
                  static_cast<unsigned long>(::GetCurrentProcessId()));
    LiveHandles live;
    ui::UniqueHandleW mapping(::OpenFileMappingW(FILE_MAP_READ, FALSE, name));
    if (!mapping) return live;
    auto view = static_cast<const LONG*>(::MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, 0));
    if (!view) return live;
    live = {view[0], view[1], view[2]};
    ::UnmapViewOfFile(view);
    return live;
}

DWORD CallCount(const wchar_t* name) {
    DWORD value = 0, size = sizeof(value);
    ::RegGetValueW(HKEY_LOCAL_MACHINE, testbed::knobs::kCalls, name, RRF_RT_REG_DWORD, nullptr,
                   &value, &size);
    return value;
}

InjectedFailure::InjectedFailure(const std::string& entry, DWORD nth, DWORD error)
    : InjectedFailure(std::wstring(entry.begin(), entry.end()), nth, error) {}

InjectedFailure::InjectedFailure(const std::wstring& entry, DWORD nth, DWORD error)
    : key_(std::wstring(testbed::knobs::kFail) + L"\\" + entry) {
    EXPECT_EQ(ERROR_SUCCESS,
              ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key_.c_str(), testbed::knobs::kFailCall,
                                REG_DWORD, &nth, sizeof(nth)));
    EXPECT_EQ(ERROR_SUCCESS,
              ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key_.c_str(), testbed::knobs::kFailError,
                                REG_DWORD, &error, sizeof(error)));
}

InjectedFailure::~InjectedFailure() {
    ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key_.c_str());
}

bool InjectedFailure::Fired() const {
    ui::UniqueHKey key;
    return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key_.c_str(), 0, KEY_QUERY_VALUE, key.put()) ==
           ERROR_FILE_NOT_FOUND;
}

bool InPersonalStore(PCCERT_CONTEXT certificate, bool machine, bool remove) {
    return InSystemStore(certificate, L"MY", machine, remove);
}

bool InSystemStore(PCCERT_CONTEXT certificate, const std::wstring& name, bool machine,
                   bool remove) {
    ui::UniqueCertStore store(::CertOpenStore(
        CERT_STORE_PROV_SYSTEM_W, 0, 0,
        machine ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER, name.c_str()));
    if (!store) return false;
    ui::UniqueCertContext found(
        ::CertFindCertificateInStore(store.get(), X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                                     CERT_FIND_EXISTING, certificate, nullptr));
    if (!found || !remove) return static_cast<bool>(found);
    BYTE hash[20];
    DWORD size = sizeof(hash);
    if (!::CertGetCertificateContextProperty(certificate, CERT_SHA1_HASH_PROP_ID, hash, &size))
        return true;
    std::wstring key = L"Software\\Microsoft\\SystemCertificates\\" + name + L"\\Certificates\\";
    for (DWORD i = 0; i < size; ++i) {
        wchar_t digits[3];
        std::swprintf(digits, 3, L"%02X", hash[i]);
        key += digits;
    }
    ::RegDeleteTreeW(machine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER, key.c_str());
    return true;
}

bool Enabled(HWND wizard, int button) {
    HWND b = driver::SheetButton(wizard, button);
    return driver::IsVisible(b) && driver::IsEnabled(b);
}

void Press(HWND wizard, int button) {
    driver::WaitUntil([&] { return Enabled(wizard, button); }, "the button enabled");
    driver::Click(driver::SheetButton(wizard, button));
}

void RunSheet(int page, const std::function<void(HWND& sheet)>& script) {
    HMODULE applet = ::LoadLibraryW((std::wstring(kProductDir) + L"kvconfig.cpl").c_str());
    ASSERT_TRUE(applet);
    auto cpl = reinterpret_cast<APPLET_PROC>(
        reinterpret_cast<void*>(::GetProcAddress(applet, "CPlApplet")));
    ASSERT_TRUE(cpl);
    ASSERT_EQ(1, cpl(nullptr, CPL_INIT, 0, 0));
    const std::string start = std::to_string(page);
    driver::RunModal(
        [&] {
            return INT_PTR{
                cpl(nullptr, CPL_STARTWPARMSA, 0, reinterpret_cast<LPARAM>(start.c_str()))};
        },
        [&] {
            HWND sheet = driver::WaitForWindow({L"#32770", L"Vestra CSP"});
            driver::WaitUntil([&] { return driver::ActivePageIndex(sheet) == page; },
                              "the sheet on page " + start);
            script(sheet);
            driver::PressSheetButton(sheet, PSBTN_CANCEL);
            driver::WaitUntilGone(sheet);
        });
    cpl(nullptr, CPL_EXIT, 0, 0);
    ::FreeLibrary(applet);
}

void RunServicePage(const std::function<void(HWND sheet)>& script) {
    RunSheet(2, [&](HWND& sheet) {
        script(sheet);
        EXPECT_TRUE(driver::IsEnabled(sheet)) << "the wizard gave the sheet back";
    });
}

}  // namespace wiztest

// The restricted provider list holds the providers beside the applet; this program carries the
// applet's code, so it runs its tests from a copy of itself in the product directory.
int main(int argc, char** argv) {
    wchar_t self[MAX_PATH];
    DWORD length = ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring path(self, length);
    std::wstring directory = path.substr(0, path.find_last_of(L'\\') + 1);
    if (::CompareStringOrdinal(directory.c_str(), -1, wiztest::kProductDir, -1, TRUE) !=
        CSTR_EQUAL) {
        std::wstring copy = std::wstring(wiztest::kProductDir) + path.substr(directory.size());
        if (!::CopyFileW(path.c_str(), copy.c_str(), FALSE)) {
            std::fprintf(stderr, "cannot copy the test into the product directory: %lu\n",
                         ::GetLastError());
            return 2;
        }
        std::wstring command = L"\"" + copy + L"\"";
        for (int i = 1; i < argc; ++i) {
            std::string arg = argv[i];
            command += L" \"" + std::wstring(arg.begin(), arg.end()) + L"\"";
        }
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process{};
        if (!::CreateProcessW(copy.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                              wiztest::kProductDir, &startup, &process))
            return 3;
        ::WaitForSingleObject(process.hProcess, INFINITE);
        DWORD code = 1;
        ::GetExitCodeProcess(process.hProcess, &code);
        ::CloseHandle(process.hThread);
        ::CloseHandle(process.hProcess);
        ::DeleteFileW(copy.c_str());
        return static_cast<int>(code);
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
