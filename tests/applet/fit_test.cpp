// Every text of every dialog template the applet carries, in every language it carries, fits its
// control. The templates are found by enumerating the program's dialog resources (the applet's
// own, linked in), so a template or language added later is checked without touching this file.
// Each template is created for real, hidden, so the template's font, dialog units and Wine's
// fonts apply exactly as they do in the applet; each text is measured as the control draws it.
#include "driver/driver.h"
#include "resource.h"
#include "ui/handles.h"
#include "wizards/wizard_base.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <commctrl.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace {

using driver::Narrow;

struct WindowTraits {
    using pointer = HWND;
    static constexpr HWND invalid() noexcept { return nullptr; }
    static void close(HWND h) noexcept { ::DestroyWindow(h); }
};
using UniqueHWnd = ui::UniqueHandle<WindowTraits>;

// The controls' own DC with the control's font selected, as the control paints.
class ControlDc {
public:
    explicit ControlDc(HWND control) : control_(control), dc_(::GetDC(control)) {
        auto font = reinterpret_cast<HFONT>(::SendMessageW(control, WM_GETFONT, 0, 0));
        old_ = ::SelectObject(dc_, font ? font : ::GetStockObject(SYSTEM_FONT));
    }
    ~ControlDc() {
        ::SelectObject(dc_, old_);
        ::ReleaseDC(control_, dc_);
    }
    ControlDc(const ControlDc&) = delete;
    ControlDc& operator=(const ControlDc&) = delete;

    // The size DrawText needs for `text` when it may wrap at `width`.
    SIZE Extent(const std::wstring& text, UINT flags, int width) const {
        RECT rc{0, 0, width, 0};
        ::DrawTextW(dc_, text.c_str(), -1, &rc, flags | DT_CALCRECT);
        return {rc.right - rc.left, rc.bottom - rc.top};
    }
    int LineHeight() const {
        TEXTMETRICW metrics{};
        ::GetTextMetricsW(dc_, &metrics);
        return metrics.tmHeight;
    }
    // The check box or radio glyph and the gap after it, as Wine's button control lays them out.
    int GlyphWidth() const {
        INT zero = 0;
        ::GetCharWidthW(dc_, L'0', L'0', &zero);
        return 12 * ::GetDeviceCaps(dc_, LOGPIXELSX) / 96 + 1 + zero / 2;
    }

private:
    HWND control_;
    HDC dc_;
    HGDIOBJ old_;
};

// Where a control draws its text: the room it has and the DrawText flags it uses.
struct TextRoom {
    const char* kind = nullptr;  // null: the control shows no text of its own
    UINT flags = 0;
    SIZE size{};
};

std::wstring BaseClassName(HWND hwnd) {
    wchar_t name[256] = {};
    ::GetClassNameW(hwnd, name, 256);
    std::wstring text(name);
    // A class registered for an activation context may carry its assembly's version before '!'.
    const size_t bang = text.rfind(L'!');
    return bang == std::wstring::npos ? text : text.substr(bang + 1);
}

TextRoom StaticRoom(HWND control, const RECT& client) {
    const LONG style = ::GetWindowLongW(control, GWL_STYLE);
    TextRoom room;
    switch (style & SS_TYPEMASK) {
        case SS_LEFT:
        case SS_CENTER:
        case SS_RIGHT:
            room = {"text", DT_WORDBREAK | DT_EXPANDTABS};
            break;
        case SS_LEFTNOWORDWRAP:
            room = {"text", DT_EXPANDTABS};
            break;
        case SS_SIMPLE:
            room = {"text", DT_SINGLELINE};
            break;
        default:  // icons, bitmaps, frames, rectangles, owner-drawn
            return {};
    }
    // An ellipsis style asks for the cut.
    if (style & SS_ELLIPSISMASK) return {};
    if (style & SS_NOPREFIX) room.flags |= DT_NOPREFIX;
    if (style & SS_EDITCONTROL) room.flags |= DT_EDITCONTROL;
    room.size = {client.right, client.bottom};
    return room;
}

