#include "applet_fixture.h"

#include "applet/support.h"
#include "driver/driver.h"
#include "resource.h"
#include "ui/handles.h"
#include "ui/resources.h"

#include <gtest/gtest.h>

#include <cpl.h>

namespace applettest {

namespace {

constexpr wchar_t kStoreLocal[] = L"Software\\Kelvane\\Testbed\\Store\\local";
constexpr wchar_t kStoreConfig[] = L"Software\\Kelvane\\Testbed\\Store\\config";

void SetDword(HKEY hive, const wchar_t* key, const wchar_t* name, std::optional<DWORD> value) {
    if (value) {
        ASSERT_EQ(ERROR_SUCCESS,
                  ::RegSetKeyValueW(hive, key, name, REG_DWORD, &*value, sizeof(DWORD)));
    } else {
        ::RegDeleteKeyValueW(hive, key, name);
    }
}

class TestPage : public applet::CPropPageConfigBase {
public:
    TestPage(UINT templateId, int index) : CPropPageConfigBase(templateId), index_(index) {}
    bool IsPageModified() override { return false; }
    int SavePage() override {
        ++SheetState().saves[index_];
        return SheetState().saveResults[index_];
    }

private:
    int index_;
};

class TestSheet : public applet::CPropSheetControlPanel {
public:
    TestSheet()
        : first_(IDD_PAGE_GENERAL, 0), second_(IDD_PAGE_HARDWARE, 1), third_(IDD_PAGE_SERVICE, 2) {
        ++SheetState().built;
        SetCaption(kTestSheetCaption);
        AddPage(first_);
        AddPage(second_);
        AddPage(third_);
    }

private:
    TestPage first_, second_, third_;
};

// Every test starts with this program registered as the installed applet and the store's
// language settings absent.
class AppletEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        SetAppPath(ProgramName(), ProgramPath());
        SetLanguages(std::nullopt, std::nullopt);
    }
};

const auto* const kEnvironment = ::testing::AddGlobalTestEnvironment(new AppletEnvironment);

}  // namespace

std::wstring ProgramPath() {
    wchar_t path[MAX_PATH];
    DWORD n = ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    wchar_t longPath[MAX_PATH];
    DWORD m = ::GetLongPathNameW(path, longPath, MAX_PATH);
    return m && m < MAX_PATH ? std::wstring(longPath, m) : std::wstring(path, n);
}

std::wstring ProgramName() {
    std::wstring path = ProgramPath();
    return path.substr(path.find_last_of(L'\\') + 1);
}

std::wstring ProgramDir() {
    std::wstring path = ProgramPath();
    return path.substr(0, path.find_last_of(L'\\') + 1);
}

std::wstring UninstalledModulePath(const std::wstring& file) {
    const std::string directory = KV_TESTBED_UNINSTALLED;  // the build tree, seen through Wine's Z:
    const std::wstring path = std::wstring(directory.begin(), directory.end()) + L"\\" + file;
    wchar_t full[MAX_PATH];
    DWORD n = ::GetFullPathNameW(path.c_str(), MAX_PATH, full, nullptr);
    return n && n < MAX_PATH ? std::wstring(full, n) : path;
}

HMODULE LoadUninstalledModule(const std::wstring& file) {
    const std::wstring path = UninstalledModulePath(file);
    if (HMODULE loaded = ::GetModuleHandleW(path.c_str())) return loaded;
    // Wine loads its own builtin for a system DLL's name even when given another file's path,
    // unless the load order of exactly that path (without ".dll") says native.
    constexpr wchar_t kOverrides[] = L"Software\\Wine\\DllOverrides";
    const std::wstring order = path.substr(0, path.size() - 4);
    ::RegSetKeyValueW(HKEY_CURRENT_USER, kOverrides, order.c_str(), REG_SZ, L"native",
                      sizeof(L"native"));
    HMODULE module = ::LoadLibraryW(path.c_str());
    ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kOverrides, order.c_str());
    EXPECT_TRUE(module) << "cannot load " << driver::Narrow(path);
    EXPECT_EQ(module, ::GetModuleHandleW(file.c_str()))
        << "another module named " << driver::Narrow(file) << " was loaded first";
    return module;
}

void SetAppPath(const std::wstring& file, const std::optional<std::wstring>& path) {
    std::wstring key = std::wstring(kAppPathKey) + L"\\" + file;
    if (path) {
        ASSERT_EQ(ERROR_SUCCESS,
                  ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, REG_SZ, path->c_str(),
                                    static_cast<DWORD>((path->size() + 1) * sizeof(wchar_t))));
    } else {
        ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key.c_str());
    }
}

void SetLanguages(std::optional<DWORD> local, std::optional<DWORD> config) {
    SetDword(HKEY_CURRENT_USER, kStoreLocal, L"Language", local);
    SetDword(HKEY_LOCAL_MACHINE, kStoreConfig, L"Language", config);
}

TestSheetState& SheetState() {
    static TestSheetState state;
    return state;
}

applet::CPropSheetControlPanel* NewTestSheet() {
    return new TestSheet();
}

// The sheet opened on `page` as the Control Panel opens it: `before` answers what comes up while
// the page starts, `script` gets the sheet once the page shows.
void RunSheet(int page, const std::function<void(HWND)>& script,
              const std::function<void()>& before) {
    HMODULE module = ::LoadLibraryW((std::wstring(kProductDir) + L"kvconfig.cpl").c_str());
    ASSERT_TRUE(module);
    auto cpl = reinterpret_cast<APPLET_PROC>(
        reinterpret_cast<void*>(::GetProcAddress(module, "CPlApplet")));
    ASSERT_EQ(1, cpl(nullptr, CPL_INIT, 0, 0));
    const std::string start = std::to_string(page);
    driver::RunModal(
        [&] { return INT_PTR{cpl(nullptr, CPL_STARTWPARMSA, 0, LPARAM(start.c_str()))}; },
        [&] {
            if (before) before();
            HWND sheet = nullptr;
            driver::WaitUntil(
                [&] {
                    for (HWND hwnd : driver::TopLevelWindows())
                        if (driver::Text(hwnd) == L"Vestra CSP" && !driver::IsMessageBox(hwnd))
                            sheet = hwnd;
                    return sheet && driver::ActivePageIndex(sheet) == page;
                },
                "the sheet on page " + start);
            script(sheet);
            driver::PressSheetButton(sheet, PSBTN_CANCEL);
            driver::WaitUntilGone(sheet);
        });
    cpl(nullptr, CPL_EXIT, 0, 0);
    ::FreeLibrary(module);
}

std::optional<DWORD> StoredLong(const std::wstring& path) {
    DWORD value = 0;
    if (support::support_registry_get_long(path.c_str(), &value) != 0) return std::nullopt;
    return value;
}

std::wstring TemplateCaption(HMODULE module, UINT id, LANGID language) {
    // DLGTEMPLATEEX: fixed header, then menu, class and caption as sz_Or_Ord fields.
    auto p = reinterpret_cast<const WORD*>(ui::FindDialogTemplate(module, id, language));
    if (!p || p[1] != 0xFFFF) return {};
    p += 13;  // dlgVer, signature, helpID (2), exStyle (2), style (2), cDlgItems, x, y, cx, cy
    for (int field = 0; field < 2; ++field) {
        if (*p == 0xFFFF)
            p += 2;
        else
            while (*p++) {
            }
    }
    return reinterpret_cast<const wchar_t*>(p);
}

}  // namespace applettest
