// The domain controller identifiers and the certificate template repair against the testbed's
// directory: the listing, the export file and the repair on their own, then the Winlogon page
// on a domain controller with the system's save dialog.
#include "applet_fixture.h"
#include "client.h"
#include "driver/driver.h"
#include "pages/domain_directory.h"
#include "resource.h"
#include "testbed/knobs.h"

#include <gtest/gtest.h>

#include <objbase.h>

#include <fstream>
#include <iterator>

namespace {

using namespace driver;
using applettest::RunSheet;
namespace knobs = testbed::knobs;

std::wstring TempPath(const wchar_t* name) {
    wchar_t directory[MAX_PATH];
    ::GetTempPathW(MAX_PATH, directory);
    return directory + std::wstring(name);
}

const std::wstring kFile = TempPath(L"kv-directory.ini");
const std::wstring kConfiguration = L"CN=Configuration,DC=corp,DC=test";
const std::wstring kControllers = L"OU=Domain Controllers,DC=corp,DC=test";
const std::wstring kDomainControllerTemplate =
    L"CN=DomainController,CN=Certificate Templates,CN=Public Key Services,CN=Services," +
    kConfiguration;
const std::wstring kEnrollmentAgentTemplate =
    L"CN=EnrollmentAgent,CN=Certificate Templates,CN=Public Key Services,CN=Services," +
    kConfiguration;
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

void SetDirectoryKnob(const wchar_t* name, DWORD value) {
    ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, knobs::kDirectory, name, REG_DWORD, &value,
                      sizeof(value));
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
        AddComputer(L"DC1", L"dc1.corp.test", L"3F2504E0-4F89-41D3-9A0C-0305E82C3301");
        AddComputer(L"NONAME", L"", L"11111111-2222-3333-4444-555555555555");
        AddComputer(L"DC2", L"dc2.corp.test", L"0A1B2C3D-0000-4EEE-8FFF-123456789ABC");
        SetAttribute(L"CN=Printers," + kControllers, L"dNSHostName", L"s:printers.corp.test");
        SetAttribute(kConfiguration, L"objectClass", L"s:configuration");
        for (const std::wstring& object : {kDomainControllerTemplate, kEnrollmentAgentTemplate})
            SetAttribute(object, L"objectClass", L"s:pKICertificateTemplate");
        SetAttribute(kDomainControllerTemplate, L"pKIDefaultCSPs",
                     L"s:1,Microsoft RSA SChannel Cryptographic Provider");
        SetAttribute(kDomainControllerTemplate, L"msPKI-Minimal-Key-Size", L"i:512");
        SetAttribute(kEnrollmentAgentTemplate, L"msPKI-Minimal-Key-Size", L"i:2048");
        ASSERT_EQ(ERROR_SUCCESS,
                  ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, knobs::kDirectory, knobs::kDirectoryFile,
                                    REG_SZ, kFile.c_str(),
                                    static_cast<DWORD>((kFile.size() + 1) * sizeof(wchar_t))));
    }
    void TearDown() override {
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, knobs::kDirectory);
        ::CoUninitialize();
    }

    static void AddComputer(const wchar_t* name, const std::wstring& host, const wchar_t* guid) {
        const std::wstring object = L"CN=" + std::wstring(name) + L"," + kControllers;
        SetAttribute(object, L"objectClass", L"s:computer");
        if (!host.empty()) SetAttribute(object, L"dNSHostName", L"s:" + host);
        SetAttribute(object, L"objectGUID", L"g:" + std::wstring(guid));
    }
};

TEST_F(Directory, ListsTheComputersWithANameAndExportsThemInTheirOrder) {
    std::vector<applet::DomainControllerEntry> controllers;
    ASSERT_EQ(S_OK, applet::ListDomainControllers(controllers));
    ASSERT_EQ(2u, controllers.size());
    EXPECT_EQ(L"dc1.corp.test", controllers[0].name);
    EXPECT_EQ(L"3f2504e0-4f89-41d3-9a0c-0305e82c3301", controllers[0].identifier);
    EXPECT_EQ(L"dc2.corp.test", controllers[1].name);
    EXPECT_EQ(kExported, applet::ExportText(controllers));

    SetDirectoryKnob(knobs::kBindError, 0x8007203A);  // the server is not operational
    EXPECT_EQ(HRESULT(0x8007203A), applet::ListDomainControllers(controllers));
    EXPECT_TRUE(controllers.empty());
}

TEST_F(Directory, RepairClearsTheProvidersAndSetsTheKeySizeOfBothTemplates) {
    SetDirectoryKnob(knobs::kGetError, 0x80070005);
    ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, knobs::kDirectory, knobs::kGetErrorName, REG_SZ,
                      L"pKIDefaultCSPs", sizeof(L"pKIDefaultCSPs"));
    EXPECT_FALSE(applet::TemplatesNeedRepair()) << "an attribute that can't be read";
    ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, knobs::kDirectory, knobs::kGetError);
    EXPECT_TRUE(applet::TemplatesNeedRepair());

    ASSERT_EQ(S_OK, applet::RepairTemplates());
    for (const std::wstring& object : {kDomainControllerTemplate, kEnrollmentAgentTemplate}) {
        EXPECT_EQ(L"<none>", Attribute(object, L"pKIDefaultCSPs"));
        EXPECT_EQ(L"i:512", Attribute(object, L"msPKI-Minimal-Key-Size"));
    }
    EXPECT_FALSE(applet::TemplatesNeedRepair());
    SetAttribute(kEnrollmentAgentTemplate, L"pKIDefaultCSPs", L"i:0");
    EXPECT_FALSE(applet::TemplatesNeedRepair()) << "the integer 0 is what a missing value reads as";
}

