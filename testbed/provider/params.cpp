#include "params.h"

#include "common/knob.h"
#include "kvcsp.h"
#include "testbed/knobs.h"
#include "version.h"

#include <algorithm>
#include <cstdio>
#include <functional>

namespace kvcsp::params {
namespace {

using Bytes = std::vector<BYTE>;
using testbed::ReadKnob;
namespace knobs = testbed::knobs;

constexpr size_t kMaxSetText = 127;

struct SetEntry {
    const char* oid;
    DWORD nameId;
    const wchar_t* name;
};

// The parameter sets, first the default of each list. The test sets are named by string id.
const SetEntry kHashSets[] = {
    {"1.2.643.2.2.30.1", 0, L"Hash parameters, working set"},
    {"1.2.643.2.2.30.0", kTestParamSetNameId, nullptr},
};
const SetEntry kCipherSets[] = {
    {"1.2.643.2.2.31.1", 0, L"Cipher parameters A"},
    {"1.2.643.2.2.31.2", 0, L"Cipher parameters B"},
    {"1.2.643.2.2.31.3", 0, L"Cipher parameters C"},
    {"1.2.643.2.2.31.4", 0, L"Cipher parameters D"},
    {"1.2.643.2.2.31.0", kTestParamSetNameId, nullptr},
    // Longer than the 64 bytes a reader may offer first.
    {kLongCipherSet, 0, L"Cipher parameters, extended identifier"},
};
const SetEntry kSignatureSets[] = {
    {"1.2.643.2.2.35.1", 0, L"Signature parameters A"},
    {"1.2.643.2.2.35.2", 0, L"Signature parameters B"},
    {"1.2.643.2.2.35.3", 0, L"Signature parameters C"},
    {"1.2.643.2.2.35.0", kTestParamSetNameId, nullptr},
};
const SetEntry kSignatureSets94[] = {
    {"1.2.643.2.2.32.2", 0, L"Signature parameters A (94)"},
    {"1.2.643.2.2.32.3", 0, L"Signature parameters B (94)"},
    {"1.2.643.2.2.32.4", 0, L"Signature parameters C (94)"},
    {"1.2.643.2.2.32.0", kTestParamSetNameId, nullptr},
};
const SetEntry kDhSets[] = {
    {"1.2.643.2.2.36.0", 0, L"Exchange parameters XA"},
    {"1.2.643.2.2.36.1", 0, L"Exchange parameters XB"},
    {"1.2.643.2.2.36.2", kTestParamSetNameId, nullptr},
};
const SetEntry kDhSets94[] = {
    {"1.2.643.2.2.33.1", 0, L"Exchange parameters XA (94)"},
    {"1.2.643.2.2.33.2", 0, L"Exchange parameters XB (94)"},
    {"1.2.643.2.2.33.0", kTestParamSetNameId, nullptr},
};

struct SetList {
    const SetEntry* begin;
    const SetEntry* end;
};

template <size_t N>
SetList ListOf(const SetEntry (&entries)[N]) {
    return {entries, entries + N};
}

SetList Sets(DWORD type, SetKind kind) {
    bool type94 = type == kType94;
    switch (kind) {
        case SetKind::kHash:
            return ListOf(kHashSets);
        case SetKind::kCipher:
            return ListOf(kCipherSets);
        case SetKind::kSignature:
            return type94 ? ListOf(kSignatureSets94) : ListOf(kSignatureSets);
        case SetKind::kDh:
            break;
    }
    return type94 ? ListOf(kDhSets94) : ListOf(kDhSets);
}

bool InList(SetList list, const std::string& oid) {
    return std::any_of(list.begin, list.end, [&](const SetEntry& e) { return oid == e.oid; });
}

// The provider's defaults live in the configuration store's "\config\oid", one section per
// provider type (kvsuprt keeps the store under this registry key).
std::wstring DefaultsKey(DWORD type) {
    wchar_t key[96];
    std::swprintf(key, 96, L"Software\\Kelvane\\Testbed\\Store\\config\\oid\\Type %03lu", type);
    return key;
}

const wchar_t* const kDefaultNames[] = {L"Hash", L"Cipher", L"Signature", L"DH"};

DWORD WriteDefault(DWORD type, SetKind kind, const std::string& oid) {
    std::wstring value(oid.begin(), oid.end());
    return ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, DefaultsKey(type).c_str(),
                             kDefaultNames[static_cast<int>(kind)], REG_SZ, value.c_str(),
                             static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

Bytes EntryBytes(const SetEntry& entry) {
    std::wstring name = entry.name ? entry.name : L"";
    std::string value = entry.oid;
    ParamSetEntry head{entry.nameId, static_cast<DWORD>(value.size() + 1)};
    Bytes bytes(reinterpret_cast<BYTE*>(&head), reinterpret_cast<BYTE*>(&head) + sizeof(head));
    const BYTE* text = reinterpret_cast<const BYTE*>(name.c_str());
    bytes.insert(bytes.end(), text, text + (name.size() + 1) * sizeof(wchar_t));
    bytes.insert(bytes.end(), value.c_str(), value.c_str() + value.size() + 1);
    return bytes;
}

Bytes TextBytes(const std::string& text) {
    return Bytes(text.c_str(), text.c_str() + text.size() + 1);
}

// One step of an enumeration: CRYPT_FIRST takes a fresh snapshot (and, without a buffer, asks
// for the largest item); flag 0 goes on where the last successful fetch left off. A fetch that
// fails for want of room does not move on.
DWORD Enumerate(Context& context, DWORD param, DWORD flags, BYTE* data, DWORD* length,
                const std::function<DWORD(std::vector<Bytes>&)>& snapshot) {
    if (flags & ~DWORD{CRYPT_FIRST | CRYPT_NEXT}) return static_cast<DWORD>(NTE_BAD_FLAGS);
    Context::Listing& listing = context.listings[param];
    if ((flags & CRYPT_FIRST) || !listing.started) {
        listing = Context::Listing{};
        if (DWORD error = snapshot(listing.items)) return error;
        listing.started = true;
    }
    if (!data && (flags & CRYPT_FIRST)) {
        if (listing.items.empty()) return ERROR_NO_MORE_ITEMS;
        size_t largest = 0;
        for (const Bytes& item : listing.items) largest = std::max(largest, item.size());
        *length = static_cast<DWORD>(largest);
        return 0;
    }
    if (listing.next >= listing.items.size()) return ERROR_NO_MORE_ITEMS;
    DWORD error = CopyOut(listing.items[listing.next], data, length);
    if (!error && data) ++listing.next;
    return error;
}

DWORD NeedContainer(const Context& context, Container& container) {
    if (context.verify) return static_cast<DWORD>(NTE_BAD_KEYSET);
    return context.GetStore().Load(context.container, container);
}

DWORD Version() {
    const WORD version[] = {KV_TESTBED_VERSION};
    return (version[0] << 8) | version[1];
}

DWORD GetDword(DWORD value, BYTE* data, DWORD* length) {
    return CopyOut(&value, sizeof(value), data, length);
}

DWORD PickContainer(BYTE* data, DWORD* length) {
    testbed::CountCall(knobs::kCallContainerPicker);
    wchar_t picked[261] = {};
    DWORD size = sizeof(picked);
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, knobs::kProvider, knobs::kPickedContainer, RRF_RT_REG_SZ,
                       nullptr, picked, &size) != ERROR_SUCCESS)
        return ERROR_CANCELLED;
    char name[600] = {};
    ::WideCharToMultiByte(CP_ACP, 0, picked, -1, name, sizeof(name), nullptr, nullptr);
    return CopyOut(std::string(name), data, length);
}

DWORD ChangePassword(const Context& context, const BYTE* data) {
    Container container;
    if (DWORD error = NeedContainer(context, container)) return error;
    PasswordRequest request{};
    if (!data) return static_cast<DWORD>(NTE_BAD_DATA);
    std::memcpy(&request, data, sizeof(request));
    if (request.kind != kPasswordKindDialog || request.password)
        return static_cast<DWORD>(NTE_BAD_DATA);
    testbed::CountCall(knobs::kCallPasswordChange);
    if (DWORD error = ReadKnob(knobs::kProvider, knobs::kPasswordResult, 0)) return error;
    ++container.passwordChanges;
    return context.GetStore().Save(container);
}

DWORD AddExtension(const Context& context, const BYTE* data) {
    Container container;
    if (DWORD error = NeedContainer(context, container)) return error;
    ExtensionRequest request{};
    if (!data) return static_cast<DWORD>(NTE_BAD_DATA);
    std::memcpy(&request, data, sizeof(request));
    ExtensionRecord record;
    if (!request.oid || !ReadText(reinterpret_cast<const BYTE*>(request.oid), 255, record.oid) ||
        record.oid.empty() || (request.valueLength && !request.value))
        return static_cast<DWORD>(NTE_BAD_DATA);
    record.critical = request.critical;
    record.value.assign(request.value, request.value + request.valueLength);
    container.extensions.push_back(record);
    return context.GetStore().Save(container);
}

Bytes ExtensionBytes(const ExtensionRecord& record) {
    DWORD head[2] = {record.critical, static_cast<DWORD>(record.value.size())};
    Bytes bytes(reinterpret_cast<BYTE*>(head), reinterpret_cast<BYTE*>(head) + sizeof(head));
    bytes.insert(bytes.end(), record.value.begin(), record.value.end());
    bytes.insert(bytes.end(), record.oid.c_str(), record.oid.c_str() + record.oid.size() + 1);
    return bytes;
}

// An extension record spoiled as the fault knob asks.
Bytes Malformed(Bytes record, DWORD fault) {
    switch (fault) {
        case knobs::kExtensionValuePastEnd: {
            DWORD length = 0;
            std::memcpy(&length, record.data() + sizeof(DWORD), sizeof(length));
            length += 1000;
            std::memcpy(record.data() + sizeof(DWORD), &length, sizeof(length));
            break;
        }
        case knobs::kExtensionOidUnterminated:
            record.pop_back();
            break;
        case knobs::kExtensionShortRecord:
            record.resize(sizeof(DWORD));
            break;
    }
    return record;
}

// The knobs of one provider name: its own subkey of kProvider, where a set also records what
// it was given.
std::wstring OwnKnobs(const Context& context) {
    return std::wstring(knobs::kProvider) + L"\\" +
           std::wstring(context.provider.begin(), context.provider.end());
}

// The provider's own value of a knob, else the value all providers share.
DWORD ProviderKnob(const Context& context, const wchar_t* name, DWORD fallback) {
    return ReadKnob(OwnKnobs(context).c_str(), name, ReadKnob(knobs::kProvider, name, fallback));
}

// A set parameter that has to last is written back into the provider's own knob.
void WriteState(const Context& context, const wchar_t* name, DWORD value) {
    ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, OwnKnobs(context).c_str(), name, REG_DWORD, &value,
                      sizeof(value));
}

