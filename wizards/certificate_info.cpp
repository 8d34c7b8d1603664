#include "wizards/certificate_info.h"

#include "ui/resources.h"
#include "applet/crypt_reads.h"

#include <cstring>

namespace applet {

std::wstring FromAnsi(const char* text, size_t length) {
    if (length == 0) return {};
    const int chars = ::MultiByteToWideChar(CP_ACP, 0, text, static_cast<int>(length), nullptr, 0);
    std::wstring wide(chars > 0 ? chars : 0, L'\0');
    if (chars > 0)
        ::MultiByteToWideChar(CP_ACP, 0, text, static_cast<int>(length), wide.data(), chars);
    return wide;
}

std::wstring AnsiText(const std::vector<BYTE>& data) {
    const char* text = reinterpret_cast<const char*>(data.data());
    return FromAnsi(text, ::strnlen(text, data.size()));
}

std::wstring CertificateName(PCCERT_CONTEXT certificate, DWORD type, DWORD flags,
                             DWORD nameFormat) {
    void* format = nameFormat ? &nameFormat : nullptr;
    // Most names fit: one call. One that fills the buffer may have been cut and is asked its
    // length.
    wchar_t buffer[256];
    DWORD length = ::CertGetNameStringW(certificate, type, flags, format, buffer, 256);
    if (length < 256) return std::wstring(buffer, length ? length - 1 : 0);
    length = ::CertGetNameStringW(certificate, type, flags, format, nullptr, 0);
    std::wstring name(length, L'\0');
    length = ::CertGetNameStringW(certificate, type, flags, format, name.data(), length);
    name.resize(length ? length - 1 : 0);
    return name;
}

std::wstring FormatSerialNumber(const CRYPT_INTEGER_BLOB& serial) {
    std::wstring text;
    // The blob holds the least significant byte first.
    for (DWORD i = 0; i < serial.cbData; ++i) {
        if (i > 0 && i % 2 == 0) text += L' ';
        text += ui::Printf(L"%02X", serial.pbData[serial.cbData - 1 - i]);
    }
    return text;
}

std::wstring FormatLocalTime(const FILETIME& time) {
    SYSTEMTIME utc, local;
    if (!::FileTimeToSystemTime(&time, &utc) ||
        !::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
        return {};
    wchar_t date[256] = {}, clock[256] = {};
    ::GetDateFormatW(LOCALE_USER_DEFAULT, DATE_LONGDATE, &local, nullptr, date, 255);
    ::GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &local, nullptr, clock, 255);
    return std::wstring(date) + L" " + clock;
}

CertificateFields ReadCertificateFields(PCCERT_CONTEXT certificate) {
    const CERT_INFO& info = *certificate->pCertInfo;
    return {
        CertificateName(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0),
        CertificateName(certificate, CERT_NAME_RDN_TYPE, 0, CERT_X500_NAME_STR),
        CertificateName(certificate, CERT_NAME_RDN_TYPE, CERT_NAME_ISSUER_FLAG, CERT_X500_NAME_STR),
        FormatLocalTime(info.NotBefore),
        FormatLocalTime(info.NotAfter),
        FormatSerialNumber(info.SerialNumber)};
}

std::wstring AlgorithmName(ALG_ID algorithm) {
    PCCRYPT_OID_INFO info = ::CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &algorithm, 0);
    return info && info->pwszName ? std::wstring(info->pwszName) : ui::Printf(L"0x%X", algorithm);
}

ui::UniqueCertContext KeyCertificate(HCRYPTKEY key) {
    std::vector<BYTE> encoded;
    if (!ReadSized(KeyParam(key, KP_CERTIFICATE), encoded)) return {};
    return ui::UniqueCertContext(::CertCreateCertificateContext(
        kCertificateEncoding, encoded.data(), static_cast<DWORD>(encoded.size())));
}

bool ExportPublicKeyInfo(HCRYPTPROV prov, DWORD spec, std::vector<BYTE>& info) {
    auto get = [&](BYTE* buffer, DWORD* size) {
        return ::CryptExportPublicKeyInfo(prov, spec, kCertificateEncoding,
                                          reinterpret_cast<PCERT_PUBLIC_KEY_INFO>(buffer),
                                          size) != FALSE;
    };
    // A public key's record fits at once: one export, which makes the provider open the key and
    // encode it, instead of two. Only a larger record is asked its size. Shrinking keeps the
    // buffer, so the record's pointers into it stay good.
    constexpr DWORD kFirstTry = 512;
    info.resize(kFirstTry);
    DWORD size = kFirstTry;
    if (get(info.data(), &size)) {
        info.resize(size);
        return true;
    }
    if (::GetLastError() != ERROR_MORE_DATA && size <= kFirstTry) return false;
    return ReadSized(get, info);
}

std::optional<bool> KeyMatches(HCRYPTPROV prov, DWORD spec, PCCERT_CONTEXT certificate) {
    std::vector<BYTE> info;
    if (!ExportPublicKeyInfo(prov, spec, info)) return std::nullopt;
    return ::CertComparePublicKeyInfo(kCertificateEncoding,
                                      reinterpret_cast<PCERT_PUBLIC_KEY_INFO>(info.data()),
                                      &certificate->pCertInfo->SubjectPublicKeyInfo) != FALSE;
}

DWORD MatchContainerKey(HCRYPTPROV prov, PCCERT_CONTEXT certificate) {
    for (DWORD spec : {DWORD{AT_SIGNATURE}, DWORD{AT_KEYEXCHANGE}})
        if (KeyMatches(prov, spec, certificate).value_or(false)) return spec;
    return 0;
}

bool KeyProvRecord::Read(HCRYPTPROV prov, DWORD acquireFlags, HCRYPTKEY key) {
    std::vector<BYTE> container, provider;
    DWORD type = 0, algorithm = 0, size = sizeof(type);
    if (!ReadSized(ProvParam(prov, PP_UNIQUE_CONTAINER), container) ||
        !ReadSized(ProvParam(prov, PP_NAME), provider) ||
        !::CryptGetProvParam(prov, PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &size, 0))
        return false;
    size = sizeof(algorithm);
    if (!::CryptGetKeyParam(key, KP_ALGID, reinterpret_cast<BYTE*>(&algorithm), &size, 0))
        return false;
    container_ = AnsiText(container);
    provider_ = AnsiText(provider);
    info_ = {};
    info_.pwszContainerName = container_.data();
    info_.pwszProvName = provider_.data();
    info_.dwProvType = type;
    info_.dwFlags = acquireFlags & CRYPT_MACHINE_KEYSET;
    info_.dwKeySpec =
        GET_ALG_CLASS(algorithm) == ALG_CLASS_SIGNATURE ? AT_SIGNATURE : AT_KEYEXCHANGE;
    return true;
}

bool OpenCertificateFile(const std::wstring& path, CertificateFile& file) {
    file = CertificateFile{};
    file.store.reset(::CertOpenStore(CERT_STORE_PROV_FILENAME_W, kCertificateEncoding, 0,
                                     CERT_STORE_OPEN_EXISTING_FLAG, path.c_str()));
    if (!file.store) return false;
    PCCERT_CONTEXT first = ::CertEnumCertificatesInStore(file.store.get(), nullptr);
    if (!first) {
        file.store.reset();
        return false;
    }
    // The enumeration frees the context it goes on from.
    ui::UniqueCertContext only(::CertDuplicateCertificateContext(first));
    ui::UniqueCertContext second(::CertEnumCertificatesInStore(file.store.get(), first));
    file.several = static_cast<bool>(second);
    if (!file.several) file.certificate = std::move(only);
    return true;
}

}  // namespace applet