TextRoom ButtonRoom(HWND control, const RECT& client, const ControlDc& dc) {
    const LONG style = ::GetWindowLongW(control, GWL_STYLE);
    if (style & (BS_ICON | BS_BITMAP)) return {};
    const UINT wrap = (style & BS_MULTILINE) ? DT_WORDBREAK : DT_SINGLELINE;
    const LONG type = style & BS_TYPEMASK;
    const bool check = type == BS_CHECKBOX || type == BS_AUTOCHECKBOX || type == BS_3STATE ||
                       type == BS_AUTO3STATE || type == BS_RADIOBUTTON ||
                       type == BS_AUTORADIOBUTTON;
    if (type == BS_PUSHBUTTON || type == BS_DEFPUSHBUTTON || (check && (style & BS_PUSHLIKE))) {
        // The frame takes 2 pixels a side, the default button's border 1 more (any push button is
        // the default one while it has the focus), and the text keeps 1 pixel off the frame
        // across; the text is centred vertically.
        return {"push button", wrap, {client.right - 8, client.bottom - 6}};
    }
    if (check) {
        // The glyph and its gap come first; the text keeps 1 pixel free on either side for the
        // focus rectangle and is centred vertically.
        const char* kind =
            (type == BS_RADIOBUTTON || type == BS_AUTORADIOBUTTON) ? "radio button" : "check box";
        return {kind, wrap, {client.right - dc.GlyphWidth() - 2, client.bottom}};
    }
    if (type == BS_GROUPBOX) {
        // The title starts 7 pixels in from the frame's corner, with 1 pixel of margin each side.
        return {"group box", wrap, {client.right - 16, client.bottom}};
    }
    return {};  // owner-drawn and user buttons draw their own
}

std::string LanguageName(LANGID language) {
    char hex[8];
    std::snprintf(hex, sizeof(hex), "%04X", language);
    return hex;
}

// Every template of the applet is named by its id.
struct Template {
    WORD id;
    LANGID language;
};

// Titles of exterior wizard pages, which their pages set in the large title font at run time.
struct TitleControl {
    WORD dialog;
    int control;
};
constexpr TitleControl kTitles[] = {{IDD_CHECK_FINISH, IDC_CHECK_TITLE},
                                    {IDD_INSTALL_WELCOME, IDC_INSTALL_TITLE},
                                    {IDD_INSTALL_FINISH, IDC_INSTALL_TITLE}};

std::vector<Template> DialogTemplates(HMODULE module) {
    std::vector<WORD> ids;
    ::EnumResourceNamesW(
        module, RT_DIALOG,
        [](HMODULE, LPCWSTR, LPWSTR name, LONG_PTR param) -> BOOL {
            if (IS_INTRESOURCE(name))
                reinterpret_cast<std::vector<WORD>*>(param)->push_back(
                    static_cast<WORD>(reinterpret_cast<ULONG_PTR>(name)));
            return TRUE;
        },
        reinterpret_cast<LONG_PTR>(&ids));
    std::vector<Template> templates;
    for (WORD id : ids) {
        std::vector<LANGID> languages;
        ::EnumResourceLanguagesW(
            module, RT_DIALOG, MAKEINTRESOURCEW(id),
            [](HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR param) -> BOOL {
                reinterpret_cast<std::vector<LANGID>*>(param)->push_back(language);
                return TRUE;
            },
            reinterpret_cast<LONG_PTR>(&languages));
        for (LANGID language : languages) templates.push_back({id, language});
    }
    return templates;
}

INT_PTR CALLBACK InertProc(HWND, UINT, WPARAM, LPARAM) {
    return FALSE;
}