DWORD SetCache(const Context& context, const BYTE* data) {
    if (!data) return static_cast<DWORD>(NTE_BAD_DATA);
    DWORD size;
    std::memcpy(&size, data, sizeof(size));
    DWORD maximum = ProviderKnob(context, knobs::kCacheMaximum, 64);
    if (!maximum) return static_cast<DWORD>(NTE_BAD_TYPE);
    if (size > maximum) return static_cast<DWORD>(NTE_BAD_DATA);
    WriteState(context, knobs::kCacheSize, size);
    return 0;
}

DWORD SetDhControl(const Context& context, const BYTE* data) {
    if (!ProviderKnob(context, knobs::kDhControl, kDhOn)) return static_cast<DWORD>(NTE_BAD_TYPE);
    if (!data) return static_cast<DWORD>(NTE_BAD_DATA);
    DWORD state;
    std::memcpy(&state, data, sizeof(state));
    if (state != kDhOn && state != kDhOff) return static_cast<DWORD>(NTE_BAD_DATA);
    if (ProviderKnob(context, knobs::kDhControlFixed, 0)) return static_cast<DWORD>(NTE_PERM);
    WriteState(context, knobs::kDhControl, state);
    return 0;
}

}  // namespace

std::string Default(DWORD type, SetKind kind) {
    SetList list = Sets(type, kind);
    wchar_t value[kMaxSetText + 1] = {};
    DWORD size = sizeof(value);
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, DefaultsKey(type).c_str(),
                       kDefaultNames[static_cast<int>(kind)], RRF_RT_REG_SZ, nullptr, value,
                       &size) == ERROR_SUCCESS) {
        std::wstring wide(value);
        std::string oid(wide.begin(), wide.end());
        if (InList(list, oid)) return oid;
    }
    return list.begin->oid;
}

