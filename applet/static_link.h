// A static text that behaves like a hyperlink: underlined, blue until it has been opened and
// purple afterwards, with the hand cursor. A click either goes to the owner's handler or opens
// the target through the shell.
#pragma once

#include "ui/controls.h"
#include "ui/handles.h"

#include <string>

namespace applet {

class ILinkHandler {
public:
    virtual ~ILinkHandler() = default;
    virtual void OnLinkClicked(HWND link) = 0;
};

class CStaticLink : public ui::Subclass {
public:
    static constexpr COLORREF kUnvisited = RGB(0, 0, 255);
    static constexpr COLORREF kVisited = RGB(128, 0, 128);

    // Not owned; null lets the link open its target itself.
    void SetHandler(ILinkHandler* handler) { handler_ = handler; }
    void SetTarget(std::wstring target) { target_ = std::move(target); }
    COLORREF Color() const { return color_; }

    // What a click without a handler opens: the target, else the string whose id is the
    // control's, else the control's own text.
    std::wstring OpenTarget() const;

protected:
    bool OnMessage(UINT msg, WPARAM wp, LPARAM lp, LRESULT& result) override;

private:
    void Open();
    HBRUSH OnCtlColor(HDC dc);

    ILinkHandler* handler_ = nullptr;
    std::wstring target_;
    COLORREF color_ = kUnvisited;
    ui::UniqueHFont underlined_;
};

}  // namespace applet
