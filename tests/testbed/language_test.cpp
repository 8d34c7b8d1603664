// The product's language as kvsuprt.dll derives it, and the strings it loads in that language.
#include "client.h"
#include "strings/strings.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr DWORD kEnglish = 1033;
constexpr DWORD kRussian = 1049;

class Language : public ::testing::Test {
protected:
    // The language values of the prefix are put back afterwards.
    void SetUp() override {
        for (const wchar_t* path : kPaths) {
            DWORD value = 0;
            if (s.support_registry_get_long(path, &value) == ERROR_SUCCESS)
                saved_.push_back({path, value});
            s.support_registry_delete_param(path);
        }
    }
    void TearDown() override {
        for (const wchar_t* path : kPaths) s.support_registry_delete_param(path);
        for (const auto& [path, value] : saved_) s.support_registry_put_long(path, value);
        s.support_wnd_language_update();
    }

    DWORD Current() {
        EXPECT_EQ(ERROR_SUCCESS, s.support_wnd_language_update());
        return LOWORD(s.support_wnd_language_get());
    }

    // A string of the test module through the support library; the error code when it fails.
    std::wstring String(UINT id, DWORD* error = nullptr) {
        wchar_t buffer[256] = {};
        DWORD length = 255;
        DWORD result = s.support_resource_string(strings_, id, buffer, &length);
        if (error) *error = result;
        return result == ERROR_SUCCESS ? std::wstring(buffer, length) : L"";
    }

    static constexpr const wchar_t* kPaths[] = {L"\\local\\Language", L"\\config\\Language"};
    std::vector<std::pair<const wchar_t*, DWORD>> saved_;
    testbed::Support s;
    // Next to the test program, which the loader searches first.
    ui::UniqueHModule module_{::LoadLibraryW(L"kvtestres.dll")};
    HINSTANCE strings_ = module_.get();
};

TEST_F(Language, UserSettingOverMachineSettingOverSystem) {
    DWORD system =
        PRIMARYLANGID(::GetSystemDefaultUILanguage()) == LANG_RUSSIAN ? kRussian : kEnglish;
    DWORD other = system == kEnglish ? kRussian : kEnglish;
    EXPECT_EQ(system, Current());

    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\config\\Language", other));
    EXPECT_EQ(other, Current());

    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\local\\Language", system));
    EXPECT_EQ(system, Current());

    // A language the product doesn't speak counts as none.
    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\local\\Language", 1058));
    EXPECT_EQ(other, Current());
    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\config\\Language", 1058));
    EXPECT_EQ(system, Current());
}

TEST_F(Language, IsReadAgainOnlyOnUpdate) {
    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\local\\Language", kRussian));
    EXPECT_EQ(kRussian, Current());

    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\local\\Language", kEnglish));
    EXPECT_EQ(kRussian, LOWORD(s.support_wnd_language_get()));
    EXPECT_EQ(kEnglish, Current());

    // After done, the next question reads the store again.
    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\local\\Language", kRussian));
    EXPECT_EQ(ERROR_SUCCESS, s.support_wnd_language_done());
    EXPECT_EQ(kRussian, LOWORD(s.support_wnd_language_get()));
}

TEST_F(Language, StringsComeInTheProductsLanguageNotTheThreads) {
    ASSERT_NE(nullptr, strings_) << "kvtestres.dll: error " << ::GetLastError();
    ::SetThreadLocale(MAKELCID(MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT), SORT_DEFAULT));

    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\local\\Language", kEnglish));
    ASSERT_EQ(kEnglish, Current());
    EXPECT_EQ(L"Private key readers", String(IDS_BOTH_LANGUAGES));
    EXPECT_EQ(L"Only in English", String(IDS_ENGLISH_ONLY));

    ASSERT_EQ(ERROR_SUCCESS, s.support_registry_put_long(L"\\local\\Language", kRussian));
    ASSERT_EQ(kRussian, Current());
    EXPECT_EQ(L"Считыватели закрытых ключей", String(IDS_BOTH_LANGUAGES));
    // No other language stands in for a missing string.
    DWORD error = 0;
    EXPECT_EQ(L"", String(IDS_ENGLISH_ONLY, &error));
    EXPECT_NE(ERROR_SUCCESS, error);
    EXPECT_EQ(L"", String(999, &error));
    EXPECT_NE(ERROR_SUCCESS, error);

    // A buffer too small for the text.
    wchar_t buffer[8] = {};
    DWORD length = 7;
    EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA),
              s.support_resource_string(strings_, IDS_BOTH_LANGUAGES, buffer, &length));
    EXPECT_EQ(27u, length);
}

TEST_F(Language, VersionValuesOfAModule) {
    ASSERT_NE(nullptr, strings_) << "kvtestres.dll: error " << ::GetLastError();
    DWORD length = 0;
    ASSERT_EQ(ERROR_SUCCESS,
              s.support_resource_version_string(L"ProductName", strings_, nullptr, &length));
    std::vector<wchar_t> buffer(length + 1);
    ASSERT_EQ(ERROR_SUCCESS,
              s.support_resource_version_string(L"ProductName", strings_, buffer.data(), &length));
    EXPECT_STREQ(L"Vestra test strings", buffer.data());

    length = 0;
    EXPECT_NE(ERROR_SUCCESS,
              s.support_resource_version_string(L"Comments", strings_, nullptr, &length));
    // The library's own version resource, as the applet asks for its own.
    EXPECT_EQ(ERROR_SUCCESS, s.support_resource_version_string(L"LegalCopyright", s.library.get(),
                                                               nullptr, &length));
    EXPECT_GT(length, 0u);
}

}  // namespace