bool Known(SetKind kind, const std::string& oid) {
    return InList(Sets(kType2001, kind), oid) || InList(Sets(kType94, kind), oid);
}

DWORD Get(Context& context, DWORD param, BYTE* data, DWORD* length, DWORD flags) {
    if (!length) return ERROR_INVALID_PARAMETER;
    bool listing = param == PP_ENUMCONTAINERS || param == kParamExtensions ||
                   (param >= kParamHashSets && param <= kParamDhSets);
    if (flags && !listing) return static_cast<DWORD>(NTE_BAD_FLAGS);
    Container container;
    switch (param) {
        case PP_NAME:
            return CopyOut(context.provider, data, length);
        case PP_PROVTYPE: {
            const DWORD reported = ReadKnob(knobs::kProvider, knobs::kReportedType, 0);
            return GetDword(reported ? reported : context.type, data, length);
        }
        case PP_VERSION:
            return GetDword(Version(), data, length);
        case PP_IMPTYPE:
            return GetDword(CRYPT_IMPL_SOFTWARE, data, length);
        case PP_KEYSPEC:
            return GetDword(AT_KEYEXCHANGE | AT_SIGNATURE, data, length);
        case PP_CONTAINER:
            if (DWORD error = NeedContainer(context, container)) return error;
            return CopyOut(container.name, data, length);
        case PP_UNIQUE_CONTAINER:
            if (DWORD error = NeedContainer(context, container)) return error;
            return CopyOut(container.UniqueName(), data, length);
        case kParamFqcn:
            if (DWORD error = NeedContainer(context, container)) return error;
            return CopyOut(container.Fqcn(), data, length);
        case PP_ENUMCONTAINERS:
            return Enumerate(context, param, flags, data, length, [&](std::vector<Bytes>& items) {
                std::vector<std::string> names;
                if (DWORD error = context.GetStore().Names(names)) return error;
                for (const std::string& name : names) items.push_back(TextBytes(name));
                return DWORD{0};
            });
        case kParamHashSet:
        case kParamCipherSet:
        case kParamSignatureSet:
        case kParamDhSet: {
            auto kind = static_cast<SetKind>(param - kParamHashSet);
            std::string value = Default(context.type, kind);
            if (param <= kParamCipherSet && !context.verify) {
                if (DWORD error = NeedContainer(context, container)) return error;
                const std::string& own =
                    param == kParamHashSet ? container.hashSet : container.cipherSet;
                if (!own.empty()) value = own;
            }
            return CopyOut(value, data, length);
        }
        case kParamHashSets:
        case kParamCipherSets:
        case kParamSignatureSets:
        case kParamDhSets:
            return Enumerate(context, param, flags, data, length, [&](std::vector<Bytes>& items) {
                SetList list = Sets(context.type, static_cast<SetKind>(param - kParamHashSets));
                for (const SetEntry* e = list.begin; e != list.end; ++e)
                    items.push_back(EntryBytes(*e));
                return DWORD{0};
            });
        case kParamKeysLoading:
            if (DWORD error = NeedContainer(context, container)) return error;
            return GetDword((container.keys[0] ? 1 : 0) + (container.keys[1] ? 1 : 0), data,
                            length);
        case kParamPickContainer:
            return PickContainer(data, length);
        case kParamCache: {
            DWORD maximum = ProviderKnob(context, knobs::kCacheMaximum, 64);
            CacheState state{ProviderKnob(context, knobs::kCacheSize, 0), maximum,
                             ProviderKnob(context, knobs::kCacheAvailable, maximum ? 1 : 0)};
            return CopyOut(&state, sizeof(state), data, length);
        }
        case kParamProtectionClass: {
            DWORD value = ProviderKnob(context, knobs::kProtectionClass, 1);
            if (!value) return static_cast<DWORD>(NTE_BAD_TYPE);
            return GetDword(value, data, length);
        }
        case kParamExtensions: {
            const DWORD fault = ReadKnob(knobs::kProvider, knobs::kExtensionFault, 0);
            if (data && context.extensionRoom && *length > context.extensionRoom)
                testbed::CountCall(knobs::kCallExtensionRoomOverstated);
            if (fault == knobs::kExtensionEmpty) {
                *length = 0;
                return DWORD{0};
            }
            if (fault == knobs::kExtensionEndless) flags |= CRYPT_FIRST;
            DWORD error =
                Enumerate(context, param, flags, data, length, [&](std::vector<Bytes>& items) {
                    if (DWORD error = NeedContainer(context, container)) return error;
                    for (const ExtensionRecord& e : container.extensions)
                        items.push_back(Malformed(ExtensionBytes(e), fault));
                    return DWORD{0};
                });
            if (!error && !data && (flags & CRYPT_FIRST)) context.extensionRoom = *length;
            if (!error && data && fault == knobs::kExtensionSizeOverstated) *length += 4096;
            return error;
        }
        case kParamBuild: {
            const WORD version[] = {KV_TESTBED_VERSION};
            BuildRecord record{
                Version(), version[3], ReadKnob(knobs::kProvider, knobs::kDebugBuild, 0), {0, 0}};
            return CopyOut(&record, sizeof(record), data, length);
        }
        case kParamDhControl: {
            DWORD state = ProviderKnob(context, knobs::kDhControl, kDhOn);
            if (!state) return static_cast<DWORD>(NTE_BAD_TYPE);
            DhControlState value{state, ProviderKnob(context, knobs::kDhControlFixed, 0) ? 0u : 1u};
            return CopyOut(&value, sizeof(value), data, length);
        }
        case kParamIntegrity:
            if (DWORD error = NeedContainer(context, container)) return error;
            return GetDword(ReadKnob(knobs::kProvider, knobs::kIntegrity, 0), data, length);
        default:
            return static_cast<DWORD>(NTE_BAD_TYPE);
    }
}

