// What the certificate wizards share about a certificate and the container that holds its key:
// the texts shown for its fields, whether a container's key is the certificate's, the record
// that links a certificate to a container, and certificate files opened as stores. None of it
// needs a window.
#pragma once

#include "ui/handles.h"

#include <windows.h>
#include <wincrypt.h>

#include <optional>
#include <string>
#include <vector>

namespace applet {

constexpr DWORD kCertificateEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

std::wstring FromAnsi(const char* text, size_t length);
// A zero-terminated ANSI text in `data`; a missing terminator ends it at the buffer's end.
std::wstring AnsiText(const std::vector<BYTE>& data);

// CertGetNameStringW as a string; `nameFormat` is its type parameter (CERT_X500_NAME_STR ...).
std::wstring CertificateName(PCCERT_CONTEXT certificate, DWORD type, DWORD flags,
                             DWORD nameFormat = 0);
// A certificate's serial number from its most significant byte: "01A2 B3C4 D5".
std::wstring FormatSerialNumber(const CRYPT_INTEGER_BLOB& serial);
// A UTC file time as the user's local long date, a space and the time.
std::wstring FormatLocalTime(const FILETIME& time);

// The texts a certificate is shown with: the names in their X.500 form.
struct CertificateFields {
    std::wstring name, subject, issuer, validFrom, validTo, serial;
};
CertificateFields ReadCertificateFields(PCCERT_CONTEXT certificate);

// The name the system gives a key's algorithm, or "0x661E" for one it does not know.
std::wstring AlgorithmName(ALG_ID algorithm);
// The certificate stored with a key (KP_CERTIFICATE), or none.
ui::UniqueCertContext KeyCertificate(HCRYPTKEY key);

// The public key info of the container's key `spec`, as a certificate for it would carry it.
bool ExportPublicKeyInfo(HCRYPTPROV prov, DWORD spec, std::vector<BYTE>& info);
// Whether key `spec` of the container is the certificate's key; none when it can't be exported.
std::optional<bool> KeyMatches(HCRYPTPROV prov, DWORD spec, PCCERT_CONTEXT certificate);
// Which key of the container is the certificate's: AT_SIGNATURE, AT_KEYEXCHANGE or 0. The
// signature key is tried first.
DWORD MatchContainerKey(HCRYPTPROV prov, PCCERT_CONTEXT certificate);

// The link from a certificate to the key `key` of an open container, as
// CERT_KEY_PROV_INFO_PROP_ID holds it. `Info()` points into the record.
class KeyProvRecord {
public:
    // `acquireFlags`: those the container was opened with. False with the last error.
    bool Read(HCRYPTPROV prov, DWORD acquireFlags, HCRYPTKEY key);
    const CRYPT_KEY_PROV_INFO* Info() const { return &info_; }

private:
    std::wstring container_, provider_;
    CRYPT_KEY_PROV_INFO info_{};
};

// A certificate file opened as a store: one certificate is taken as it is; with several the
// user has to pick one.
struct CertificateFile {
    ui::UniqueCertStore store;
    ui::UniqueCertContext certificate;  // none when the file holds several
    bool several = false;
};
// False when the file does not open as a store or holds no certificate.
bool OpenCertificateFile(const std::wstring& path, CertificateFile& file);

}  // namespace applet
