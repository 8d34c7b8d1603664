// The run-time binding of product libraries and where they are found.
#include "applet/library_binding.h"
#include "applet/support.h"
#include "applet_fixture.h"
#include "testbed/libraries.h"

#include <gtest/gtest.h>

namespace {

using applettest::ProgramDir;
using applettest::ProgramName;
using applettest::ProgramPath;
using applettest::SetAppPath;

std::wstring ModuleFile(HMODULE module) {
    wchar_t path[MAX_PATH] = {};
    DWORD n = ::GetModuleFileNameW(module, path, MAX_PATH);
    return std::wstring(path, n);
}

TEST(LibraryBinding, CodesForAMissingLibraryAndAMissingFunction) {
    applet::LibraryBinding absent(L"kvabsent.dll", {"anything"});
    EXPECT_EQ(applet::kLibraryLoadFailed, absent.AddRef());
    EXPECT_EQ(0, absent.References());
    EXPECT_EQ(applet::kLibraryMissing, absent.Call<DWORD (*)()>(0));

    applet::LibraryBinding partial(L"kvsuprt.dll",
                                   {"support_wnd_language_get", "support_no_such_function"});
    EXPECT_EQ(applet::kLibraryMissing, partial.Call<DWORD (*)()>(1));
    EXPECT_NE(applet::kLibraryMissing, partial.Call<DWORD (*)()>(0)) << "the rest still works";
}

TEST(LibraryBinding, TheSupportLibraryComesFromTheProductDirectory) {
    ASSERT_EQ(0u, applet::LoadSupportLibrary());
    EXPECT_EQ(std::wstring(applettest::kProductDir) + L"kvsuprt.dll",
              ModuleFile(applet::SupportLibrary().Handle()));
    applet::ReleaseSupportLibrary();
}

template <class Fn>
Fn Export(HMODULE module, const char* name) {
    return reinterpret_cast<Fn>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

// A probe library present in this program's directory and in the product directory.
class ProductLibraryLocation : public ::testing::Test {
protected:
    void SetUp() override {
        const std::wstring source = applettest::UninstalledModulePath(L"kvprobe.dll");
        ASSERT_TRUE(::CopyFileW(source.c_str(), local_.c_str(), FALSE));
        ASSERT_TRUE(::CopyFileW(source.c_str(), product_.c_str(), FALSE));
    }
    void TearDown() override {
        SetAppPath(ProgramName(), ProgramPath());
        SetAppPath(kProbe, std::nullopt);
        ::DeleteFileW(local_.c_str());
        ::DeleteFileW(product_.c_str());
    }

    // Where LoadProductLibrary found the probe; "" when it did not load.
    std::wstring Load() {
        HMODULE module = applet::LoadProductLibrary(kProbe);
        if (!module) return {};
        std::wstring file = ModuleFile(module);
        ::FreeLibrary(module);
        return file;
    }

    static constexpr wchar_t kProbe[] = L"kvprobe.dll";
    const std::wstring local_ = ProgramDir() + kProbe;
    const std::wstring product_ = std::wstring(applettest::kProductDir) + kProbe;
};

TEST_F(ProductLibraryLocation, FollowsTheAppPathRegistration) {
    SetAppPath(kProbe, product_);
    EXPECT_EQ(product_, Load()) << "both registered: the library's own entry";

    SetAppPath(ProgramName(), std::nullopt);
    SetAppPath(kProbe, std::nullopt);
    EXPECT_EQ(local_, Load()) << "no entries at all: the applet's directory";

    SetAppPath(ProgramName(), std::wstring(L"C:\\Elsewhere\\") + ProgramName());
    SetAppPath(kProbe, product_);
    EXPECT_EQ(local_, Load()) << "the applet's entry names another file: the library's is ignored";

    std::wstring upper = ProgramPath();
    ::CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
    SetAppPath(ProgramName(), upper);
    EXPECT_EQ(product_, Load()) << "the applet's entry differs from its path only in case";

    SetAppPath(ProgramName(), ProgramPath());
    SetAppPath(kProbe, std::wstring(applettest::kProductDir) + L"missing\\kvprobe.dll");
    EXPECT_EQ(L"", Load()) << "a registered path that fails is not tried elsewhere";
}

TEST_F(ProductLibraryLocation, LoadsWithoutErrorBoxesInsideTheAppletsManifest) {
    const UINT callers = ::SetErrorMode(0);
    HMODULE module = applet::LoadProductLibrary(kProbe);
    const UINT after = ::GetErrorMode();
    ::SetErrorMode(callers);
    ASSERT_TRUE(module);
    const UINT whileLoading = Export<decltype(&probe_error_mode)>(module, "probe_error_mode")();
    const std::wstring manifest =
        Export<decltype(&probe_activation_manifest)>(module, "probe_activation_manifest")();
    ::FreeLibrary(module);
    EXPECT_EQ(static_cast<UINT>(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX), whileLoading);
    EXPECT_EQ(0u, after) << "the caller's error mode is back";
    EXPECT_EQ(ProgramPath(), manifest) << "the applet's own activation context was active";
}

}  // namespace
