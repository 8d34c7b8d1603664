// The Advanced page: the modules it lists against the files behind them, its orders, its text,
// and the installed applet's page sorted by header clicks, copied to the clipboard, and opening
// the user input timeout dialog.
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

const std::wstring kProductDir = applettest::kProductDir;
const std::wstring kProductVersion = TEXT(KV_TESTBED_VERSION_TEXT);

std::wstring SystemDir(UINT(WINAPI* get)(LPWSTR, UINT)) {
    wchar_t buffer[MAX_PATH];
    UINT length = get(buffer, MAX_PATH);
    return std::wstring(buffer, length);
}

const ModuleRow* FindPath(const std::vector<ModuleRow>& rows, const std::wstring& path) {
    for (const ModuleRow& row : rows)
        if (::_wcsicmp(row.path.c_str(), path.c_str()) == 0) return &row;
    return nullptr;
}

std::vector<std::wstring> Fields(const ModuleRow& row) {
    return {row.name, row.version, row.type, row.path};
}

TEST(ModuleList, DescribesTheSystemAndTheRegisteredModules) {
    const std::vector<ModuleRow> rows = applet::ListInstalledModules();
    const std::wstring system = SystemDir(::GetSystemDirectoryW);
    const std::wstring wow64 = SystemDir(::GetSystemWow64DirectoryW);
    ASSERT_GE(rows.size(), 14u);
    // Each system module from both directories, in a fixed order, before the provider's.
    EXPECT_EQ(system + L"\\advapi32.dll", rows[0].path);
    EXPECT_EQ(wow64 + L"\\advapi32.dll", rows[1].path);
    EXPECT_EQ(system + L"\\secur32.dll", rows[12].path);
    EXPECT_EQ(wow64 + L"\\secur32.dll", rows[13].path);
    EXPECT_EQ(L"advapi32.dll", rows[0].name);
    EXPECT_EQ(L"x64", rows[0].type);
    EXPECT_EQ(3, std::count(rows[0].version.begin(), rows[0].version.end(), L'.'))
        << "the system's own module has a version: " << Narrow(rows[0].version);

    // The provider's modules as its installer registered them: 64-bit, 32-bit, and one whose
    // file this installation lacks, which shows only what is known of it.
    const ModuleRow* library = FindPath(rows, kProductDir + L"kvsuprt.dll");
    ASSERT_TRUE(library);
    EXPECT_EQ((std::vector<std::wstring>{L"kvsuprt.dll", kProductVersion, L"x64",
                                         kProductDir + L"kvsuprt.dll"}),
              Fields(*library));
    const ModuleRow* x86 = FindPath(rows, kProductDir + L"kvx86.dll");
    ASSERT_TRUE(x86);
    EXPECT_EQ((std::vector<std::wstring>{L"kvx86.dll", kProductVersion, L"x86",
                                         kProductDir + L"kvx86.dll"}),
              Fields(*x86));
    const ModuleRow* missing = FindPath(rows, kProductDir + L"kvstamp.dll");
    ASSERT_TRUE(missing);
    EXPECT_EQ((std::vector<std::wstring>{L"", L"", L"32 bit", kProductDir + L"kvstamp.dll"}),
              Fields(*missing));
    EXPECT_TRUE(FindPath(rows, kProductDir + L"kvconfig.cpl"));
}

TEST(ModuleList, OrdersByColumnThenByItsTieBreakers) {
    const ModuleRow a{L"b.dll", L"5.0.0.1", L"x64", L"C:\\z\\b.dll"};
    const ModuleRow b{L"A.dll", L"5.0.0.1", L"x64", L"C:\\y\\a.dll"};
    const ModuleRow c{L"c.dll", L"6.1.0.0", L"x86", L"c:\\X\\c.dll"};
    const ModuleRow d{L"a.DLL", L"5.0.0.1", L"x86", L"C:\\Y\\A.dll"};
    auto sorted = [&](int column, bool descending) {
        std::vector<ModuleRow> rows{a, b, c, d};
        std::stable_sort(rows.begin(), rows.end(), [&](const ModuleRow& l, const ModuleRow& r) {
            return applet::CompareModuleRows(l, r, column, descending) < 0;
        });
        std::vector<std::wstring> order;
        for (const ModuleRow& row : rows) order.push_back(row.path);
        return order;
    };
    // Equal names (in any case) fall to the version and then the type.
    EXPECT_EQ((std::vector<std::wstring>{b.path, d.path, a.path, c.path}),
              sorted(applet::kColumnName, false));
    EXPECT_EQ((std::vector<std::wstring>{c.path, a.path, d.path, b.path}),
              sorted(applet::kColumnVersion, true));
    EXPECT_EQ((std::vector<std::wstring>{b.path, a.path, d.path, c.path}),
              sorted(applet::kColumnType, false));
    // The path alone decides: b and d differ only in case, so they keep their places.
    EXPECT_EQ((std::vector<std::wstring>{c.path, b.path, d.path, a.path}),
              sorted(applet::kColumnPath, false));
    EXPECT_EQ(0, applet::CompareModuleRows(b, d, applet::kColumnPath, true));
}

