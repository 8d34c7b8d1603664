// The certificate template repair against the testbed's directory.
#include "client.h"
#include "page_support.h"
#include "pages/domain_directory.h"

#include <gtest/gtest.h>

#include <objbase.h>

namespace {

namespace knobs = testbed::knobs;

std::wstring TempPath(const wchar_t* name) {
    wchar_t directory[MAX_PATH];
    ::GetTempPathW(MAX_PATH, directory);
    return directory + std::wstring(name);
}

const std::wstring kFile = TempPath(L"kv-directory.ini");
const std::wstring kConfiguration = L"CN=Configuration,DC=corp,DC=test";
const std::wstring kTemplates =
    L",CN=Certificate Templates,CN=Public Key Services,CN=Services," + kConfiguration;
const std::wstring kDcTemplate = L"CN=DomainController" + kTemplates;
const std::wstring kAgentTemplate = L"CN=EnrollmentAgent" + kTemplates;

std::wstring Attribute(const std::wstring& object, const wchar_t* name) {
    wchar_t text[256] = {};
    ::GetPrivateProfileStringW(object.c_str(), name, L"<none>", text, 256, kFile.c_str());
    return text;
}

void SetAttribute(const std::wstring& object, const wchar_t* name, const std::wstring& value) {
    ASSERT_TRUE(::WritePrivateProfileStringW(object.c_str(), name, value.c_str(), kFile.c_str()));
}

// Both templates prescribe what the repair undoes.
TEST(Directory, RepairClearsTheProvidersAndSetsTheKeySizeOfBothTemplates) {
    ::CoInitialize(nullptr);
    ::DeleteFileW(kFile.c_str());
    SetAttribute(L"rootDSE", L"configurationNamingContext", L"s:" + kConfiguration);
    SetAttribute(kConfiguration, L"objectClass", L"s:configuration");
    for (const std::wstring& object : {kDcTemplate, kAgentTemplate}) {
        SetAttribute(object, L"objectClass", L"s:pKICertificateTemplate");
        SetAttribute(object, L"pKIDefaultCSPs", L"s:1,Microsoft Base Cryptographic Provider");
        SetAttribute(object, L"msPKI-Minimal-Key-Size", L"i:2048");
    }
    pagetest::SetRegText(knobs::kDirectory, knobs::kDirectoryFile, kFile);
    EXPECT_TRUE(applet::TemplatesNeedRepair());
    ASSERT_EQ(S_OK, applet::RepairTemplates());
    for (const std::wstring& object : {kDcTemplate, kAgentTemplate}) {
        EXPECT_EQ(L"<none>", Attribute(object, L"pKIDefaultCSPs"));
        EXPECT_EQ(L"i:512", Attribute(object, L"msPKI-Minimal-Key-Size"));
    }
    EXPECT_FALSE(applet::TemplatesNeedRepair());
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, knobs::kDirectory);
    ::CoUninitialize();
}

}  // namespace
