// The domain controller identifiers and the certificate template repair against the testbed's
// directory: the listing, the export file and the repair on their own, then the Winlogon page
// on a domain controller with the system's save dialog.
#include "applet_fixture.h"
#include "client.h"
#include "driver/driver.h"
#include "page_support.h"
#include "pages/domain_directory.h"
#include "resource.h"

#include <gtest/gtest.h>

#include <objbase.h>

#include <fstream>
#include <iterator>

namespace {

using namespace driver;
using pagetest::SetRegNumber;
namespace knobs = testbed::knobs;

std::wstring TempPath(const wchar_t* name) {
    wchar_t directory[MAX_PATH];
    ::GetTempPathW(MAX_PATH, directory);
    return directory + std::wstring(name);
}

const std::wstring kFile = TempPath(L"kv-directory.ini"), kExport = TempPath(L"kv-dcs.txt");
const std::wstring kConfiguration = L"CN=Configuration,DC=corp,DC=test";
const std::wstring kControllers = L"OU=Domain Controllers,DC=corp,DC=test";
const std::wstring kTemplates =
    L",CN=Certificate Templates,CN=Public Key Services,CN=Services," + kConfiguration;
const std::wstring kDcTemplate = L"CN=DomainController" + kTemplates;
const std::wstring kAgentTemplate = L"CN=EnrollmentAgent" + kTemplates;
const std::string kExported =
    "dc1.corp.test\r\n{3f2504e0-4f89-41d3-9a0c-0305e82c3301}\r\n"
    "dc2.corp.test\r\n{0a1b2c3d-0000-4eee-8fff-123456789abc}\r\n";

std::wstring Attribute(const std::wstring& object, const wchar_t* name) {
    wchar_t text[256] = {};
    ::GetPrivateProfileStringW(object.c_str(), name, L"<none>", text, 256, kFile.c_str());
    return text;
}

void SetAttribute(const std::wstring& object, const wchar_t* name, const std::wstring& value) {
    ASSERT_TRUE(::WritePrivateProfileStringW(object.c_str(), name, value.c_str(), kFile.c_str()));
}

std::string FileBytes(const std::wstring& path) {
    std::ifstream file(path.c_str(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A domain with two controllers, a computer without a host name between them, and both
// templates prescribing what the repair undoes.
class Directory : public ::testing::Test {
protected:
    void SetUp() override {
        ::CoInitialize(nullptr);
        ::DeleteFileW(kFile.c_str());
        SetAttribute(L"rootDSE", L"defaultNamingContext", L"s:DC=corp,DC=test");
        SetAttribute(L"rootDSE", L"configurationNamingContext", L"s:" + kConfiguration);
        SetAttribute(kControllers, L"objectClass", L"s:organizationalUnit");
        const wchar_t* const computers[][3] = {
            {L"DC1", L"dc1.corp.test", L"3F2504E0-4F89-41D3-9A0C-0305E82C3301"},
            {L"NONAME", L"", L"11111111-2222-3333-4444-555555555555"},
            {L"DC2", L"dc2.corp.test", L"0A1B2C3D-0000-4EEE-8FFF-123456789ABC"}};
        for (const auto& computer : computers) {
            const std::wstring object = L"CN=" + std::wstring(computer[0]) + L"," + kControllers;
            SetAttribute(object, L"objectClass", L"s:computer");
            if (*computer[1]) SetAttribute(object, L"dNSHostName", L"s:" + std::wstring(computer[1]));
            SetAttribute(object, L"objectGUID", L"g:" + std::wstring(computer[2]));
        }
        SetAttribute(L"CN=Printers," + kControllers, L"dNSHostName", L"s:printers.corp.test");
        SetAttribute(kConfiguration, L"objectClass", L"s:configuration");
        for (const std::wstring& object : {kDcTemplate, kAgentTemplate})
            SetAttribute(object, L"objectClass", L"s:pKICertificateTemplate");
        SetAttribute(kDcTemplate, L"pKIDefaultCSPs", L"s:1,Microsoft RSA SChannel Cryptographic Provider");
        SetAttribute(kDcTemplate, L"msPKI-Minimal-Key-Size", L"i:512");
        SetAttribute(kAgentTemplate, L"pKIDefaultCSPs", L"s:1,Microsoft Base Cryptographic Provider");
        SetAttribute(kAgentTemplate, L"msPKI-Minimal-Key-Size", L"i:2048");
        pagetest::SetRegText(knobs::kDirectory, knobs::kDirectoryFile, kFile);
    }
    void TearDown() override {
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, knobs::kDirectory);
        ::CoUninitialize();
    }
};

TEST_F(Directory, ListsTheComputersWithANameAndExportsThemInTheirOrder) {
    std::vector<applet::DomainControllerEntry> controllers;
    ASSERT_EQ(S_OK, applet::ListDomainControllers(controllers));
    ASSERT_EQ(2u, controllers.size());
    EXPECT_EQ(L"dc1.corp.test", controllers[0].name);
    EXPECT_EQ(L"3f2504e0-4f89-41d3-9a0c-0305e82c3301", controllers[0].identifier);
    EXPECT_EQ(kExported, applet::ExportText(controllers));

    SetRegNumber(knobs::kDirectory, knobs::kBindError, 0x8007203A);  // the server is not operational
    EXPECT_EQ(HRESULT(0x8007203A), applet::ListDomainControllers(controllers));
    EXPECT_TRUE(controllers.empty());
}

TEST_F(Directory, RepairClearsTheProvidersAndSetsTheKeySizeOfBothTemplates) {
    SetRegNumber(knobs::kDirectory, knobs::kGetError, 0x80070005);
    pagetest::SetRegText(knobs::kDirectory, knobs::kGetErrorName, L"pKIDefaultCSPs");
    EXPECT_FALSE(applet::TemplatesNeedRepair()) << "an attribute that can't be read";
    ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, knobs::kDirectory, knobs::kGetError);
    EXPECT_TRUE(applet::TemplatesNeedRepair());

    ASSERT_EQ(S_OK, applet::RepairTemplates());
    for (const std::wstring& object : {kDcTemplate, kAgentTemplate}) {
        EXPECT_EQ(L"<none>", Attribute(object, L"pKIDefaultCSPs"));
        EXPECT_EQ(L"i:512", Attribute(object, L"msPKI-Minimal-Key-Size"));
    }
    EXPECT_FALSE(applet::TemplatesNeedRepair());
    SetAttribute(kAgentTemplate, L"pKIDefaultCSPs", L"i:0");
    EXPECT_FALSE(applet::TemplatesNeedRepair()) << "the integer 0 is what a missing value reads as";
}

TEST_F(Directory, OnADomainController) {
    testbed::ScopedDomainController domainController;
    EXPECT_EQ(0u, RunTestsInNewProcess(L"Directory.DISABLED_Page*"))
        << "the page in a program that sees a domain controller (output above)";
}

// Exports into `path` through the save dialog that the page's "Export" opens. Its Save button
// ignores a posted click here, so the command goes to the dialog itself.
void Export(HWND page, const std::wstring& path) {
    Click(page, IDC_WINLOGON_EXPORT);
    HWND dialog = WaitForWindow({L"#32770", L"Save As"});
    SetText(Item(dialog, 0x47c), path);  // the file name box
    HWND ok = Item(dialog, IDOK);
    WaitUntil([&] { return IsEnabled(ok); }, "the Save button");
    ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), reinterpret_cast<LPARAM>(ok));
    WaitUntilGone(dialog);
}

