// Renders the applet's settings page templates for people to look at: the eight pages of the
// configuration sheet, as the applet file carries them, in one bare sheet per language, with no
// page code behind them; then the dialogs that pages open, each on its own. Usage: kvtemplates CPL-PATH OUTPUT-DIRECTORY
// Exits non-zero when a template is missing in a language or a page could not be saved.
#include "driver/capture.h"
#include "driver/driver.h"
#include "resource.h"
#include "ui/dialog.h"
#include "ui/handles.h"
#include "ui/property_sheet.h"
#include "ui/resources.h"

#include <commctrl.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace driver;

// The pages in the order of the configuration sheet's tabs.
constexpr UINT kPages[] = {IDD_PAGE_GENERAL,  IDD_PAGE_HARDWARE,   IDD_PAGE_SERVICE,
                           IDD_PAGE_ADVANCED, IDD_PAGE_ALGORITHMS, IDD_PAGE_SECURITY,
                           IDD_PAGE_WINLOGON, IDD_PAGE_TLS};

// The dialogs that the pages open.
constexpr UINT kDialogs[] = {IDD_SET_TIMEOUT, IDD_DELETE_PASSWORDS, IDD_INSTALL_SEARCH};

struct Language {
    LANGID id;
    const wchar_t* tag;
};
constexpr Language kLanguages[] = {{MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), L"en"},
                                   {MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT), L"ru"}};

// A page that only shows its template.
class TemplatePage : public ui::PropertyPage {
public:
    TemplatePage(HMODULE module, UINT id, LANGID language) : id_(id) {
        SetTemplate(ui::FindDialogTemplate(module, id, language), module, language);
    }
    UINT Id() const { return id_; }

private:
    UINT id_;
};

class TemplateSheet : public ui::PropertySheet {
public:
    // A page's header points back at the page, so pages never move.
    std::vector<std::unique_ptr<TemplatePage>> pages;
};

int Shoot(HMODULE module, const Language& language, const std::wstring& directory) {
    int failures = 0;
    TemplateSheet sheet;
    for (UINT id : kPages) {
        auto page = std::make_unique<TemplatePage>(module, id, language.id);
        if (!page->HasTemplate()) {
            std::fprintf(stderr, "kvtemplates: template %u is missing in %s\n", id,
                         Narrow(language.tag).c_str());
            ++failures;
            continue;
        }
        sheet.AddPage(*page);
        sheet.pages.push_back(std::move(page));
    }
    if (sheet.pages.empty()) return failures;
    // The caption tells the two runs apart; the applet's own caption is not the point here.
    const std::wstring caption = std::wstring(L"Templates ") + language.tag;
    sheet.SetCaption(caption);

    RunModal([&] { return sheet.DoModal(); },
             [&] {
                 try {
                     HWND hwnd = WaitForWindow({L"#32770", caption});
                     for (int i = 0; i < sheet.PageCount(); ++i) {
                         SetPage(hwnd, i);
                         WaitUntil([&] { return ActivePageIndex(hwnd) == i; }, "the next page");
                         Flush();
                         const std::wstring path = directory + L"\\template-" +
                                                   std::to_wstring(sheet.pages[i]->Id()) + L"-" +
                                                   language.tag + L".bmp";
                         if (!SaveBmp(CaptureWindow(hwnd), path)) {
                             std::fprintf(stderr, "kvtemplates: cannot write %s\n",
                                          Narrow(path).c_str());
                             ++failures;
                         }
                     }
                     PressSheetButton(hwnd, PSBTN_CANCEL);
                 } catch (...) {
                     ++failures;
                     throw;
                 }
             });
    return failures;
}

int ShootDialogs(HMODULE module, const Language& language, const std::wstring& directory) {
    int failures = 0;
    for (UINT id : kDialogs) {
        ui::Dialog dialog;
        dialog.SetTemplate(ui::FindDialogTemplate(module, id, language.id), module, language.id);
        if (!dialog.HasTemplate()) {
            std::fprintf(stderr, "kvtemplates: dialog %u is missing in %s\n", id,
                         Narrow(language.tag).c_str());
            ++failures;
            continue;
        }
        RunModal([&] { return dialog.DoModal(nullptr); },
                 [&] {
                     HWND hwnd = nullptr;
                     WaitUntil(
                         [&] {
                             for (HWND window : TopLevelWindows())
                                 if (ClassName(window) == L"#32770") hwnd = window;
                             return hwnd != nullptr;
                         },
                         "the dialog");
                     Flush();
                     const std::wstring path = directory + L"\\template-" + std::to_wstring(id) +
                                               L"-" + language.tag + L".bmp";
                     if (!SaveBmp(CaptureWindow(hwnd), path)) ++failures;
                     ::PostMessageW(hwnd, WM_COMMAND, IDCANCEL, 0);
                 });
    }
    return failures;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: kvtemplates CPL-PATH OUTPUT-DIRECTORY\n");
        return 2;
    }
    ui::UniqueHModule module(::LoadLibraryExW(
        argv[1], nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE));
    if (!module) {
        std::fprintf(stderr, "kvtemplates: cannot load %s (error %lu)\n", Narrow(argv[1]).c_str(),
                     ::GetLastError());
        return 1;
    }
    // The pages get the common controls that the applet's manifest asks for, as in the applet.
    ACTCTXW context{};
    context.cbSize = sizeof(context);
    context.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID;
    context.lpSource = argv[1];
    context.lpResourceName = MAKEINTRESOURCEW(IDR_MANIFEST);
    HANDLE activation = ::CreateActCtxW(&context);
    ULONG_PTR cookie = 0;
    if (activation != INVALID_HANDLE_VALUE) ::ActivateActCtx(activation, &cookie);
    INITCOMMONCONTROLSEX classes{sizeof(classes), ICC_WIN95_CLASSES};
    ::InitCommonControlsEx(&classes);
    int failures = 0;
    for (const Language& language : kLanguages)
        failures += Shoot(module.get(), language, argv[2]) +
                    ShootDialogs(module.get(), language, argv[2]);
    if (activation != INVALID_HANDLE_VALUE) {
        ::DeactivateActCtx(0, cookie);
        ::ReleaseActCtx(activation);
    }
    return failures ? 1 : 0;
}
