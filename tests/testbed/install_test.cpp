// What the installer leaves in the prefix, seen through the installer database and the registry
// as the applet sees it.
#include "client.h"

#include "driver/driver.h"

#include <msi.h>
#include <shellapi.h>

#include <gtest/gtest.h>

#include <set>

namespace {

constexpr wchar_t kAppletComponent[] = L"{8D2B4E61-93A7-4C05-B1E8-2F6A0C93D417}";
constexpr wchar_t kConsoleComponent[] = L"{2A6F8D13-E947-4B20-A5C8-91D3F07E46B2}";
constexpr wchar_t kIntegrityKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\KvexIntegrity\\kvcsp";

std::wstring ProductInfo(const wchar_t* property) {
    wchar_t value[256] = {};
    DWORD length = 255;
    UINT error = ::MsiGetProductInfoW(testbed::kProductCode, property, value, &length);
    return error == ERROR_SUCCESS ? value : L"<error " + std::to_wstring(error) + L">";
}

std::wstring Directory(const std::wstring& path) {
    return path.substr(0, path.rfind(L'\\'));
}

bool FileExists(const std::wstring& path) {
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

TEST(Installation, AnswersTheProductProperties) {
    EXPECT_EQ(L"5.0.0.1", ProductInfo(INSTALLPROPERTY_VERSIONSTRING));
    EXPECT_EQ(L"Vestra CSP", ProductInfo(INSTALLPROPERTY_INSTALLEDPRODUCTNAME));
    EXPECT_EQ(L"https://www.kelvane.example/vestra-csp", ProductInfo(INSTALLPROPERTY_URLINFOABOUT));
    EXPECT_EQ(L"https://www.kelvane.example/vestra-csp/updates",
              ProductInfo(INSTALLPROPERTY_URLUPDATEINFO));
}

TEST(Installation, AppletComponentLeadsToTheProductAndTheAppletFile) {
    wchar_t product[39] = {};
    ASSERT_EQ(static_cast<UINT>(ERROR_SUCCESS), ::MsiEnumClientsW(kAppletComponent, 0, product));
    EXPECT_STREQ(testbed::kProductCode, product);
    EXPECT_EQ(static_cast<UINT>(ERROR_NO_MORE_ITEMS),
              ::MsiEnumClientsW(kAppletComponent, 1, product));

    wchar_t path[MAX_PATH] = {};
    DWORD length = MAX_PATH;
    EXPECT_EQ(INSTALLSTATE_LOCAL,
              ::MsiGetComponentPathW(testbed::kProductCode, kAppletComponent, path, &length));
    EXPECT_EQ(0, ::lstrcmpiW(path, testbed::InstalledPath(L"kvconfig.cpl").c_str()));
    EXPECT_TRUE(FileExists(path));
}

TEST(Installation, ConsoleIsLocatedAndStarts) {
    wchar_t path[MAX_PATH] = {};
    DWORD length = MAX_PATH;
    ASSERT_EQ(INSTALLSTATE_LOCAL, ::MsiLocateComponentW(kConsoleComponent, path, &length));
    EXPECT_EQ(Directory(testbed::InstalledPath(L"kvconfig.cpl")), Directory(path));

    DWORD starts = testbed::CallCount(testbed::knobs::kCallConsole);
    SHELLEXECUTEINFOW run{};
    run.cbSize = sizeof(run);
    run.fMask = SEE_MASK_NOCLOSEPROCESS;
    run.lpVerb = L"open";
    run.lpFile = path;
    run.nShow = SW_SHOW;
    ASSERT_TRUE(::ShellExecuteExW(&run)) << "error " << ::GetLastError();
    ui::UniqueHandleW process(run.hProcess);
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(process.get(), 10000));
    EXPECT_EQ(starts + 1, testbed::CallCount(testbed::knobs::kCallConsole));
}

TEST(Installation, IntegrityListNamesTheModulesAndOneMissingFile) {
    ui::UniqueHKey list;
    ASSERT_EQ(ERROR_SUCCESS, ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kIntegrityKey, 0,
                                             KEY_ENUMERATE_SUB_KEYS, list.put()));
    std::wstring product_directory = Directory(testbed::InstalledPath(L"kvconfig.cpl"));
    std::set<std::wstring> present, missing;
    wchar_t name[MAX_PATH];
    for (DWORD i = 0; ::RegEnumKeyW(list.get(), i, name, MAX_PATH) == ERROR_SUCCESS; ++i) {
        wchar_t path[MAX_PATH] = {};
        DWORD size = sizeof(path);
        ASSERT_EQ(ERROR_SUCCESS,
                  ::RegGetValueW(list.get(), name, L"Path", RRF_RT_REG_SZ, nullptr, path, &size));
        EXPECT_EQ(product_directory, Directory(path)) << driver::Narrow(name);
        (FileExists(path) ? present : missing).insert(name);
    }
    EXPECT_EQ((std::set<std::wstring>{L"kvconfig.cpl", L"kvsuprt.dll", L"kvrdr.dll", L"kvrndm.dll",
                                      L"kvcrypt.dll", L"kvcng.dll", L"kvocsp.dll", L"kvx86.dll"}),
              present);
    EXPECT_EQ(std::set<std::wstring>{L"kvstamp.dll"}, missing);
}

TEST(Installation, StoreNamesTheProvidersAndHoldsTheProductsSections) {
    testbed::Support s;
    std::wstring provider;
    EXPECT_EQ(ERROR_SUCCESS,
              s.GetString(std::wstring(L"\\CONFIG\\") + testbed::kProductCode, provider));
    EXPECT_FALSE(provider.empty());

    for (const wchar_t* section : {L"\\config\\Parameters", L"\\config\\Provider"}) {
        DWORD rights = testbed::knobs::kWrite;
        EXPECT_EQ(ERROR_SUCCESS, s.support_registry_check_access(section, &rights))
            << driver::Narrow(section);
        EXPECT_EQ(testbed::knobs::kWrite, rights);
    }
}

TEST(Installation, EveryModuleLoadsFromItsPath) {
    for (const wchar_t* file : {L"kvsuprt.dll", L"kvrdr.dll", L"kvrndm.dll", L"kvcrypt.dll",
                                L"kvcng.dll", L"kvocsp.dll"}) {
        testbed::Library library(file);
        EXPECT_NE(nullptr, library.get());
    }
}

}  // namespace
