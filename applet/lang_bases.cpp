#include "applet/lang_bases.h"

#include "applet/module_state.h"
#include "applet/strings.h"
#include "ui/resources.h"

namespace applet {

namespace {

// The module that holds dialog `id` in some language, or none.
HMODULE TemplateModule(UINT id) {
    HMODULE module = Module();
    return ::FindResourceW(module, MAKEINTRESOURCEW(id), RT_DIALOG) ? module : nullptr;
}

}  // namespace

CPropertyPageLang::CPropertyPageLang(UINT templateId) : templateId_(templateId) {
    LANGID language = CurrentLanguage();
    if (HMODULE module = TemplateModule(templateId)) {
        SetTemplate(ui::FindDialogTemplate(module, templateId, language), module, language);
        SetInitData(ui::FindDialogInit(module, templateId, language));
    }
}

std::wstring CPropertyPageLang::LoadText(UINT id) const { return LoadStringLang(id); }
std::wstring CPropertyPageLang::MessageCaption() const { return AppName(); }

CDialogLang::CDialogLang(UINT templateId) {
    LANGID language = CurrentLanguage();
    if (HMODULE module = TemplateModule(templateId)) {
        if (const DLGTEMPLATE* tmpl = ui::FindDialogTemplate(module, templateId, language))
            SetTemplate(tmpl, module, language);
    }
}

std::wstring CDialogLang::LoadText(UINT id) const { return LoadStringLang(id); }
std::wstring CDialogLang::MessageCaption() const { return AppName(); }

}  // namespace applet