// An existing file is overwritten only when the user says so; "No" asks for another name.
TEST_F(Directory, DISABLED_PageListsTheControllersAndExportsTheirIdentifiers) {
    std::ofstream(kExport.c_str(), std::ios::binary) << "old";
    applettest::RunSheet(6, [&](HWND sheet) {
        HWND page = ActivePage(sheet), combo = Item(page, IDC_WINLOGON_DC);
        EXPECT_EQ((std::vector<std::wstring>{L"dc1.corp.test", L"dc2.corp.test"}),
                  ComboItems(combo));
        EXPECT_EQ(L"{3f2504e0-4f89-41d3-9a0c-0305e82c3301}", Text(Item(page, IDC_WINLOGON_DC_ID)));
        SelectCombo(combo, 1);
        Flush();
        EXPECT_EQ(L"{0a1b2c3d-0000-4eee-8fff-123456789abc}", Text(Item(page, IDC_WINLOGON_DC_ID)));
        EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply)));

        Export(page, kExport);
        MessageBoxInfo box = AnswerMessageBox(IDNO);
        EXPECT_EQ(L"The file " + kExport + L" exists, to overwrite?", box.text);
        EXPECT_EQ(UINT{MB_ICONQUESTION}, box.icon);
        HWND again = WaitForWindow({L"#32770", L"Save As"});
        Click(Item(again, IDCANCEL));
        WaitUntilGone(again);
        EXPECT_EQ("old", FileBytes(kExport));
        Export(page, kExport);
        AnswerMessageBox(IDYES);
        Flush();
        EXPECT_EQ(kExported, FileBytes(kExport));
    });
    ::DeleteFileW(kExport.c_str());
}

TEST_F(Directory, DISABLED_PageRepairsTheTemplatesAndReportsAFailedWrite) {
    SetRegNumber(knobs::kDirectory, knobs::kSetInfoError, 0x80072035);  // server unwilling
    applettest::RunSheet(6, [&](HWND sheet) {
        HWND fix = Item(ActivePage(sheet), IDC_WINLOGON_FIX_TEMPLATES);
        Click(fix);
        MessageBoxInfo box = AnswerMessageBox(IDOK);
        EXPECT_EQ(0u, box.text.rfind(L"Error 0x80072035 (-2147016651) ", 0)) << Narrow(box.text);
        EXPECT_GT(box.text.size(), 31u) << "the code's text follows";
        EXPECT_EQ(UINT{MB_ICONERROR}, box.icon);
        Flush();
        EXPECT_TRUE(IsEnabled(fix)) << "no success after the failure";

        ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, knobs::kDirectory, knobs::kSetInfoError);
        Click(fix);
        box = AnswerMessageBox(IDOK);
        EXPECT_EQ(L"Certificate Templates in Active Directory updated successfully", box.text);
        EXPECT_EQ(UINT{MB_ICONINFORMATION}, box.icon);
        Flush();
        EXPECT_FALSE(IsEnabled(fix));
        EXPECT_EQ(L"<none>", Attribute(kDcTemplate, L"pKIDefaultCSPs"));
    });
}

}  // namespace
