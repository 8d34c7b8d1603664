// A private key container's extensions as the provider lists them (provider parameter 133):
// the enumeration, and the one reader of its records.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <optional>
#include <string>
#include <vector>

namespace ATL2 {

// Receives the records of one enumeration, in order. Returning false from either operation
// ends the enumeration.
class CContainerExtensionEnum {
public:
    virtual ~CContainerExtensionEnum() = default;
    // The record as the provider gave it.
    virtual bool OnRawRecord(const BYTE* record, DWORD length);
    // The same record read: `value` points into it.
    virtual bool OnExtension(const BYTE* value, const char* oid, DWORD length, LONG critical);
};

}  // namespace ATL2

namespace applet {

// One container extension record: a 32-bit critical flag, a 32-bit value length n, n bytes of
// DER value, then the extension's object identifier as zero-terminated ANSI text. `value`
// points into the record.
struct ExtensionItem {
    LONG critical = 0;
    const BYTE* value = nullptr;
    DWORD length = 0;
    std::string oid;
};
// Reads no byte outside [record, record + size). Empty when the record is shorter than its
// header, its value runs past its end, or its identifier has no terminating zero inside it.
std::optional<ExtensionItem> ParseExtensionRecord(const BYTE* record, size_t size);

// The encoded certificates an extension value of a certificate-set identifier carries, decoded
// as its identifier says; empty when it does not decode as a set.
std::optional<std::vector<std::vector<BYTE>>> DecodeCertificateSet(const char* oid,
                                                                   const BYTE* value, DWORD length);

// How each fetch after the first is sized.
enum class ExtensionFetch {
    kWholeBuffer,  // offered the whole buffer every time
    kLastLength,   // offered the length the fetch before returned: a longer record ends it
};

struct ExtensionListing {
    DWORD error = 0;       // 0 when the list ended normally (ERROR_NO_MORE_ITEMS)
    bool sized = false;    // the size query succeeded: a failure came from a fetch
    bool stopped = false;  // the enumerator asked to stop
};

// Lists the extensions of `container` into `sink`, every record through OnRawRecord and, when
// it reads and that returns true, through OnExtension. The buffer is sized once by the size
// query; whatever the provider answers, no record handed on reaches past it.
ExtensionListing EnumContainerExtensions(HCRYPTPROV container, ATL2::CContainerExtensionEnum& sink,
                                         ExtensionFetch fetch);

}  // namespace applet
