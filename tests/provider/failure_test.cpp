// The provider's failure knobs and live handle counters, which tests of the applet rely on to
// make a step fail and to see that every handle came back.
#include "provider_test.h"
#include "testbed/calls.h"

namespace {

using namespace provider_test;

const DWORD kRemoved = Hr(SCARD_W_REMOVED_CARD);

class Failures : public ProviderTest {};

TEST_F(Failures, TheNthCallOfANamedEntryPointFailsOnce) {
    fixtures::ContainerSpec spec;
    spec.name = L"f";
    spec.certificate = fixtures::Certificate::kNone;
    Make(spec);
    auto prov = Acquire(Name(L"f"));
    FailCall(L"CPGetUserKey", 2, kRemoved);
    ui::UniqueCryptKey first, second, third;
    EXPECT_TRUE(::CryptGetUserKey(prov.get(), AT_SIGNATURE, first.put()));
    EXPECT_FALSE(::CryptGetUserKey(prov.get(), AT_SIGNATURE, second.put()));
    EXPECT_EQ(kRemoved, Error());
    EXPECT_TRUE(::CryptGetUserKey(prov.get(), AT_SIGNATURE, third.put())) << "it fired once";

    // One parameter of an entry point: the check's integrity row fails, keys loading does not.
    FailCall(L"CPGetProvParam.146", 1, kRemoved);
    DWORD value = 0, size = sizeof(value);
    EXPECT_TRUE(::CryptGetProvParam(prov.get(), kvcsp::kParamKeysLoading,
                                    reinterpret_cast<BYTE*>(&value), &size, 0));
    EXPECT_FALSE(::CryptGetProvParam(prov.get(), kvcsp::kParamIntegrity,
                                     reinterpret_cast<BYTE*>(&value), &size, 0));
    EXPECT_EQ(kRemoved, Error());

    // A refused acquisition leaves no context behind.
    FailCall(L"CPAcquireContext", 1, kRemoved);
    DWORD error = 0;
    Acquire(Name(L"f"), 0, kvcsp::kProviderMain, kvcsp::kType2001, &error);
    EXPECT_EQ(kRemoved, error);
    EXPECT_EQ(1, Counted().contexts);
}

TEST_F(Failures, CallsCountByEntryPointAndParameterAndAFailedReleaseStillReleases) {
    const std::map<std::string, long> before = testbed::ProviderCalls();
    auto prov = Verify();
    ui::UniqueCryptHash hash;
    ASSERT_TRUE(::CryptCreateHash(prov.get(), kvcsp::kAlgHash, 0, 0, hash.put()));
    Bytes version, unknown;
    EXPECT_EQ(0u, GetParam(prov.get(), PP_VERSION, version));
    EXPECT_EQ(Hr(NTE_BAD_TYPE), GetParam(prov.get(), 0xFFFF, unknown));
    std::map<std::string, long> after = testbed::ProviderCalls();
    auto made = [&](const char* name) {
        auto old = before.find(name);
        return after[name] - (old == before.end() ? 0 : old->second);
    };
    EXPECT_EQ(1, made("CPAcquireContext"));
    EXPECT_EQ(1, made("CPCreateHash"));
    EXPECT_EQ(2, made("CPGetProvParam.5")) << "the size, then the value";
    EXPECT_EQ(1, made("CPGetProvParam.65535"));
    EXPECT_EQ(3, made("CPGetProvParam"));

    // advapi32 forgets a handle whatever its release answers: so does the provider.
    FailCall(L"CPDestroyHash", 1, kRemoved);
    EXPECT_FALSE(::CryptDestroyHash(hash.release()));
    EXPECT_EQ(kRemoved, Error());
    EXPECT_EQ(0, Counted().hashes);
}

TEST_F(Failures, LiveCountersFollowEveryHandleOfEveryCopyOfTheDll) {
    auto prov = Verify();
    EXPECT_EQ(1, Counted().contexts);
    ui::UniqueCryptKey key, copy;
    ASSERT_TRUE(::CryptGenKey(prov.get(), kvcsp::kAlgSession, 0, key.put()));
    ASSERT_TRUE(::CryptDuplicateKey(key.get(), nullptr, 0, copy.put()));
    ui::UniqueCryptHash hash, hash_copy;
    ASSERT_TRUE(::CryptCreateHash(prov.get(), kvcsp::kAlgHash, 0, 0, hash.put()));
    ASSERT_TRUE(::CryptDuplicateHash(hash.get(), nullptr, 0, hash_copy.put()));
    LiveHandles live = Counted();
    EXPECT_EQ(2, live.keys);
    EXPECT_EQ(2, live.hashes);

    // The provider whose DLL lies outside the product directory is another copy of the module;
    // its handles count in the same place.
    auto extra = Verify(kvcsp::kProviderExtra);
    ui::UniqueCryptKey extra_key;
    ASSERT_TRUE(::CryptGenKey(extra.get(), kvcsp::kAlgSession, 0, extra_key.put()));
    EXPECT_EQ(2, Counted().contexts);
    EXPECT_EQ(3, Counted().keys);
    HMODULE main = ::GetModuleHandleW(ImagePath(kvcsp::kProviderMain).c_str());
    HMODULE other = ::GetModuleHandleW(ImagePath(kvcsp::kProviderExtra).c_str());
    EXPECT_TRUE(main && other && main != other);

    extra_key.reset();
    hash_copy.reset();
    copy.reset();
    live = Counted();
    EXPECT_EQ(1, live.keys);
    EXPECT_EQ(1, live.hashes);
}

}  // namespace
