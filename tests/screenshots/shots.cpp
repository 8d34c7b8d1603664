// Renders windows to BMP files for people to look at: every page of the framework's test sheet
// and wizard, in English and Russian. Usage: kvshots OUTPUT-DIRECTORY
#include "driver/capture.h"
#include "driver/driver.h"
#include "ui/test_pages.h"

#include <cstdio>
#include <string>

namespace {

using namespace driver;

std::wstring g_directory;
int g_failures = 0;

void Save(HWND hwnd, const std::wstring& name) {
    std::wstring path = g_directory + L"\\" + name + L".bmp";
    Flush();  // the buttons as the page set them
    if (!SaveBmp(CaptureWindow(hwnd), path)) {
        std::fprintf(stderr, "kvshots: cannot write %s\n", Narrow(path).c_str());
        ++g_failures;
    }
}

// Shows every page of a sheet in turn and saves each one.
void ShootPages(ui::PropertySheet& sheet, const std::wstring& title, const std::wstring& prefix,
                bool wizard) {
    RunModal([&] { return sheet.DoModal(); },
             [&] {
                 HWND hwnd = WaitForWindow({L"#32770", title});
                 for (int i = 0; i < sheet.PageCount(); ++i) {
                     if (i > 0) {
                         if (wizard)
                             PressSheetButton(hwnd, PSBTN_NEXT);
                         else
                             SetPage(hwnd, i);
                         WaitUntil([&] { return ActivePageIndex(hwnd) == i; }, "the next page");
                     }
                     Save(hwnd, prefix + L"-" + std::to_wstring(i + 1));
                 }
                 PressSheetButton(hwnd, PSBTN_CANCEL);
             });
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    g_directory = argc > 1 ? argv[1] : L".";
    struct Language {
        LANGID id;
        const wchar_t* tag;
        const wchar_t* sheet;
        const wchar_t* wizard;
    };
    const Language languages[] = {
        {testui::kEnglish, L"en", L"Framework Test Properties", L"Framework test wizard"},
        {testui::kRussian, L"ru", L"Свойства: проверка каркаса", L"Мастер проверки каркаса"}};
    for (const Language& language : languages) {
        testui::SettingsSheet sheet(language.id);
        ShootPages(sheet, language.sheet, std::wstring(L"framework-sheet-") + language.tag, false);
        testui::Wizard wizard(language.id);
        ShootPages(wizard, language.wizard, std::wstring(L"framework-wizard-") + language.tag, true);
    }
    return g_failures ? 1 : 0;
}
