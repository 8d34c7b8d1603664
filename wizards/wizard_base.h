// The frame every key container wizard shares: the Wizard97 sheet with its pictures and the
// key-set choice its pages pass on, the page base with caption and header texts, and the owner
// of an open provider context.
#pragma once

#include "applet/lang_bases.h"
#include "ui/handles.h"
#include "ui/property_sheet.h"

#include <windows.h>
#include <wincrypt.h>

namespace applet {

// One provider handle and the flags it was acquired with. Releasing never changes the thread's
// last error, so an error taken after a failed call survives the clean-up.
class CCryptProvContext {
public:
    CCryptProvContext() = default;
    ~CCryptProvContext() { Release(); }
    CCryptProvContext(const CCryptProvContext&) = delete;
    CCryptProvContext& operator=(const CCryptProvContext&) = delete;

    // Releases what is held, then CryptAcquireContextW; the thread's last error tells why not.
    BOOL Acquire(DWORD flags, const wchar_t* container, const wchar_t* provider, DWORD type);
    void Release();
    HCRYPTPROV Handle() const { return handle_; }
    DWORD Flags() const { return flags_; }

private:
    HCRYPTPROV handle_ = 0;
    DWORD flags_ = 0;
};

class CPropertySheetWizardBase : public ui::PropertySheet {
public:
    // `watermarkId` 0: no watermark. The header picture is always bitmap 154.
    CPropertySheetWizardBase(HWND parent, UINT captionId, UINT watermarkId);

    // 0: the current user's containers, 1: the computer's. Shared by the pages of one run.
    int keySet = 0;

private:
    ui::UniqueHBitmap watermark_;
    ui::UniqueHBitmap header_;
};

class CWizardPageBase : public CPropertyPageLang {
public:
    // A string id of 0 leaves that text unset.
    CWizardPageBase(UINT dialogId, UINT captionId, UINT headerTitleId, UINT headerSubtitleId);

protected:
    // The wizard this page belongs to.
    CPropertySheetWizardBase& Wizard() const;
    // Exterior pages (no header, the watermark on their left).
    void MakeExterior() { SetHideHeader(); }
};

// Gives `title` the font of the exterior pages' titles: the system's message font, bold, 12
// points. The font is the caller's to keep while the control lives.
ui::UniqueHFont SetWizardTitleFont(HWND title);

// Around provider operations that may show the provider's own windows: they are owned by
// `owner` while the scope lasts. Advisory: a provider may not support it.
class ClientWindowScope {
public:
    explicit ClientWindowScope(HWND owner);
    ~ClientWindowScope();
    ClientWindowScope(const ClientWindowScope&) = delete;
    ClientWindowScope& operator=(const ClientWindowScope&) = delete;
};

}  // namespace applet
