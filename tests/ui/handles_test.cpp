// Handle owners and resource lookups, without windows.
#include "ui/handles.h"
#include "ui/resources.h"
#include "ui/test_pages.h"
#include "ui/test_resource.h"

#include <gtest/gtest.h>

namespace {

TEST(UniqueHandle, ReleaseKeepsTheLastError) {
    // Closing a bogus handle fails and would set ERROR_INVALID_HANDLE.
    ui::UniqueHandleW bogus(reinterpret_cast<HANDLE>(static_cast<uintptr_t>(0x7FF0)));
    ::SetLastError(ERROR_FILE_NOT_FOUND);
    bogus.reset();
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), ::GetLastError());

    ui::UniqueCryptProv provider;
    ASSERT_TRUE(::CryptAcquireContextW(provider.put(), nullptr, nullptr, PROV_RSA_FULL,
                                       CRYPT_VERIFYCONTEXT));
    ::SetLastError(NTE_BAD_KEYSET);
    provider.reset();
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEYSET), ::GetLastError());
}

TEST(Resources, StringsAndTemplatesComeInExactlyTheAskedLanguage) {
    HMODULE module = testui::Module();
    EXPECT_EQ(L"Framework test wizard",
              ui::LoadTableString(module, IDS_TEST_WIZARD, testui::kEnglish));
    EXPECT_EQ(L"Мастер проверки каркаса",
              ui::LoadTableString(module, IDS_TEST_WIZARD, testui::kRussian));
    EXPECT_EQ(L"", ui::LoadTableString(module, IDS_TEST_WIZARD, MAKELANGID(LANG_GERMAN, 1)));
    EXPECT_EQ(L"", ui::LoadTableString(module, 9299, testui::kEnglish));
    EXPECT_NE(nullptr, ui::FindDialogTemplate(module, IDD_TEST_DIALOG, testui::kRussian));
    EXPECT_EQ(nullptr, ui::FindDialogTemplate(module, IDD_TEST_DIALOG, MAKELANGID(LANG_GERMAN, 1)));
}

TEST(Resources, FormatInserts) {
    EXPECT_EQ(L"from 1 to 9", ui::FormatInserts(L"from %1 to %2", {L"1", L"9"}));
    EXPECT_EQ(L"b a %3 %", ui::FormatInserts(L"%2 %1 %3 %", {L"a", L"b"}));
    EXPECT_EQ(L"%1 stays", ui::FormatInserts(L"%1 stays", {}));
    EXPECT_EQ(L"", ui::FormatInserts(L"", {L"x"}));
}

}  // namespace
