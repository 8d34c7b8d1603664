// The Advanced page: versions of the installed modules and the user input timeouts. It stores
// nothing of its own.
#pragma once

#include "applet/page_base.h"
#include "pages/module_list.h"
#include "ui/controls.h"
#include "ui/handles.h"

#include <vector>

namespace applet {

class CPropPageConfigCSPAdvanced : public CPropPageConfigBase {
public:
    CPropPageConfigCSPAdvanced();

    // The listed modules in the list's current order.
    std::vector<ModuleRow> DisplayedRows() const;

protected:
    BOOL OnInitDialog() override;
    bool OnCommand(UINT id, UINT code) override;
    bool OnNotify(const NMHDR& header, LRESULT& result) override;
    bool OnMessage(UINT msg, WPARAM wp, LPARAM lp, LRESULT& result) override;

private:
    void AddRow(ModuleRow row);
    void FreeRows();
    // The record of list item `item`; null when it has none.
    const ModuleRow* RowAt(int item) const;
    void SortBy(int column, bool descending);
    void ShowSortDirection(int previousColumn);

    ui::ListView list_;
    HWND header_ = nullptr;
    int sortColumn_ = kColumnName;
    bool descending_ = false;
    // Older common controls draw no sort arrows: the page puts a bitmap into the header item
    // and gives the column back what it had when the sort moves on.
    bool headerDrawsArrows_ = false;
    ui::UniqueHBitmap arrowUp_, arrowDown_;
    int bitmapColumn_ = -1;
    int bitmapColumnFormat_ = 0;
    HBITMAP bitmapColumnBitmap_ = nullptr;
};

}  // namespace applet