DWORD Set(Context& context, DWORD param, const BYTE* data, DWORD flags) {
    if (flags) return static_cast<DWORD>(NTE_BAD_FLAGS);
    switch (param) {
        case kParamHashSet:
        case kParamCipherSet:
        case kParamSignatureSet:
        case kParamDhSet: {
            auto kind = static_cast<SetKind>(param - kParamHashSet);
            std::string value;
            if (!ReadText(data, kMaxSetText, value) || !Known(kind, value))
                return static_cast<DWORD>(NTE_BAD_DATA);
            if (param <= kParamCipherSet && !context.verify) {
                // In a container, the hash and cipher sets are the container's own.
                Container container;
                Store store = context.GetStore();
                if (DWORD error = store.Load(context.container, container)) return error;
                (param == kParamHashSet ? container.hashSet : container.cipherSet) = value;
                return store.Save(container);
            }
            if (!InList(Sets(context.type, kind), value)) return static_cast<DWORD>(NTE_BAD_DATA);
            return WriteDefault(context.type, kind, value);
        }
        case kParamChangePassword:
            return ChangePassword(context, data);
        case kParamCache:
            return SetCache(context, data);
        case kParamAddExtension:
            return AddExtension(context, data);
        case kParamDhControl:
            return SetDhControl(context, data);
        default:
            return static_cast<DWORD>(NTE_BAD_TYPE);
    }
}

}  // namespace kvcsp::params
