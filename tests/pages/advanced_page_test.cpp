// The Advanced page: the modules it lists against the files behind them, and the installed
// applet's page sorted by header clicks and copied to the clipboard.
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

// The provider's modules as its installer registered them: 64-bit, 32-bit, and one whose file is
// missing.
TEST(ModuleList, DescribesTheRegisteredModules) {
    const std::wstring dir = applettest::kProductDir, version = TEXT(KV_TESTBED_VERSION_TEXT);
    std::vector<Texts> product;
    for (const ModuleRow& row : applet::ListInstalledModules())
        if (::_wcsicmp(row.path.substr(0, dir.size()).c_str(), dir.c_str()) == 0)
            product.push_back({row.name, row.version, row.type, row.path});
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

// A second click on a column turns its order round; the copy pads the name and the version to
// their columns.
TEST(AdvancedPage, SortsAndCopiesTheModules) {
    ClearClipboard();
    applettest::RunSheet(3, [&](HWND sheet) {
        HWND list = Item(ActivePage(sheet), IDC_ADVANCED_VERSIONS);
        HWND header = reinterpret_cast<HWND>(::SendMessageW(list, LVM_GETHEADER, 0, 0));
        ClickHeader(header, applet::kColumnVersion);
        const std::vector<Texts> ascending = ListRows(list);
        ClickHeader(header, applet::kColumnVersion);
        const std::vector<Texts> rows = ListRows(list);
        EXPECT_NE(ascending.front(), rows.front()) << "descending";

        Click(Item(ActivePage(sheet), IDC_ADVANCED_COPY));
        std::wstring text;
        for (const Texts& row : rows) {
            wchar_t line[1024];
            std::swprintf(line, 1024, L"%-12ls %16ls %2ls %ls\r\n", row[0].c_str(),
                          row[1].c_str(), row[2].c_str(), row[3].c_str());
            text += line;
        }
        WaitUntil([&] { return ClipboardText() == text; }, "the list on the clipboard");
    });
}

}  // namespace
