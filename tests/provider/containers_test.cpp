// Key containers as the wizards create, open, list and delete them, through advapi32.
#include "provider_test.h"

#include "driver/driver.h"

#include <algorithm>
#include <cstring>

namespace {

using namespace provider_test;

// The enumeration the automatic container search makes: a size query with CRYPT_FIRST, the
// first name with CRYPT_FIRST, every later one with flags 0.
std::vector<std::string> Enumerate(HCRYPTPROV prov) {
    std::vector<std::string> names;
    DWORD size = 0;
    if (!::CryptGetProvParam(prov, PP_ENUMCONTAINERS, nullptr, &size, CRYPT_FIRST)) return names;
    std::vector<char> buffer(size);
    for (DWORD flags = CRYPT_FIRST;; flags = 0) {
        DWORD length = size;
        if (!::CryptGetProvParam(prov, PP_ENUMCONTAINERS, reinterpret_cast<BYTE*>(buffer.data()),
                                 &length, flags))
            break;
        names.emplace_back(buffer.data());
    }
    EXPECT_EQ(static_cast<DWORD>(ERROR_NO_MORE_ITEMS), ::GetLastError());
    return names;
}

bool Listed(DWORD scope, const std::wstring& name,
            const std::wstring& provider = kvcsp::kProviderMain) {
    auto prov = Acquire(L"", CRYPT_VERIFYCONTEXT | scope, provider);
    auto names = Enumerate(prov.get());
    return std::find(names.begin(), names.end(), driver::Narrow(name)) != names.end();
}

class Containers : public ProviderTest {};

TEST_F(Containers, UserAndMachineContainersAreMadeListedAndDeletedApart) {
    const std::wstring name = Name(L"c");
    DWORD error = 0;
    {
        // Made the way the copy wizard makes its destination.
        auto prov = Acquire(name, CRYPT_NEWKEYSET | kvcsp::kAcquireCopyTarget);
        EXPECT_EQ(driver::Narrow(name), GetText(prov.get(), PP_CONTAINER));
    }
    EXPECT_TRUE(Listed(0, name));
    EXPECT_FALSE(Listed(CRYPT_MACHINE_KEYSET, name));
    EXPECT_FALSE(Listed(0, name, kvcsp::kProviderCloud)) << "each provider name has its own";
    Acquire(name, CRYPT_MACHINE_KEYSET, kvcsp::kProviderMain, kvcsp::kType2001, &error);
    EXPECT_EQ(Hr(NTE_BAD_KEYSET), error);
    Acquire(name, CRYPT_NEWKEYSET, kvcsp::kProviderMain, kvcsp::kType2001, &error);
    EXPECT_EQ(Hr(NTE_EXISTS), error);

    // The same name for the computer is another container.
    Acquire(name, CRYPT_NEWKEYSET | CRYPT_MACHINE_KEYSET);
    EXPECT_TRUE(Listed(CRYPT_MACHINE_KEYSET, name));

    HCRYPTPROV deleted = 1;
    ASSERT_TRUE(::CryptAcquireContextW(&deleted, name.c_str(), kvcsp::kProviderMain,
                                       kvcsp::kType2001, CRYPT_DELETEKEYSET))
        << std::hex << Error();
    EXPECT_EQ(0u, deleted);
    EXPECT_FALSE(Listed(0, name));
    Acquire(name, 0, kvcsp::kProviderMain, kvcsp::kType2001, &error);
    EXPECT_EQ(Hr(NTE_BAD_KEYSET), error);
    Acquire(name, CRYPT_DELETEKEYSET, kvcsp::kProviderMain, kvcsp::kType2001, &error);
    EXPECT_EQ(Hr(NTE_BAD_KEYSET), error);
    EXPECT_TRUE(Acquire(name, CRYPT_MACHINE_KEYSET)) << "the computer's container stays";
}

TEST_F(Containers, AcquireTakesTheFlagsTheAppletPassesAndRefusesOthers) {
    EXPECT_TRUE(Acquire(L"", CRYPT_VERIFYCONTEXT | kvcsp::kAcquireNoCarrier));
    EXPECT_TRUE(Acquire(L"", CRYPT_VERIFYCONTEXT | kvcsp::kAcquireNoCarrier, kvcsp::kProvider94,
                        kvcsp::kType94));
    EXPECT_TRUE(Acquire(L"", CRYPT_VERIFYCONTEXT | CRYPT_MACHINE_KEYSET));
    DWORD error = 0;
    Acquire(L"", CRYPT_VERIFYCONTEXT | 0x1000, kvcsp::kProviderMain, kvcsp::kType2001, &error);
    EXPECT_EQ(Hr(NTE_BAD_FLAGS), error);
    Acquire(Name(L"x"), CRYPT_VERIFYCONTEXT, kvcsp::kProviderMain, kvcsp::kType2001, &error);
    EXPECT_EQ(Hr(NTE_BAD_FLAGS), error) << "a verification context names no container";
    Acquire(L"\\\\.\\OTHER\\x", 0, kvcsp::kProviderMain, kvcsp::kType2001, &error);
    EXPECT_EQ(Hr(NTE_BAD_KEYSET_PARAM), error);
}

TEST_F(Containers, NameFqcnAndUniqueNameOpenTheSameContainer) {
    const std::wstring name = Name(L"n");
    std::string unique;
    {
        auto prov = Acquire(name, CRYPT_NEWKEYSET);
        unique = GetText(prov.get(), PP_UNIQUE_CONTAINER);
        EXPECT_EQ("\\\\.\\DISK\\" + driver::Narrow(name), GetText(prov.get(), kvcsp::kParamFqcn));
        EXPECT_NE(driver::Narrow(name), unique);
    }
    for (const std::string& other : {"\\\\.\\disk\\" + driver::Narrow(name), unique}) {
        auto prov = Acquire(Wide(other));
        EXPECT_EQ(driver::Narrow(name), GetText(prov.get(), PP_CONTAINER)) << other;
    }
    // A container made anew under the old name is another container.
    fixtures::DeleteContainer(kvcsp::kProviderMain, kvcsp::kType2001, false, name);
    Acquire(name, CRYPT_NEWKEYSET);
    DWORD error = 0;
    Acquire(Wide(unique), 0, kvcsp::kProviderMain, kvcsp::kType2001, &error);
    EXPECT_EQ(Hr(NTE_BAD_KEYSET), error);

    auto verify = Verify();
    Bytes data;
    EXPECT_EQ(Hr(NTE_BAD_KEYSET), GetParam(verify.get(), PP_CONTAINER, data));
    EXPECT_EQ(kvcsp::kProviderMain, Wide(GetText(verify.get(), PP_NAME)));
}

// One record of parameter 133: critical flag, value length, value, OID.
struct Record {
    DWORD critical = 0;
    Bytes value;
    std::string oid;
};

Record Parse(const Bytes& bytes) {
    Record record;
    DWORD length = 0;
    std::memcpy(&record.critical, bytes.data(), 4);
    std::memcpy(&length, bytes.data() + 4, 4);
    record.value.assign(bytes.begin() + 8, bytes.begin() + 8 + length);
    record.oid = reinterpret_cast<const char*>(bytes.data() + 8 + length);
    EXPECT_EQ(bytes.size(), 8 + length + record.oid.size() + 1);
    return record;
}

TEST_F(Containers, ParameterSetsAndExtensionsStayWithTheContainer) {
    const std::wstring name = Name(L"p");
    const Bytes short_value = {0x30, 0x00};
    const Bytes long_value = {0x30, 0x03, 0x02, 0x01, 0x05};
    {
        auto prov = Acquire(name, CRYPT_NEWKEYSET);
        DWORD size = 0;
        EXPECT_FALSE(
            ::CryptGetProvParam(prov.get(), kvcsp::kParamExtensions, nullptr, &size, CRYPT_FIRST));
        EXPECT_EQ(static_cast<DWORD>(ERROR_NO_MORE_ITEMS), Error()) << "no extensions yet";

        EXPECT_EQ("1.2.643.2.2.30.1", GetText(prov.get(), kvcsp::kParamHashSet));
        const char test_set[] = "1.2.643.2.2.30.0";
        ASSERT_TRUE(::CryptSetProvParam(prov.get(), kvcsp::kParamHashSet,
                                        reinterpret_cast<const BYTE*>(test_set), 0));
        const char unknown[] = "1.2.3.4";
        EXPECT_FALSE(::CryptSetProvParam(prov.get(), kvcsp::kParamCipherSet,
                                         reinterpret_cast<const BYTE*>(unknown), 0));
        EXPECT_EQ(Hr(NTE_BAD_DATA), Error());

        for (const auto& [oid, critical, value] :
             {std::tuple{kvcsp::kOidChainCa, 1u, short_value},
              std::tuple{kvcsp::kOidChainRoot, 0u, long_value}}) {
            kvcsp::ExtensionRequest request{oid, critical, static_cast<DWORD>(value.size()),
                                            value.data()};
            ASSERT_TRUE(::CryptSetProvParam(prov.get(), kvcsp::kParamAddExtension,
                                            reinterpret_cast<const BYTE*>(&request), 0))
                << std::hex << Error();
        }
    }
    auto prov = Acquire(name);
    EXPECT_EQ("1.2.643.2.2.30.0", GetText(prov.get(), kvcsp::kParamHashSet));
    EXPECT_EQ("1.2.643.2.2.30.1", GetText(Verify().get(), kvcsp::kParamHashSet))
        << "the provider's default did not change";

    DWORD largest = 0;
    ASSERT_TRUE(
        ::CryptGetProvParam(prov.get(), kvcsp::kParamExtensions, nullptr, &largest, CRYPT_FIRST));
    EXPECT_EQ(8 + long_value.size() + sizeof("1.2.643.2.2.37.3.2"), largest);
    Bytes buffer(largest);
    DWORD length = largest;
    ASSERT_TRUE(::CryptGetProvParam(prov.get(), kvcsp::kParamExtensions, buffer.data(), &length,
                                    CRYPT_FIRST));
    Record first = Parse(Bytes(buffer.begin(), buffer.begin() + length));
    EXPECT_EQ(1u, first.critical);
    EXPECT_EQ(short_value, first.value);
    EXPECT_EQ(kvcsp::kOidChainCa, first.oid);

    // A fetch that does not fit fails without moving on, as the container check relies on.
    DWORD too_small = length;
    EXPECT_FALSE(
        ::CryptGetProvParam(prov.get(), kvcsp::kParamExtensions, buffer.data(), &too_small, 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), Error());
    EXPECT_EQ(largest, too_small);
    length = largest;
    ASSERT_TRUE(
        ::CryptGetProvParam(prov.get(), kvcsp::kParamExtensions, buffer.data(), &length, 0));
    Record second = Parse(Bytes(buffer.begin(), buffer.begin() + length));
    EXPECT_EQ(0u, second.critical);
    EXPECT_EQ(long_value, second.value);
    EXPECT_EQ(kvcsp::kOidChainRoot, second.oid);
    length = largest;
    EXPECT_FALSE(
        ::CryptGetProvParam(prov.get(), kvcsp::kParamExtensions, buffer.data(), &length, 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_NO_MORE_ITEMS), Error());
}

}  // namespace