TEST(ModuleList, TextHasALineForEachRowInColumns) {
    const std::vector<ModuleRow> rows{
        {L"kvx86.dll", L"5.0.0.1", L"x86", L"C:\\p\\kvx86.dll"},
        {L"", L"", L"32 bit", L"C:\\p\\kvstamp.dll"},
        {L"a-rather-long-name.dll", L"10.0.19041.1000", L"x64", L"C:\\w\\a.dll"},
    };
    EXPECT_EQ(
        L"kvx86.dll             5.0.0.1 x86 C:\\p\\kvx86.dll\r\n"
        L"                              32 bit C:\\p\\kvstamp.dll\r\n"
        L"a-rather-long-name.dll  10.0.19041.1000 x64 C:\\w\\a.dll\r\n",
        applet::ModuleListText(rows));
    EXPECT_EQ(L"", applet::ModuleListText({}));
}

// The page as a person uses it.

HWND Header(HWND list) {
    return reinterpret_cast<HWND>(::SendMessageW(list, LVM_GETHEADER, 0, 0));
}

// A left click in the middle of a header item, as the mouse gives it.
void ClickHeader(HWND list, int column) {
    HWND header = Header(list);
    RECT item{};
    if (!::SendMessageW(header, HDM_GETITEMRECT, column, reinterpret_cast<LPARAM>(&item)))
        throw Failure("no header item " + std::to_string(column));
    RECT client{};
    ::GetClientRect(header, &client);
    const LPARAM at = MAKELPARAM((item.left + std::min(item.right, client.right)) / 2,
                                 (item.top + item.bottom) / 2);
    ::PostMessageW(header, WM_MOUSEMOVE, 0, at);
    ::PostMessageW(header, WM_LBUTTONDOWN, MK_LBUTTON, at);
    ::PostMessageW(header, WM_LBUTTONUP, 0, at);
    Flush();
}

// The pixels of a bitmap made by LoadImage with LR_CREATEDIBSECTION.
std::vector<BYTE> Pixels(HBITMAP bitmap) {
    DIBSECTION dib{};
    if (!bitmap || ::GetObjectW(bitmap, sizeof(dib), &dib) != sizeof(dib) || !dib.dsBm.bmBits)
        return {};
    auto bits = static_cast<const BYTE*>(dib.dsBm.bmBits);
    return std::vector<BYTE>(bits, bits + dib.dsBm.bmWidthBytes * dib.dsBm.bmHeight);
}

std::vector<BYTE> ShellArrow(WORD id) {
    HBITMAP bitmap =
        static_cast<HBITMAP>(::LoadImageW(::GetModuleHandleW(L"shell32.dll"), MAKEINTRESOURCEW(id),
                                          IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION));
    std::vector<BYTE> pixels = Pixels(bitmap);
    if (bitmap) ::DeleteObject(bitmap);
    return pixels;
}

