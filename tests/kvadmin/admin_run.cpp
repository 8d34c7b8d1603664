#include "admin_run.h"

#include "testbed/knobs.h"
#include "ui/handles.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace admintest {

namespace knobs = testbed::knobs;
constexpr wchar_t kProductDir[] = L"C:\\Program Files\\Kelvane\\Vestra CSP\\";

namespace {

using ViewPtr = std::unique_ptr<const void, decltype(&::UnmapViewOfFile)>;
ViewPtr View(const ui::UniqueHandleW& mapping) {
    return ViewPtr(mapping ? ::MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, 0) : nullptr,
                   &::UnmapViewOfFile);
}

// A file the child writes through its inherited handle; read back from the start.
ui::UniqueHandleW Capture() {
    wchar_t dir[MAX_PATH], path[MAX_PATH];
    ::GetTempPathW(MAX_PATH, dir);
    ::GetTempFileNameW(dir, L"kva", 0, path);
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    return ui::UniqueHandleW(::CreateFileW(
        path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        &inherit, CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
}

std::string ReadAll(const ui::UniqueHandleW& file) {
    std::string text;
    char buffer[4096];
    ::SetFilePointer(file.get(), 0, nullptr, FILE_BEGIN);
    for (DWORD read; ::ReadFile(file.get(), buffer, sizeof(buffer), &read, nullptr) && read;)
        text.append(buffer, read);
    return text;
}

ui::UniqueCertStore MachineStore() {
    return ui::UniqueCertStore(::CertOpenStore(CERT_STORE_PROV_SYSTEM_REGISTRY_W, 0, 0,
                                               CERT_SYSTEM_STORE_LOCAL_MACHINE, L"My"));
}

// The provider and container a certificate of the store is linked to; empty when none.
std::pair<std::wstring, std::wstring> LinkOf(PCCERT_CONTEXT certificate) {
    DWORD size = 0;
    if (!::CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr,
                                             &size))
        return {};
    std::vector<BYTE> data(size);  // zeros, no names, should the second call fail
    ::CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, data.data(),
                                        &size);
    const auto* info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(data.data());
    auto text = [](const wchar_t* s) { return std::wstring(s ? s : L""); };
    return {text(info->pwszProvName), text(info->pwszContainerName)};
}

// Through the registry: Wine does not write a deletion from a system store back.
void Forget(const std::vector<BYTE>& encoded) {
    BYTE hash[20];
    DWORD size = sizeof(hash);
    ::CryptHashCertificate(0, CALG_SHA1, 0, encoded.data(), static_cast<DWORD>(encoded.size()),
                           hash, &size);
    std::wstring key = L"Software\\Microsoft\\SystemCertificates\\My\\Certificates\\";
    for (DWORD i = 0; i < size; ++i)
        key += {L"0123456789ABCDEF"[hash[i] >> 4], L"0123456789ABCDEF"[hash[i] & 15]};
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
}

}  // namespace

Outcome RunAdmin(const std::vector<std::wstring>& arguments,
                 const std::vector<std::wstring>& more) {
    // No argument of these tests holds a quote.
    std::wstring command = L"\"" + std::wstring(kProductDir) + L"kvadmin.exe\"";
    for (const auto* part : {&arguments, &more})
        for (const std::wstring& argument : *part) command += L" \"" + argument + L"\"";

    Outcome run;
    const ui::UniqueHandleW out = Capture(), err = Capture();
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = out.get();
    startup.hStdError = err.get();
    PROCESS_INFORMATION process{};
    if (!out || !err ||
        !::CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE,
                          CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr, kProductDir, &startup,
                          &process)) {
        ADD_FAILURE() << "kvadmin.exe does not start: " << ::GetLastError();
        return run;
    }
    ui::UniqueHandleW child(process.hProcess), thread(process.hThread);
    // Named for the child's process id and made before it runs: the provider in the child opens
    // these instead of making its own, so the counts outlive the child.
    auto mapping = [&](const wchar_t* format, DWORD size) {
        wchar_t name[64];
        std::swprintf(name, 64, format, static_cast<unsigned long>(process.dwProcessId));
        return ui::UniqueHandleW(
            ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name));
    };
    const auto live = mapping(knobs::kLiveCountersFormat, sizeof(run.live));
    const auto calls = mapping(knobs::kCallCountersFormat, sizeof(knobs::CallCounters));
    ::ResumeThread(process.hThread);
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(process.hProcess, 120000));
    ::GetExitCodeProcess(process.hProcess, &run.exitCode);
    run.out = ReadAll(out);
    run.err = ReadAll(err);
    if (const auto view = View(live)) std::memcpy(run.live, view.get(), sizeof(run.live));
    if (const auto view = View(calls))
        for (const auto& entry : static_cast<const knobs::CallCounters*>(view.get())->entries) {
            if (!entry.name[0]) break;
            run.calls[std::string(entry.name, ::strnlen(entry.name, sizeof(entry.name)))] =
                entry.count;
        }
    return run;
}

