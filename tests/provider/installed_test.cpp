// What the installer registered for the providers, as the pages and the container selection
// find it, and the fixture program run as scripts run it.
#include "provider_test.h"

#include "driver/driver.h"

#include <map>

namespace {

using namespace provider_test;

const wchar_t kProviders[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
const wchar_t kTypes[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\";

std::wstring RegText(const std::wstring& key, const wchar_t* value, REGSAM view = 0) {
    HKEY opened = nullptr;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_QUERY_VALUE | view, &opened))
        return L"<missing>";
    wchar_t text[MAX_PATH] = {};
    DWORD size = sizeof(text);
    DWORD type = 0;
    LSTATUS status =
        ::RegQueryValueExW(opened, value, nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
    ::RegCloseKey(opened);
    return status || type != REG_SZ ? L"<missing>" : text;
}

std::wstring Directory(const std::wstring& path) {
    return path.substr(0, path.rfind(L'\\') + 1);
}

class Installation : public ProviderTest {};

TEST_F(Installation, EnumerationListsTheProvidersAndTheDefaultsAreTheInstallers) {
    std::map<std::wstring, DWORD> found;
    std::vector<std::wstring> order;
    for (DWORD index = 0;; ++index) {
        DWORD type = 0, size = 0;
        if (!::CryptEnumProvidersW(index, nullptr, 0, &type, nullptr, &size)) break;
        std::wstring name(size / sizeof(wchar_t), L'\0');
        ASSERT_TRUE(::CryptEnumProvidersW(index, nullptr, 0, &type, &name[0], &size));
        name.resize(wcslen(name.c_str()));
        found[name] = type;
        order.push_back(name);
    }
    EXPECT_EQ(kvcsp::kType2001, found[kvcsp::kProviderMain]);
    EXPECT_EQ(kvcsp::kType2001, found[kvcsp::kProviderCloud]);
    EXPECT_EQ(kvcsp::kType94, found[kvcsp::kProvider94]);
    EXPECT_EQ(kvcsp::kType2001, found[kvcsp::kProviderExtra]);
    // The default of type 75 is not the first product provider listed: preselecting it means
    // finding it.
    auto first75 = std::find_if(order.begin(), order.end(), [&](const std::wstring& n) {
        return found[n] == kvcsp::kType2001;
    });
    EXPECT_EQ(kvcsp::kProviderCloud, *first75);

    for (const auto& [type, expected] : {std::pair{kvcsp::kType2001, kvcsp::kProviderMain},
                                         std::pair{kvcsp::kType94, kvcsp::kProvider94}}) {
        wchar_t name[MAX_PATH] = {};
        DWORD size = sizeof(name);
        ASSERT_TRUE(::CryptGetDefaultProviderW(type, nullptr, CRYPT_MACHINE_DEFAULT, name, &size));
        EXPECT_EQ(std::wstring(expected), name);
        wchar_t key[96];
        swprintf(key, 96, L"%lsType %03lu", kTypes, type);
        EXPECT_EQ(std::wstring(expected), RegText(key, L"Name", KEY_WOW64_32KEY));
        EXPECT_NE(L"<missing>", RegText(key, L"TypeName"));
    }
    // And a context of the default opens without naming a provider, as the General page does.
    ui::UniqueCryptProv prov;
    ASSERT_TRUE(::CryptAcquireContextW(prov.put(), nullptr, nullptr, kvcsp::kType2001,
                                       CRYPT_VERIFYCONTEXT));
    EXPECT_EQ(driver::Narrow(kvcsp::kProviderMain), GetText(prov.get(), PP_NAME));
}

TEST_F(Installation, DllsLieWhereTheContainerSelectionLooksAndModesAreInBothViews) {
    std::wstring product = Directory(ImagePath(kvcsp::kProviderMain));
    ASSERT_FALSE(product.empty());
    wchar_t applet[MAX_PATH] = {};
    DWORD size = sizeof(applet);
    ASSERT_EQ(
        ERROR_SUCCESS,
        ::RegGetValueW(HKEY_LOCAL_MACHINE,
                       L"SOFTWARE\\Kelvane\\Cryptography\\CurrentVersion\\AppPath\\kvconfig.cpl",
                       nullptr, RRF_RT_REG_SZ, nullptr, applet, &size));
    EXPECT_EQ(Directory(applet), product);
    EXPECT_EQ(product, Directory(ImagePath(kvcsp::kProviderCloud)));
    EXPECT_EQ(product, Directory(ImagePath(kvcsp::kProvider94)));
    std::wstring extra = ImagePath(kvcsp::kProviderExtra);
    EXPECT_NE(0, _wcsnicmp(extra.c_str(), product.c_str(), product.size()));
    EXPECT_EQ(0, _wcsnicmp(extra.c_str(), product.c_str(), product.size() - 1))
        << "a sibling directory whose name starts like the product's";
    EXPECT_NE(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW(extra.c_str()));

    for (const auto& [provider, module] : {std::pair{kvcsp::kProviderMain, L"kvcspr.dll"},
                                           std::pair{kvcsp::kProviderCloud, L"kvcspi.dll"},
                                           std::pair{kvcsp::kProvider94, L"kvcspr.dll"}}) {
        std::wstring key = std::wstring(kProviders) + provider;
        EXPECT_EQ(std::wstring(module), RegText(key, L"KV Module Name"));
        EXPECT_EQ(std::wstring(module),
                  RegText(L"SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults\\Provider\\" +
                              std::wstring(provider),
                          L"KV Module Name"));
    }
    EXPECT_EQ(L"<missing>",
              RegText(std::wstring(kProviders) + kvcsp::kProviderExtra, L"KV Module Name"));
}

TEST_F(Installation, TheFixtureProgramMakesAndDeletesContainers) {
    const std::wstring name = Name(L"program");
    std::wstring program = L"Z:" KV_FIXTURE_PROGRAM;
    for (wchar_t& c : program)
        if (c == L'/') c = L'\\';
    auto run = [&](const std::wstring& arguments) {
        std::wstring line = L"\"" + program + L"\" " + arguments;
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process{};
        if (!::CreateProcessW(program.c_str(), &line[0], nullptr, nullptr, FALSE, 0, nullptr,
                              nullptr, &startup, &process))
            return ~DWORD{0};
        ::WaitForSingleObject(process.hProcess, 60000);
        DWORD code = ~DWORD{0};
        ::GetExitCodeProcess(process.hProcess, &code);
        ::CloseHandle(process.hThread);
        ::CloseHandle(process.hProcess);
        return code;
    };
    ASSERT_EQ(0u, run(L"container " + name + L" --keys signature --certificate self --machine"));
    {
        auto prov = Acquire(name, CRYPT_MACHINE_KEYSET);
        ui::UniqueCryptKey key;
        EXPECT_FALSE(::CryptGetUserKey(prov.get(), AT_KEYEXCHANGE, key.put()));
        ASSERT_TRUE(::CryptGetUserKey(prov.get(), AT_SIGNATURE, key.put()));
        Bytes certificate;
        EXPECT_EQ(0u, GetKeyParam(key.get(), KP_CERTIFICATE, certificate));
    }
    EXPECT_EQ(0u, run(L"delete " + name + L" --machine"));
    DWORD error = 0;
    Acquire(name, CRYPT_MACHINE_KEYSET, kvcsp::kProviderMain, kvcsp::kType2001, &error);
    EXPECT_EQ(Hr(NTE_BAD_KEYSET), error);
    EXPECT_EQ(2u, run(L"unknown"));
}

}  // namespace
