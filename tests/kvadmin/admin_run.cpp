#include "admin_run.h"

#include "testbed/knobs.h"
#include "ui/handles.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <thread>

namespace admintest {

namespace {

// A mapping named for the child's process id, made before the child runs: the provider in the
// child opens it instead of making its own, so the counts outlive the child.
class ChildMapping {
public:
    ChildMapping(const wchar_t* format, DWORD pid, DWORD size) {
        wchar_t name[64];
        std::swprintf(name, 64, format, static_cast<unsigned long>(pid));
        mapping_.reset(
            ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name));
        if (mapping_) view_ = ::MapViewOfFile(mapping_.get(), FILE_MAP_READ, 0, 0, 0);
    }
    ~ChildMapping() {
        if (view_) ::UnmapViewOfFile(view_);
    }
    template <class T>
    const T* View() const {
        return static_cast<const T*>(view_);
    }

private:
    ui::UniqueHandleW mapping_;
    void* view_ = nullptr;
};

std::string ReadAll(HANDLE pipe) {
    std::string text;
    char buffer[4096];
    DWORD read = 0;
    while (::ReadFile(pipe, buffer, sizeof(buffer), &read, nullptr) && read)
        text.append(buffer, read);
    return text;
}

std::wstring CertificateKey(const std::vector<BYTE>& encoded) {
    BYTE hash[20];
    DWORD size = sizeof(hash);
    ::CryptHashCertificate(0, CALG_SHA1, 0, encoded.data(), static_cast<DWORD>(encoded.size()),
                           hash, &size);
    std::wstring key = L"Software\\Microsoft\\SystemCertificates\\My\\Certificates\\";
    for (DWORD i = 0; i < size; ++i) {
        wchar_t digits[3];
        std::swprintf(digits, 3, L"%02X", hash[i]);
        key += digits;
    }
    return key;
}

ui::UniqueCertStore MachineStore() {
    return ui::UniqueCertStore(::CertOpenStore(CERT_STORE_PROV_SYSTEM_REGISTRY_W, 0, 0,
                                               CERT_SYSTEM_STORE_LOCAL_MACHINE, L"My"));
}

// The link a certificate of the store carries, or none.
std::optional<std::vector<BYTE>> Link(PCCERT_CONTEXT certificate) {
    DWORD size = 0;
    if (!::CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr,
                                             &size))
        return std::nullopt;
    std::vector<BYTE> data(size);
    if (!::CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, data.data(),
                                             &size))
        return std::nullopt;
    return data;
}

const CRYPT_KEY_PROV_INFO* Info(const std::vector<BYTE>& data) {
    return reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(data.data());
}

}  // namespace

bool Outcome::Names(DWORD error) const {
    char code[16];
    std::snprintf(code, sizeof(code), "0x%08lX", static_cast<unsigned long>(error));
    return out.find(code) != std::string::npos || err.find(code) != std::string::npos;
}

Outcome RunAdmin(const std::vector<std::wstring>& arguments) {
    const std::wstring program = std::wstring(kProductDir) + L"kvadmin.exe";
    // No argument of these tests holds a quote.
    std::wstring command = L"\"" + program + L"\"";
    for (const std::wstring& argument : arguments) command += L" \"" + argument + L"\"";

    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    HANDLE outRead = nullptr, outWrite = nullptr, errRead = nullptr, errWrite = nullptr;
    Outcome run;
    if (!::CreatePipe(&outRead, &outWrite, &inherit, 0) ||
        !::CreatePipe(&errRead, &errWrite, &inherit, 0)) {
        ADD_FAILURE() << "no pipes: " << ::GetLastError();
        return run;
    }
    ui::UniqueHandleW outReader(outRead), errReader(errRead), outWriter(outWrite),
        errWriter(errWrite);
    ::SetHandleInformation(outRead, HANDLE_FLAG_INHERIT, 0);
    ::SetHandleInformation(errRead, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = outWrite;
    startup.hStdError = errWrite;
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE,
                          CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr, kProductDir, &startup,
                          &process)) {
        ADD_FAILURE() << "kvadmin.exe does not start: " << ::GetLastError();
        return run;
    }
    ui::UniqueHandleW child(process.hProcess), thread(process.hThread);
    ChildMapping live(testbed::knobs::kLiveCountersFormat, process.dwProcessId, 3 * sizeof(LONG));
    ChildMapping calls(testbed::knobs::kCallCountersFormat, process.dwProcessId,
                       sizeof(testbed::knobs::CallCounters));
    outWriter.reset();
    errWriter.reset();
    std::thread errors([&] { run.err = ReadAll(errRead); });
    ::ResumeThread(process.hThread);
    run.out = ReadAll(outRead);
    errors.join();
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(process.hProcess, 120000));
    ::GetExitCodeProcess(process.hProcess, &run.exitCode);
    if (const LONG* counters = live.View<LONG>()) {
        run.contexts = counters[0];
        run.keys = counters[1];
        run.hashes = counters[2];
    }
    if (const auto* counters = calls.View<testbed::knobs::CallCounters>())
        for (const testbed::knobs::CallCounter& entry : counters->entries) {
            if (!entry.name[0]) break;
            run.calls[std::string(entry.name, ::strnlen(entry.name, sizeof(entry.name)))] =
                entry.count;
        }
    return run;
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2)
        lines.push_back(text.substr(start, end - start));
    if (start < text.size()) lines.push_back(text.substr(start));
    return lines;
}

