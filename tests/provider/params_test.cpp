// The provider parameters the settings pages and wizards read and set, with their layouts.
#include "provider_test.h"

#include <cstring>

namespace {

using namespace provider_test;

constexpr DWORD kPageFlags = CRYPT_VERIFYCONTEXT | kvcsp::kAcquireNoCarrier;

struct Entry {
    DWORD nameId = 0;
    std::wstring name;
    Bytes value;
};

// A list read the way the parameter combo reads it: length then data, CRYPT_FIRST for the first
// entry and flag 0 for each further one, until a read fails.
std::vector<Entry> List(HCRYPTPROV prov, DWORD param) {
    std::vector<Entry> entries;
    for (DWORD flags = CRYPT_FIRST;; flags = 0) {
        Bytes data;
        if (GetParam(prov, param, data, flags)) break;
        Entry entry;
        kvcsp::ParamSetEntry head;
        std::memcpy(&head, data.data(), sizeof(head));
        entry.nameId = head.nameId;
        entry.name = reinterpret_cast<const wchar_t*>(data.data() + sizeof(head));
        size_t value_at = sizeof(head) + (entry.name.size() + 1) * sizeof(wchar_t);
        entry.value.assign(data.begin() + value_at, data.end());
        EXPECT_EQ(head.valueLength, entry.value.size());
        entries.push_back(entry);
    }
    EXPECT_EQ(static_cast<DWORD>(ERROR_NO_MORE_ITEMS), Error());
    return entries;
}

DWORD Calls(const wchar_t* name) {
    DWORD count = 0;
    DWORD size = sizeof(count);
    ::RegGetValueW(HKEY_LOCAL_MACHINE, testbed::knobs::kCalls, name, RRF_RT_REG_DWORD, nullptr,
                   &count, &size);
    return count;
}

template <class T>
DWORD GetRecord(HCRYPTPROV prov, DWORD param, T& record) {
    DWORD size = sizeof(record);
    if (!::CryptGetProvParam(prov, param, reinterpret_cast<BYTE*>(&record), &size, 0))
        return Error();
    EXPECT_EQ(sizeof(record), size);
    return 0;
}

DWORD SetDword(HCRYPTPROV prov, DWORD param, DWORD value) {
    return ::CryptSetProvParam(prov, param, reinterpret_cast<const BYTE*>(&value), 0) ? 0 : Error();
}

class Params : public ProviderTest {};

TEST_F(Params, EachListNamesItsSetsAndHoldsTheCurrentOne) {
    for (const auto& [provider, type] : {std::pair{kvcsp::kProviderMain, kvcsp::kType2001},
                                         std::pair{kvcsp::kProvider94, kvcsp::kType94}}) {
        auto prov = Acquire(L"", kPageFlags, provider, type);
        for (DWORD k = 0; k < 4; ++k) {
            SCOPED_TRACE(testing::Message() << "type " << type << ", list " << 103 + k);
            auto entries = List(prov.get(), kvcsp::kParamHashSets + k);
            ASSERT_FALSE(entries.empty());
            int by_id = 0;
            for (const Entry& e : entries) {
                EXPECT_TRUE(e.nameId ? e.nameId < 0x10000 && e.name.empty() : !e.name.empty());
                by_id += e.nameId == kvcsp::kTestParamSetNameId;
            }
            EXPECT_EQ(1, by_id);
            Bytes current;
            ASSERT_EQ(0u, GetParam(prov.get(), kvcsp::kParamHashSet + k, current));
            int matches = 0;
            for (const Entry& e : entries) matches += e.value == current;
            EXPECT_EQ(1, matches) << "the current set is one entry's bytes exactly";
        }
    }
    auto signature75 = List(Verify().get(), kvcsp::kParamSignatureSets);
    auto signature71 =
        List(Verify(kvcsp::kProvider94, kvcsp::kType94).get(), kvcsp::kParamSignatureSets);
    EXPECT_NE(signature75.front().value, signature71.front().value);
}

TEST_F(Params, AChosenSetBecomesTheDefaultOfItsProviderType) {
    auto prov = Acquire(L"", kPageFlags);
    Bytes before;
    ASSERT_EQ(0u, GetParam(prov.get(), kvcsp::kParamCipherSet, before));
    auto entries = List(prov.get(), kvcsp::kParamCipherSets);
    ASSERT_GE(entries.size(), 2u);
    const Bytes& chosen = entries[1].value == before ? entries[0].value : entries[1].value;
    ASSERT_TRUE(::CryptSetProvParam(prov.get(), kvcsp::kParamCipherSet, chosen.data(), 0));

    Bytes after, other_type;
    EXPECT_EQ(0u, GetParam(Verify().get(), kvcsp::kParamCipherSet, after));
    EXPECT_EQ(0u, GetParam(Verify(kvcsp::kProvider94, kvcsp::kType94).get(), kvcsp::kParamCipherSet,
                           other_type));
    EXPECT_EQ(chosen, after);
    EXPECT_EQ(before, other_type);
    {
        auto container = Acquire(Name(L"new"), CRYPT_NEWKEYSET);
        Bytes own;
        EXPECT_EQ(0u, GetParam(container.get(), kvcsp::kParamCipherSet, own));
        EXPECT_EQ(chosen, own) << "a new container starts from the default";
    }
    auto foreign =
        List(Verify(kvcsp::kProvider94, kvcsp::kType94).get(), kvcsp::kParamSignatureSets);
    EXPECT_FALSE(::CryptSetProvParam(prov.get(), kvcsp::kParamSignatureSet,
                                     foreign.front().value.data(), 0));
    EXPECT_EQ(Hr(NTE_BAD_DATA), Error());
    ASSERT_TRUE(::CryptSetProvParam(prov.get(), kvcsp::kParamCipherSet, before.data(), 0));
}

TEST_F(Params, VersionBuildRecordAndProtectionClass) {
    auto prov = Acquire(L"", kPageFlags);
    EXPECT_EQ(kvcsp::kType2001, GetDword(prov.get(), PP_PROVTYPE));
    DWORD version = GetDword(prov.get(), PP_VERSION);
    EXPECT_EQ(0x0500u, version) << "5.0";
    kvcsp::BuildRecord build{};
    ASSERT_EQ(0u, GetRecord(prov.get(), kvcsp::kParamBuild, build));
    EXPECT_EQ(20u, sizeof(build));
    EXPECT_EQ(version, build.version);
    EXPECT_EQ(1u, build.build);
    EXPECT_EQ(0u, build.debug);
    SetKnob(testbed::knobs::kDebugBuild, DWORD{1});
    ASSERT_EQ(0u, GetRecord(prov.get(), kvcsp::kParamBuild, build));
    EXPECT_EQ(1u, build.debug);

    EXPECT_EQ(1u, GetDword(prov.get(), kvcsp::kParamProtectionClass));
    SetKnob(testbed::knobs::kProtectionClass, DWORD{6});
    EXPECT_EQ(6u, GetDword(prov.get(), kvcsp::kParamProtectionClass));
    SetKnob(testbed::knobs::kProtectionClass, DWORD{0});
    DWORD value = 0;
    EXPECT_EQ(Hr(NTE_BAD_TYPE), GetRecord(prov.get(), kvcsp::kParamProtectionClass, value));
}

TEST_F(Params, CacheKeepsTheSizeSetWithinTheMaximum) {
    auto prov = Acquire(L"", kPageFlags);
    kvcsp::CacheState cache{};
    ASSERT_EQ(0u, GetRecord(prov.get(), kvcsp::kParamCache, cache));
    EXPECT_EQ(64u, cache.maximum);
    EXPECT_EQ(1u, cache.available);
    EXPECT_EQ(0u, SetDword(prov.get(), kvcsp::kParamCache, 10));
    ASSERT_EQ(0u, GetRecord(Verify().get(), kvcsp::kParamCache, cache));
    EXPECT_EQ(10u, cache.size);
    // Each provider name keeps its own: the set is recorded under the one that was told.
    ASSERT_EQ(0u, GetRecord(Verify(kvcsp::kProviderCloud).get(), kvcsp::kParamCache, cache));
    EXPECT_EQ(0u, cache.size);
    DWORD recorded = 0, size = sizeof(recorded);
    EXPECT_EQ(ERROR_SUCCESS,
              ::RegGetValueW(
                  HKEY_LOCAL_MACHINE,
                  (std::wstring(testbed::knobs::kProvider) + L"\\" + kvcsp::kProviderMain).c_str(),
                  testbed::knobs::kCacheSize, RRF_RT_REG_DWORD, nullptr, &recorded, &size));
    EXPECT_EQ(10u, recorded);
    EXPECT_EQ(Hr(NTE_BAD_DATA), SetDword(prov.get(), kvcsp::kParamCache, 65));
    EXPECT_EQ(0u, SetDword(prov.get(), kvcsp::kParamCache, 0)) << "0 switches caching off";

    SetKnob(testbed::knobs::kCacheMaximum, DWORD{5000});
    SetKnob(testbed::knobs::kCacheAvailable, DWORD{0});
    ASSERT_EQ(0u, GetRecord(prov.get(), kvcsp::kParamCache, cache));
    EXPECT_EQ(5000u, cache.maximum);
    EXPECT_EQ(0u, cache.available);
    SetKnob(testbed::knobs::kCacheMaximum, DWORD{0});
    EXPECT_EQ(Hr(NTE_BAD_TYPE), SetDword(prov.get(), kvcsp::kParamCache, 1));
}

TEST_F(Params, DiffieHellmanControlSwitchesOrIsFixedOrAbsent) {
    auto prov = Acquire(L"", kPageFlags);
    SetKnob(testbed::knobs::kDhControl, kvcsp::kDhOn);
    kvcsp::DhControlState dh{};
    ASSERT_EQ(0u, GetRecord(prov.get(), kvcsp::kParamDhControl, dh));
    EXPECT_EQ(kvcsp::kDhOn, dh.state);
    EXPECT_EQ(1u, dh.changeable);
    EXPECT_EQ(0u, SetDword(prov.get(), kvcsp::kParamDhControl, kvcsp::kDhOff));
    ASSERT_EQ(0u, GetRecord(Verify().get(), kvcsp::kParamDhControl, dh));
    EXPECT_EQ(kvcsp::kDhOff, dh.state);
    EXPECT_EQ(Hr(NTE_BAD_DATA), SetDword(prov.get(), kvcsp::kParamDhControl, 3));

    SetKnob(testbed::knobs::kDhControlFixed, DWORD{1});
    ASSERT_EQ(0u, GetRecord(prov.get(), kvcsp::kParamDhControl, dh));
    EXPECT_EQ(0u, dh.changeable);
    EXPECT_EQ(Hr(NTE_PERM), SetDword(prov.get(), kvcsp::kParamDhControl, kvcsp::kDhOn));

    // The state set above is the main provider's own and outlasts the shared knob.
    SetKnob(testbed::knobs::kDhControl, DWORD{0});
    ASSERT_EQ(0u, GetRecord(prov.get(), kvcsp::kParamDhControl, dh));
    EXPECT_EQ(kvcsp::kDhOff, dh.state);
    EXPECT_EQ(Hr(NTE_BAD_TYPE),
              GetRecord(Verify(kvcsp::kProviderCloud).get(), kvcsp::kParamDhControl, dh))
        << "the Security page hides its check box on exactly this error";
}

TEST_F(Params, PickerAndPasswordChangeAnswerFromTheirKnobs) {
    auto prov = Acquire(L"", kPageFlags);
    DWORD picks = Calls(testbed::knobs::kCallContainerPicker);
    char name[513];
    DWORD size = sizeof(name);
    EXPECT_FALSE(::CryptGetProvParam(prov.get(), kvcsp::kParamPickContainer,
                                     reinterpret_cast<BYTE*>(name), &size, 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_CANCELLED), Error());
    SetKnob(testbed::knobs::kPickedContainer, std::wstring(L"picked one"));
    size = sizeof(name);
    ASSERT_TRUE(::CryptGetProvParam(prov.get(), kvcsp::kParamPickContainer,
                                    reinterpret_cast<BYTE*>(name), &size, 0));
    EXPECT_STREQ("picked one", name);
    EXPECT_EQ(sizeof("picked one"), size);
    EXPECT_EQ(picks + 2, Calls(testbed::knobs::kCallContainerPicker));

    auto container = Acquire(Name(L"pin"), CRYPT_NEWKEYSET);
    DWORD changes = Calls(testbed::knobs::kCallPasswordChange);
    kvcsp::PasswordRequest request{kvcsp::kPasswordKindDialog, nullptr};
    EXPECT_EQ(16u, sizeof(request)) << "a byte, then a pointer at pointer alignment";
    const BYTE* block = reinterpret_cast<const BYTE*>(&request);
    EXPECT_TRUE(::CryptSetProvParam(container.get(), kvcsp::kParamChangePassword, block, 0));
    SetKnob(testbed::knobs::kPasswordResult, Hr(SCARD_W_CANCELLED_BY_USER));
    EXPECT_FALSE(::CryptSetProvParam(container.get(), kvcsp::kParamChangePassword, block, 0));
    EXPECT_EQ(Hr(SCARD_W_CANCELLED_BY_USER), Error());
    EXPECT_EQ(changes + 2, Calls(testbed::knobs::kCallPasswordChange));
    EXPECT_FALSE(::CryptSetProvParam(prov.get(), kvcsp::kParamChangePassword, block, 0));
    EXPECT_EQ(Hr(NTE_BAD_KEYSET), Error()) << "a verification context has no password";
}

TEST_F(Params, KeysLoadingAndIntegrityDescribeTheContainer) {
    fixtures::ContainerSpec spec;
    spec.name = L"one";
    spec.exchange = false;
    spec.certificate = fixtures::Certificate::kNone;
    Make(spec);
    auto prov = Acquire(Name(L"one"));
    EXPECT_EQ(1u, GetDword(prov.get(), kvcsp::kParamKeysLoading));
    EXPECT_EQ(0u, GetDword(prov.get(), kvcsp::kParamIntegrity));
    SetKnob(testbed::knobs::kIntegrity, DWORD{0x40000001});
    EXPECT_EQ(0x40000001u, GetDword(prov.get(), kvcsp::kParamIntegrity));
    DWORD value = 0;
    EXPECT_EQ(Hr(NTE_BAD_KEYSET), GetRecord(Verify().get(), kvcsp::kParamKeysLoading, value));
}

}  // namespace
