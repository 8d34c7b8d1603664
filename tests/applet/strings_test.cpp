// Strings in the store's language and the text of error codes.
#include "applet/strings.h"
#include "applet_fixture.h"
#include "resource.h"

#include <gtest/gtest.h>

namespace {

TEST(ErrorText, CryptoErrorHasTheCodeTheSystemTextAndNoLineBreak) {
    std::wstring text = applet::ErrorMessageText(0x80090016);
    const std::wstring prefix = L"Error 0x80090016 (-2146893802) ";
    ASSERT_EQ(prefix, text.substr(0, prefix.size()));
    std::wstring system = text.substr(prefix.size());
    EXPECT_FALSE(system.empty());
    EXPECT_EQ(std::wstring::npos, system.find_first_of(L"\r\n"));
    EXPECT_EQ(system, applet::ErrorText(0x80090016, 0));
}

TEST(ErrorText, SystemTextLosesItsLineBreak) {
    std::wstring text = applet::ErrorText(ERROR_ACCESS_DENIED, 0);
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(std::wstring::npos, text.find(L"Unknown error code"));
    EXPECT_NE(L'\n', text.back());
    EXPECT_NE(L'\r', text.back());
}

TEST(ErrorText, DirectoryServiceCodesAndTheFallback) {
    EXPECT_EQ(L"E_ADS_BAD_PATHNAME", applet::ErrorText(0x80005000, 0));
    EXPECT_EQ(L"E_ADS_INVALID_FILTER", applet::ErrorText(0x80005014, 0));
    EXPECT_EQ(L"Unknown error code (0x80005012)", applet::ErrorText(0x80005012, 0));
    EXPECT_EQ(L"Unknown error code (0xE0001234)", applet::ErrorText(0xE0001234, 0));
}

TEST(Strings, FollowTheStoreLanguageAndFormatInserts) {
    EXPECT_EQ(L"Error saving parameters.", applet::LoadStringLang(IDS_ERROR_SAVING));
    EXPECT_EQ(L"", applet::LoadStringLang(9999)) << "a missing string is empty";
    EXPECT_EQ(L"Vestra CSP Properties", applet::FormatStringPrintf(IDS_PROPERTIES_FORMAT, L"Vestra CSP"));
    applettest::SetLanguages(1049, std::nullopt);
    applet::CurrentLanguage();  // as building a page does: the library reads the setting anew
    std::wstring russian = applet::LoadStringLang(IDS_ERROR_SAVING);
    applettest::SetLanguages(std::nullopt, std::nullopt);
    applet::CurrentLanguage();
    EXPECT_FALSE(russian.empty());
    EXPECT_NE(L"Error saving parameters.", russian);
}

}  // namespace