TEST_F(Directory, OnADomainController) {
    testbed::ScopedDomainController domainController;
    EXPECT_EQ(0u, RunTestsInNewProcess(L"Directory.DISABLED_Page*"))
        << "the page in a program that sees a domain controller (output above)";
}

constexpr int kWinlogon = 6;
const std::wstring kExport = TempPath(L"kv-controllers.txt");

// Types `path` into the save dialog that the page's "Export" opens and saves. The dialog's OK
// button ignores a posted click here, so the command goes to the dialog itself.
void SaveAs(const std::wstring& path) {
    HWND dialog = WaitForWindow({L"#32770", L"Save As"});
    SetText(Item(dialog, 0x47c), path);  // the file name box
    HWND ok = Item(dialog, IDOK);
    WaitUntil([&] { return IsEnabled(ok); }, "the Save button");
    ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), reinterpret_cast<LPARAM>(ok));
    WaitUntilGone(dialog);
}

TEST_F(Directory, DISABLED_PageListsTheControllersAndExportsTheirIdentifiers) {
    ::DeleteFileW(kExport.c_str());
    RunSheet(kWinlogon, [&](HWND sheet) {
        HWND page = ActivePage(sheet), combo = Item(page, IDC_WINLOGON_DC),
             identifier = Item(page, IDC_WINLOGON_DC_ID);
        EXPECT_EQ((std::vector<std::wstring>{L"dc1.corp.test", L"dc2.corp.test"}),
                  ComboItems(combo));
        EXPECT_EQ(L"{3f2504e0-4f89-41d3-9a0c-0305e82c3301}", Text(identifier));
        EXPECT_FALSE(IsEnabled(SheetButton(sheet, kApply)));
        SelectCombo(combo, 1);
        Flush();
        EXPECT_EQ(L"{0a1b2c3d-0000-4eee-8fff-123456789abc}", Text(identifier));

        Click(page, IDC_WINLOGON_EXPORT);
        SaveAs(kExport);
        Flush();
        EXPECT_EQ(kExported, FileBytes(kExport));

        // No asks for another name; cancelling that dialog leaves the file alone.
        std::ofstream(kExport.c_str(), std::ios::binary) << "old";
        Click(page, IDC_WINLOGON_EXPORT);
        SaveAs(kExport);
        MessageBoxInfo box = AnswerMessageBox(IDNO);
        EXPECT_EQ(L"The file " + kExport + L" exists, to overwrite?", box.text);
        EXPECT_EQ(UINT{MB_ICONQUESTION}, box.icon);
        HWND again = WaitForWindow({L"#32770", L"Save As"});
        Click(Item(again, IDCANCEL));
        WaitUntilGone(again);
        Click(page, IDC_WINLOGON_EXPORT);
        SaveAs(kExport);
        AnswerMessageBox(IDCANCEL);
        Flush();
        EXPECT_EQ("old", FileBytes(kExport));
        for (HWND window : TopLevelWindows()) EXPECT_NE(L"Save As", Text(window));

        Click(page, IDC_WINLOGON_EXPORT);
        SaveAs(kExport);
        AnswerMessageBox(IDYES);
        Flush();
        EXPECT_EQ(kExported, FileBytes(kExport));
    });
    ::DeleteFileW(kExport.c_str());
}

TEST_F(Directory, DISABLED_PageRepairsTheTemplatesAndReportsAFailedWrite) {
    SetDirectoryKnob(knobs::kSetInfoError, 0x80072035);  // the server is unwilling to perform
    RunSheet(kWinlogon, [&](HWND sheet) {
        HWND fix = Item(ActivePage(sheet), IDC_WINLOGON_FIX_TEMPLATES);
        EXPECT_TRUE(IsEnabled(fix));
        Click(fix);
        MessageBoxInfo box = AnswerMessageBox(IDOK);
        EXPECT_EQ(0u, box.text.rfind(L"Error 0x80072035 (-2147016651) ", 0)) << Narrow(box.text);
        EXPECT_GT(box.text.size(), 31u) << "the code's text follows";
        EXPECT_EQ(UINT{MB_ICONERROR}, box.icon);
        Flush();
        for (HWND window : TopLevelWindows())
            EXPECT_FALSE(IsMessageBox(window)) << "no success after the failure";
        EXPECT_TRUE(IsEnabled(fix));
        EXPECT_EQ(L"s:1,Microsoft RSA SChannel Cryptographic Provider",
                  Attribute(kDomainControllerTemplate, L"pKIDefaultCSPs"));

        ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, knobs::kDirectory, knobs::kSetInfoError);
        Click(fix);
        box = AnswerMessageBox(IDOK);
        EXPECT_EQ(L"Certificate Templates in Active Directory updated successfully", box.text);
        EXPECT_EQ(UINT{MB_ICONINFORMATION}, box.icon);
        Flush();
        EXPECT_FALSE(IsEnabled(fix));
        EXPECT_EQ(L"<none>", Attribute(kDomainControllerTemplate, L"pKIDefaultCSPs"));
        EXPECT_EQ(L"i:512", Attribute(kEnrollmentAgentTemplate, L"msPKI-Minimal-Key-Size"));
    });
}

}  // namespace
