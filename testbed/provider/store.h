// The container store: each provider name keeps its containers in a directory of the prefix,
// one for the user (%LOCALAPPDATA%) and one for the machine (%ProgramData%), one file per
// container. Every change is written through at once, so every context sees it.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <optional>
#include <string>
#include <vector>

namespace kvcsp {

struct KeyPairRecord {
    ALG_ID alg = 0;
    bool exportable = false;
    std::vector<BYTE> ecc;  // X, Y, d of the P-256 key, 32 bytes each, big-endian
    std::string hashSet;    // key parameter 103
    std::string dhSet;      // key parameter 106
    std::vector<BYTE> certificate;
};

struct ExtensionRecord {
    std::string oid;
    DWORD critical = 0;
    std::vector<BYTE> value;
};

struct Container {
    std::string name;
    std::string id;                        // given at creation; part of the unique name
    std::string hashSet;                   // provider parameter 92
    std::string cipherSet;                 // provider parameter 93
    std::optional<KeyPairRecord> keys[2];  // AT_KEYEXCHANGE, AT_SIGNATURE
    std::vector<ExtensionRecord> extensions;
    DWORD passwordChanges = 0;

    std::optional<KeyPairRecord>& Key(DWORD spec) { return keys[spec == AT_SIGNATURE ? 1 : 0]; }
    std::string UniqueName() const;
    std::string Fqcn() const;
};

// The containers of one provider name, the user's or the machine's.
class Store {
public:
    Store(const std::string& provider, bool machine);

    DWORD Names(std::vector<std::string>& names) const;               // in byte order of the names
    DWORD Load(const std::string& name, Container& container) const;  // NTE_BAD_KEYSET
    DWORD Create(Container& container) const;                         // gives it its id; NTE_EXISTS
    DWORD Save(const Container& container) const;  // NTE_BAD_KEYSET when it has gone
    DWORD Remove(const std::string& name) const;   // NTE_BAD_KEYSET

    // What CPAcquireContext was given (a name, "\\.\DISK\name" or a unique name) as a name;
    // NTE_BAD_KEYSET_PARAM when it can't name a container of this provider.
    static DWORD Resolve(const std::string& given, std::string& name, std::string& id);

private:
    std::wstring Path(const std::string& name) const;
    std::wstring dir_;
};

}  // namespace kvcsp