class TemplateFit : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        INITCOMMONCONTROLSEX classes{sizeof(classes), ICC_WIN95_CLASSES};
        ::InitCommonControlsEx(&classes);
    }

    // Creates the template under a hidden host and checks each text control in it; returns the
    // number of texts checked.
    int Check(HMODULE module, const Template& t) {
        HRSRC res = ::FindResourceExW(module, RT_DIALOG, MAKEINTRESOURCEW(t.id), t.language);
        HGLOBAL data = res ? ::LoadResource(module, res) : nullptr;
        auto dlg = data ? static_cast<const DLGTEMPLATE*>(::LockResource(data)) : nullptr;
        if (!dlg) {
            ADD_FAILURE() << "template " << t.id << " " << LanguageName(t.language)
                          << " cannot be loaded";
            return 0;
        }
        UniqueHWnd dialog(::CreateDialogIndirectParamW(module, dlg, host_.get(), InertProc, 0));
        if (!dialog) {
            ADD_FAILURE() << "template " << t.id << " " << LanguageName(t.language)
                          << " cannot be created (error " << ::GetLastError() << ")";
            return 0;
        }
        std::vector<ui::UniqueHFont> titleFonts;
        for (const TitleControl& title : kTitles) {
            HWND control = ::GetDlgItem(dialog.get(), title.control);
            if (t.id == title.dialog && control)
                titleFonts.push_back(applet::SetWizardTitleFont(control));
        }
        int checked = 0;
        for (HWND control = ::GetWindow(dialog.get(), GW_CHILD); control;
             control = ::GetWindow(control, GW_HWNDNEXT)) {
            if (CheckControl(t, control)) ++checked;
        }
        return checked;
    }

    bool CheckControl(const Template& t, HWND control) {
        const int length = ::GetWindowTextLengthW(control);
        if (length == 0) return false;  // filled in at run time
        std::wstring text(length + 1, L'\0');
        text.resize(::GetWindowTextW(control, text.data(), length + 1));

        RECT client{};
        ::GetClientRect(control, &client);
        ControlDc dc(control);
        const std::wstring cls = BaseClassName(control);
        TextRoom room;
        if (::lstrcmpiW(cls.c_str(), L"Static") == 0)
            room = StaticRoom(control, client);
        else if (::lstrcmpiW(cls.c_str(), L"Button") == 0)
            room = ButtonRoom(control, client, dc);
        if (!room.kind) return false;

        // The text wraps at the control's width, but what lies beyond the dialog is never seen.
        RECT shown = client;
        ::MapWindowPoints(control, ::GetParent(control), reinterpret_cast<POINT*>(&shown), 2);
        RECT page{};
        ::GetClientRect(::GetParent(control), &page);
        const SIZE cut{std::max(0L, shown.right - page.right),
                       std::max(0L, shown.bottom - page.bottom)};
        const SIZE has{room.size.cx - cut.cx, room.size.cy - cut.cy};

        const SIZE need = dc.Extent(text, room.flags, room.size.cx);
        if (need.cx <= has.cx && need.cy <= has.cy) return true;

        const int lineHeight = std::max(1, dc.LineHeight());
        std::ostringstream line;
        line << "  template " << t.id << ", " << LanguageName(t.language) << ", control "
             << ::GetDlgCtrlID(control) << " (" << room.kind << ") \"" << Narrow(text)
             << "\": needs " << need.cx << "x" << need.cy << " px, has " << has.cx << "x"
             << has.cy << " (" << need.cy / lineHeight << " lines, room for "
             << has.cy / lineHeight << ")";
        misfits_.push_back(line.str());
        return true;
    }

    // The templates' pages are child windows: they need a parent, which nobody sees.
    UniqueHWnd host_{::CreateWindowExW(WS_EX_TOOLWINDOW, L"Static", L"", WS_POPUP, -4000, -4000,
                                       800, 800, nullptr, nullptr, nullptr, nullptr)};
    std::vector<std::string> misfits_;
};

TEST_F(TemplateFit, EveryTextFitsItsControlInEveryLanguage) {
    ASSERT_TRUE(host_) << "error " << ::GetLastError();
    const HMODULE module = ::GetModuleHandleW(nullptr);
    const std::vector<Template> templates = DialogTemplates(module);

    bool english = false;
    bool russian = false;
    int checked = 0;
    for (const Template& t : templates) {
        english |= t.language == MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
        russian |= t.language == MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT);
        checked += Check(module, t);
    }
    EXPECT_TRUE(english) << "no English templates found";
    EXPECT_TRUE(russian) << "no Russian templates found";
    std::printf("%d texts in %zu templates checked\n", checked, templates.size());

    if (!misfits_.empty()) {
        std::ostringstream report;
        report << misfits_.size() << " of " << checked << " texts do not fit their controls:\n";
        for (const std::string& line : misfits_) report << line << "\n";
        ADD_FAILURE() << report.str();
    }
}

}  // namespace
