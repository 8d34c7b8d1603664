#include "wizards/wizard_base.h"

#include "applet/module_state.h"
#include "applet/strings.h"
#include "resource.h"

#include <cwchar>

namespace applet {

namespace {

void SetClientWindow(HWND hwnd) {
    ::CryptSetProvParam(0, PP_CLIENT_HWND, reinterpret_cast<const BYTE*>(&hwnd), 0);
}

HBITMAP LoadBitmapResource(UINT id) {
    return id ? static_cast<HBITMAP>(::LoadImageW(Module(), MAKEINTRESOURCEW(id), IMAGE_BITMAP, 0,
                                                  0, LR_CREATEDIBSECTION))
              : nullptr;
}

}  // namespace

BOOL CCryptProvContext::Acquire(DWORD flags, const wchar_t* container, const wchar_t* provider,
                                DWORD type) {
    Release();
    flags_ = flags;
    return ::CryptAcquireContextW(&handle_, container, provider, type, flags);
}

void CCryptProvContext::Release() {
    if (handle_) {
        ui::LastErrorKeeper keep;
        ::CryptReleaseContext(handle_, 0);
    }
    handle_ = 0;
    flags_ = 0;
}

CPropertySheetWizardBase::CPropertySheetWizardBase(HWND parent, UINT captionId, UINT watermarkId)
    : watermark_(LoadBitmapResource(watermarkId)), header_(LoadBitmapResource(IDB_WIZARD_HEADER)) {
    SetParent(parent);
    SetCaption(LoadStringLang(captionId));
    SetWizard97(watermark_.get(), header_.get());
}

CWizardPageBase::CWizardPageBase(UINT dialogId, UINT captionId, UINT headerTitleId,
                                 UINT headerSubtitleId)
    : CPropertyPageLang(dialogId) {
    if (captionId) SetTitle(LoadStringLang(captionId));
    if (headerTitleId) SetHeaderTitle(LoadStringLang(headerTitleId));
    if (headerSubtitleId) SetHeaderSubtitle(LoadStringLang(headerSubtitleId));
}

CPropertySheetWizardBase& CWizardPageBase::Wizard() const {
    return static_cast<CPropertySheetWizardBase&>(*Sheet());
}

ui::UniqueHFont SetWizardTitleFont(HWND title) {
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof(metrics);
    if (!::SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof(metrics), &metrics, 0)) return {};
    LOGFONTW font = metrics.lfMessageFont;
    font.lfWeight = FW_BOLD;
    ::wcscpy(font.lfFaceName, L"Verdana Bold");
    HDC screen = ::GetDC(nullptr);
    const int pixelsPerInch = screen ? ::GetDeviceCaps(screen, LOGPIXELSY) : 96;
    if (screen) ::ReleaseDC(nullptr, screen);
    font.lfHeight = -(12 * pixelsPerInch / 72);
    ui::UniqueHFont created(::CreateFontIndirectW(&font));
    if (created) ::SendMessageW(title, WM_SETFONT, reinterpret_cast<WPARAM>(created.get()), TRUE);
    return created;
}

ClientWindowScope::ClientWindowScope(HWND owner) { SetClientWindow(owner); }

ClientWindowScope::~ClientWindowScope() {
    ui::LastErrorKeeper keep;
    SetClientWindow(nullptr);
}

}  // namespace applet
