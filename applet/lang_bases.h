// Pages and dialogs whose template and texts follow the product's language setting rather than
// the thread's. The language is read once, when the object is built; there is no fallback to
// another language.
#pragma once

#include "ui/dialog.h"
#include "ui/property_sheet.h"

namespace applet {

class CPropertyPageLang : public ui::PropertyPage {
public:
    explicit CPropertyPageLang(UINT templateId);
    UINT TemplateId() const { return templateId_; }

    std::wstring LoadText(UINT id) const override;
    std::wstring MessageCaption() const override;

private:
    UINT templateId_;
};

class CDialogLang : public ui::Dialog {
public:
    explicit CDialogLang(UINT templateId);

    std::wstring LoadText(UINT id) const override;
    std::wstring MessageCaption() const override;
};

}  // namespace applet