Failure::Failure(const std::string& entry, DWORD call, DWORD error)
    : key_(std::wstring(testbed::knobs::kFail) + L"\\" + std::wstring(entry.begin(), entry.end())) {
    ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key_.c_str(), testbed::knobs::kFailCall, REG_DWORD, &call,
                      sizeof(call));
    ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key_.c_str(), testbed::knobs::kFailError, REG_DWORD,
                      &error, sizeof(error));
}

Failure::~Failure() {
    ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key_.c_str());
}

bool Failure::Fired() const {
    ui::UniqueHKey key;
    return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key_.c_str(), 0, KEY_QUERY_VALUE, key.put()) ==
           ERROR_FILE_NOT_FOUND;
}

void PutLinked(const std::vector<BYTE>& encoded, const std::wstring& container, DWORD spec) {
    ui::UniqueCertStore store = MachineStore();
    ASSERT_TRUE(store) << ::GetLastError();
    PCCERT_CONTEXT added = nullptr;
    ASSERT_TRUE(::CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING, encoded.data(),
                                                   static_cast<DWORD>(encoded.size()),
                                                   CERT_STORE_ADD_USE_EXISTING, &added));
    ui::UniqueCertContext certificate(added);
    CRYPT_KEY_PROV_INFO info{};
    std::wstring name = container, provider = kProvider;
    info.pwszContainerName = name.data();
    info.pwszProvName = provider.data();
    info.dwProvType = kType;
    info.dwFlags = CRYPT_MACHINE_KEYSET;
    info.dwKeySpec = spec;
    ASSERT_TRUE(::CertSetCertificateContextProperty(certificate.get(), CERT_KEY_PROV_INFO_PROP_ID,
                                                    0, container.empty() ? nullptr : &info));
    // Forced: Wine writes back after an added certificate only, not after a changed property.
    ASSERT_TRUE(::CertControlStore(store.get(), CERT_STORE_CTRL_COMMIT_FORCE_FLAG,
                                   CERT_STORE_CTRL_COMMIT, nullptr));
}

std::wstring LinkedContainer(const std::vector<BYTE>& encoded) {
    ui::UniqueCertStore store = MachineStore();
    ui::UniqueCertContext wanted(::CertCreateCertificateContext(
        X509_ASN_ENCODING, encoded.data(), static_cast<DWORD>(encoded.size())));
    if (!store || !wanted) return {};
    ui::UniqueCertContext found(::CertFindCertificateInStore(
        store.get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, wanted.get(), nullptr));
    if (!found) return {};
    const auto link = Link(found.get());
    return link && Info(*link)->pwszContainerName ? Info(*link)->pwszContainerName : L"";
}

// Through the registry: Wine does not write a deletion from a system store back.
void Forget(const std::vector<BYTE>& encoded) {
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, CertificateKey(encoded).c_str());
}

void ForgetAllLinked() {
    std::vector<std::vector<BYTE>> linked;
    {
        ui::UniqueCertStore store = MachineStore();
        if (!store) return;
        ui::UniqueCertContext certificate;
        for (;;) {
            certificate.reset(::CertEnumCertificatesInStore(store.get(), certificate.release()));
            if (!certificate) break;
            const auto link = Link(certificate.get());
            if (link && Info(*link)->pwszProvName &&
                std::wstring(Info(*link)->pwszProvName) == kProvider)
                linked.emplace_back(
                    certificate.get()->pbCertEncoded,
                    certificate.get()->pbCertEncoded + certificate.get()->cbCertEncoded);
        }
    }
    for (const auto& encoded : linked) Forget(encoded);
}

}  // namespace admintest
