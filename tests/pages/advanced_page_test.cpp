// The Advanced page: the modules it lists against the files behind them, and the installed
// applet's page sorted by header clicks, copied to the clipboard, and opening the user input
// timeout dialog.
#include "applet_fixture.h"
#include "driver/driver.h"
#include "pages/module_list.h"
#include "resource.h"
#include "version.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>

namespace {

using namespace driver;
using applet::ModuleRow;
using Texts = std::vector<std::wstring>;

Texts Fields(const ModuleRow& row) {
    return {row.name, row.version, row.type, row.path};
}

int Icmp(const std::wstring& a, const std::wstring& b) {
    return ::_wcsicmp(a.c_str(), b.c_str());
}

// The system's modules from both directories come first in a fixed order, then the provider's as
// its installer registered them: 64-bit, 32-bit, and one whose file is missing.
TEST(ModuleList, DescribesTheSystemAndTheRegisteredModules) {
    const std::vector<ModuleRow> rows = applet::ListInstalledModules();
    wchar_t system[MAX_PATH], wow64[MAX_PATH];
    ::GetSystemDirectoryW(system, MAX_PATH);
    ::GetSystemWow64DirectoryW(wow64, MAX_PATH);
    ASSERT_GE(rows.size(), 14u);
    EXPECT_EQ((Texts{std::wstring(system) + L"\\advapi32.dll", std::wstring(wow64) + L"\\advapi32.dll",
                     std::wstring(system) + L"\\secur32.dll"}),
              (Texts{rows[0].path, rows[1].path, rows[12].path}));
    EXPECT_EQ(3, std::count(rows[0].version.begin(), rows[0].version.end(), L'.'));

    const std::wstring dir = applettest::kProductDir, version = TEXT(KV_TESTBED_VERSION_TEXT);
    std::vector<Texts> product;
    for (const ModuleRow& row : rows)
        if (Icmp(row.path.substr(0, dir.size()), dir) == 0) product.push_back(Fields(row));
    for (const Texts& expected :
         {Texts{L"kvsuprt.dll", version, L"x64", dir + L"kvsuprt.dll"},
          Texts{L"kvx86.dll", version, L"x86", dir + L"kvx86.dll"},
          Texts{L"", L"", L"32 bit", dir + L"kvstamp.dll"}})
        EXPECT_NE(product.end(), std::find(product.begin(), product.end(), expected))
            << Narrow(expected[3]);
}

// A left click in the middle of a header item, as the mouse gives it.
void ClickHeader(HWND header, int column) {
    RECT item{}, client{};
    ::SendMessageW(header, HDM_GETITEMRECT, column, reinterpret_cast<LPARAM>(&item));
    ::GetClientRect(header, &client);
    const LPARAM at = MAKELPARAM((item.left + std::min(item.right, client.right)) / 2,
                                 (item.top + item.bottom) / 2);
    for (UINT message : {WM_MOUSEMOVE, WM_LBUTTONDOWN, WM_LBUTTONUP})
        ::PostMessageW(header, message, message == WM_LBUTTONDOWN ? MK_LBUTTON : 0, at);
    Flush();
}

std::string Pixels(HBITMAP bitmap) {
    DIBSECTION dib{};
    if (!bitmap || ::GetObjectW(bitmap, sizeof(dib), &dib) != sizeof(dib) || !dib.dsBm.bmBits)
        return "?";
    return std::string(static_cast<const char*>(dib.dsBm.bmBits),
                       dib.dsBm.bmWidthBytes * dib.dsBm.bmHeight);
}

std::string ShellArrow(WORD id) {
    auto bitmap = HBITMAP(::LoadImageW(::GetModuleHandleW(L"shell32.dll"), MAKEINTRESOURCEW(id),
                                       IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION));
    const std::string pixels = Pixels(bitmap);
    ::DeleteObject(bitmap);
    return pixels;
}

// Which columns show a sort arrow: "^" ascending, "v" descending. The header draws it with newer
// common controls; with older ones it shows the shell's arrow bitmap right of the text.
std::wstring Arrows(HWND header) {
    static const std::string up = ShellArrow(133), down = ShellArrow(134);
    std::wstring arrows;
    for (int column = 0; column < applet::kColumnCount; ++column) {
        HDITEMW item{};
        item.mask = HDI_FORMAT | HDI_BITMAP;
        ::SendMessageW(header, HDM_GETITEMW, column, reinterpret_cast<LPARAM>(&item));
        const std::string bitmap = item.fmt & HDF_BITMAP_ON_RIGHT ? Pixels(item.hbm) : "";
        arrows += item.fmt & HDF_SORTUP || bitmap == up       ? L'^'
                  : item.fmt & HDF_SORTDOWN || bitmap == down ? L'v'
                                                              : L' ';
    }
    return arrows;
}

TEST(AdvancedPage, ListsSortsAndCopiesTheModulesAndOpensTheTimeoutDialog) {
    ClearClipboard();
    std::vector<ModuleRow> modules = applet::ListInstalledModules();
    std::sort(modules.begin(), modules.end(), [](const ModuleRow& l, const ModuleRow& r) {
        return applet::CompareModuleRows(l, r, applet::kColumnName, false) < 0;
    });
    std::vector<Texts> expected;
    for (const ModuleRow& row : modules) expected.push_back(Fields(row));

    applettest::RunSheet(3, [&](HWND sheet) {
        HWND list = Item(ActivePage(sheet), IDC_ADVANCED_VERSIONS);
        HWND header = reinterpret_cast<HWND>(::SendMessageW(list, LVM_GETHEADER, 0, 0));
        EXPECT_EQ(L"^   ", Arrows(header));
        EXPECT_EQ(expected, ListRows(list)) << "by name, as the files are";

        ClickHeader(header, applet::kColumnVersion);
        EXPECT_EQ(L" ^  ", Arrows(header));
        ClickHeader(header, applet::kColumnVersion);
        EXPECT_EQ(L" v  ", Arrows(header));
        std::vector<Texts> rows = ListRows(list);
        ASSERT_EQ(expected.size(), rows.size());
        int ties = 0;
        for (size_t i = 1; i < rows.size(); ++i) {
            const int version = Icmp(rows[i - 1][1], rows[i][1]);
            EXPECT_GE(version, 0) << "row " << i << " by version, descending";
            if (version != 0) continue;
            ++ties;
            EXPECT_GE(Icmp(rows[i - 1][0], rows[i][0]), 0) << "row " << i << " then by name";
        }
        EXPECT_GE(ties, 5) << "the product's modules share a version";

        // The copy pads the name and the version to their columns.
        Click(Item(ActivePage(sheet), IDC_ADVANCED_COPY));
        std::wstring text;
        for (const Texts& row : rows) {
            wchar_t line[1024];
            std::swprintf(line, 1024, L"%-12ls %16ls %2ls %ls\r\n", row[0].c_str(),
                          row[1].c_str(), row[2].c_str(), row[3].c_str());
            text += line;
        }
        WaitUntil([&] { return ClipboardText() == text; }, "the list on the clipboard");

        Click(Item(ActivePage(sheet), IDC_ADVANCED_TIMEOUT));
        HWND timeout = WaitForWindow({L"#32770", L"User input timeout", sheet, true});
        EXPECT_FALSE(IsEnabled(sheet)) << "the timeout dialog is modal";
        Click(Item(timeout, IDCANCEL));
        WaitUntilGone(timeout);
    });
}

}  // namespace
