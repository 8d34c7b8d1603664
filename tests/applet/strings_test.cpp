// Strings in the store's language and the text of error codes.
#include "applet/strings.h"
#include "applet_fixture.h"
#include "driver/driver.h"
#include "resource.h"
#include "testbed/libraries.h"

#include <gtest/gtest.h>

namespace {

using applettest::LoadUninstalledModule;

// Codes of testbed/uninstalled/messages.mc.in. Every stand-in message module answers all of
// them with its own name, so a text tells which module the lookup read.
constexpr DWORD kQueueError = 0xC00E0101;   // facility 14
constexpr DWORD kStampError = 0xC2100101;   // facility 528
constexpr DWORD kStatusError = 0xC2110101;  // facility 529
constexpr DWORD kHttpError = 0x80073039;    // winhttp's message 0x3039 as an HRESULT

// The message modules, loaded as the product and the system would have them. The time-stamp
// client hides behind the signature library's manifest, which maps its name to another file.
void LoadMessageModules() {
    for (const wchar_t* file :
         {L"mqutil.dll", L"kvstatus.dll", L"winhttp.dll", L"kvsign.dll", L"kvstamp-sxs.dll"})
        ASSERT_TRUE(LoadUninstalledModule(file));
    ASSERT_FALSE(::GetModuleHandleW(L"kvstamp.dll")) << "only kvsign.dll's manifest finds it";
}

TEST(ErrorText, SystemTextsLoseTheirLineBreaksAndTheMessageAddsTheCode) {
    std::wstring text = applet::ErrorMessageText(0x80090016);
    const std::wstring prefix = L"Error 0x80090016 (-2146893802) ";
    ASSERT_EQ(prefix, text.substr(0, prefix.size()));
    EXPECT_EQ(text.substr(prefix.size()), applet::ErrorText(0x80090016, 0));
    for (DWORD code : {DWORD{0x80090016}, DWORD{ERROR_ACCESS_DENIED}}) {
        const std::wstring system = applet::ErrorText(code, 0);
        EXPECT_FALSE(system.empty()) << code;
        EXPECT_EQ(std::wstring::npos, system.find_first_of(L"\r\n")) << code;
    }
    EXPECT_EQ(std::wstring::npos,
              applet::ErrorText(ERROR_ACCESS_DENIED, 0).find(L"Unknown error code"));
}

TEST(ErrorText, EachFacilityReadsItsOwnMessageModule) {
    LoadMessageModules();
    EXPECT_EQ(L"mqutil.dll", applet::ErrorText(kQueueError, 0));
    EXPECT_EQ(L"kvstamp.dll", applet::ErrorText(kStampError, 0))
        << "found under the signature library's activation context";
    EXPECT_EQ(L"kvstatus.dll", applet::ErrorText(kStatusError, 0));
    EXPECT_EQ(L"winhttp.dll", applet::ErrorText(kHttpError, 0))
        << "winhttp numbers its messages without the facility";
    EXPECT_EQ(L"mqutil.dll",
              applet::ErrorText(kQueueError, MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT)))
        << "a module without the asked language answers in its own";
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