// Which columns show a sort arrow, and which way: "^" ascending, "v" descending, " " none, "?"
// a bitmap that is neither arrow. The header draws the arrow itself with newer common controls;
// with older ones it shows the shell's arrow bitmap on the right of the text.
std::wstring Arrows(HWND list) {
    static const std::vector<BYTE> up = ShellArrow(133), down = ShellArrow(134);
    HWND header = Header(list);
    std::wstring arrows;
    for (int column = 0; column < applet::kColumnCount; ++column) {
        HDITEMW item{};
        item.mask = HDI_FORMAT | HDI_BITMAP;
        ::SendMessageW(header, HDM_GETITEMW, column, reinterpret_cast<LPARAM>(&item));
        wchar_t arrow = L' ';
        if (item.fmt & HDF_SORTUP) {
            arrow = L'^';
        } else if (item.fmt & HDF_SORTDOWN) {
            arrow = L'v';
        } else if ((item.fmt & (HDF_BITMAP | HDF_BITMAP_ON_RIGHT)) ==
                   (HDF_BITMAP | HDF_BITMAP_ON_RIGHT)) {
            const std::vector<BYTE> pixels = Pixels(item.hbm);
            arrow = pixels.empty() ? L'?' : pixels == up ? L'^' : pixels == down ? L'v' : L'?';
        }
        arrows += arrow;
    }
    return arrows;
}

std::vector<std::wstring> Column(const std::vector<std::vector<std::wstring>>& rows, int column) {
    std::vector<std::wstring> values;
    for (const auto& row : rows) values.push_back(row.at(column));
    return values;
}

// The clipboard's text, written out from the rows on the screen.
std::wstring Expected(const std::vector<std::vector<std::wstring>>& rows) {
    std::wstring text;
    for (const auto& row : rows) {
        wchar_t line[1024];
        std::swprintf(line, 1024, L"%-12ls %16ls %2ls %ls\r\n", row.at(0).c_str(),
                      row.at(1).c_str(), row.at(2).c_str(), row.at(3).c_str());
        text += line;
    }
    return text;
}

int Icmp(const std::wstring& a, const std::wstring& b) {
    return ::_wcsicmp(a.c_str(), b.c_str());
}

TEST(AdvancedPage, ListsSortsAndCopiesTheModulesAndOpensTheTimeoutDialog) {
    ClearClipboard();
    std::vector<std::vector<std::wstring>> expected;
    {
        std::vector<ModuleRow> rows = applet::ListInstalledModules();
        std::sort(rows.begin(), rows.end(), [](const ModuleRow& l, const ModuleRow& r) {
            return applet::CompareModuleRows(l, r, applet::kColumnName, false) < 0;
        });
        for (const ModuleRow& row : rows) expected.push_back(Fields(row));
    }

    applettest::RunSheet(3, [&](HWND sheet) {
        HWND list = Item(ActivePage(sheet), IDC_ADVANCED_VERSIONS);
        EXPECT_EQ(L"^   ", Arrows(list));
        EXPECT_EQ(expected, ListRows(list)) << "by name, as the files are";

        ClickHeader(list, applet::kColumnVersion);
        EXPECT_EQ(L" ^  ", Arrows(list));
        ClickHeader(list, applet::kColumnVersion);
        EXPECT_EQ(L" v  ", Arrows(list));
        std::vector<std::vector<std::wstring>> rows = ListRows(list);
        ASSERT_EQ(expected.size(), rows.size());
        int ties = 0;
        for (size_t i = 1; i < rows.size(); ++i) {
            const int version = Icmp(rows[i - 1][1], rows[i][1]);
            EXPECT_GE(version, 0) << "row " << i << " by version, descending";
            if (version == 0) {
                ++ties;
                EXPECT_GE(Icmp(rows[i - 1][0], rows[i][0]), 0)
                    << "row " << i << " by name, descending, within one version";
            }
        }
        EXPECT_GE(ties, 5) << "the product's modules share a version";

        ClickHeader(list, applet::kColumnPath);
        EXPECT_EQ(L"   ^", Arrows(list));
        rows = ListRows(list);
        std::vector<std::wstring> paths = Column(rows, applet::kColumnPath);
        EXPECT_TRUE(std::is_sorted(paths.begin(), paths.end(),
                                   [](const auto& l, const auto& r) { return Icmp(l, r) < 0; }));

        Click(Item(ActivePage(sheet), IDC_ADVANCED_COPY));
        const std::wstring text = Expected(rows);
        WaitUntil([&] { return ClipboardText() == text; }, "the list on the clipboard");

        Click(Item(ActivePage(sheet), IDC_ADVANCED_TIMEOUT));
        HWND timeout = WaitForWindow({L"#32770", L"User input timeout", sheet, true});
        EXPECT_FALSE(IsEnabled(sheet)) << "the timeout dialog is modal";
        Click(Item(timeout, IDCANCEL));
        WaitUntilGone(timeout);
    });
}

}  // namespace