void PutLinked(const std::vector<BYTE>& encoded, const std::wstring& container, DWORD spec) {
    ui::UniqueCertStore store = MachineStore();
    PCCERT_CONTEXT added = nullptr;
    std::wstring name = container, provider = kProvider;
    CRYPT_KEY_PROV_INFO info{name.data(), provider.data(), kType, CRYPT_MACHINE_KEYSET, 0, {},
                             spec};
    // Forced: Wine writes back after an added certificate only, not after a changed property.
    EXPECT_TRUE(store &&
                ::CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING, encoded.data(),
                                                   static_cast<DWORD>(encoded.size()),
                                                   CERT_STORE_ADD_USE_EXISTING, &added) &&
                ::CertSetCertificateContextProperty(added, CERT_KEY_PROV_INFO_PROP_ID, 0, &info) &&
                ::CertControlStore(store.get(), CERT_STORE_CTRL_COMMIT_FORCE_FLAG,
                                   CERT_STORE_CTRL_COMMIT, nullptr));
    ::CertFreeCertificateContext(added);
}

std::wstring LinkedContainer(const std::vector<BYTE>& encoded) {
    ui::UniqueCertStore store = MachineStore();
    ui::UniqueCertContext wanted(::CertCreateCertificateContext(
        X509_ASN_ENCODING, encoded.data(), static_cast<DWORD>(encoded.size())));
    if (!store || !wanted) return {};
    ui::UniqueCertContext found(::CertFindCertificateInStore(
        store.get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, wanted.get(), nullptr));
    return found ? LinkOf(found.get()).second : L"";
}

void ForgetAllLinked() {
    std::vector<std::vector<BYTE>> linked;
    if (ui::UniqueCertStore store = MachineStore()) {
        for (PCCERT_CONTEXT c = nullptr; (c = ::CertEnumCertificatesInStore(store.get(), c));)
            if (LinkOf(c).first == kProvider)
                linked.emplace_back(c->pbCertEncoded, c->pbCertEncoded + c->cbCertEncoded);
    }
    for (const auto& encoded : linked) Forget(encoded);
}

TempFile::TempFile(const wchar_t* name) {
    wchar_t dir[MAX_PATH];
    ::GetTempPathW(MAX_PATH, dir);
    path = std::wstring(dir) + name;
}

TempFile::~TempFile() {
    ::DeleteFileW(path.c_str());
}

std::string TempFile::Read() const {
    std::string bytes;
    if (FILE* file = ::_wfopen(path.c_str(), L"rb")) {
        char buffer[4096];
        for (size_t read; (read = std::fread(buffer, 1, sizeof(buffer), file)) > 0;)
            bytes.append(buffer, read);
        std::fclose(file);
    }
    return bytes;
}

void TempFile::Write(const std::string& bytes) const {
    FILE* file = ::_wfopen(path.c_str(), L"wb");
    ASSERT_TRUE(file);
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
}

std::string ExportSettings() {
    TempFile profile(L"kvadmin-export.json");
    const Outcome run = RunAdmin({L"settings", L"export", profile.path});
    EXPECT_EQ(0u, run.exitCode) << run.err;
    return profile.Read();
}

std::optional<DWORD> StoreNumber(const wchar_t* scope, const wchar_t* section,
                                 const wchar_t* name) {
    const std::wstring key =
        std::wstring(L"Software\\Kelvane\\Testbed\\Store\\") + scope + L"\\" + section;
    DWORD value = 0, size = sizeof(value);
    if (::RegGetValueW(std::wstring(scope) == L"local" ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE,
                       key.c_str(), name, RRF_RT_REG_DWORD, nullptr, &value,
                       &size) != ERROR_SUCCESS)
        return std::nullopt;
    return value;
}

}  // namespace admintest
