#include "pages/advanced_page.h"

#include "pages/timeout_dialog.h"
#include "resource.h"
#include "ui/clipboard.h"

#include <shlwapi.h>

#include <memory>

namespace applet {

namespace {

// Whether the common controls library that this thread's windows use draws sort arrows in a
// header.
bool HeaderDrawsSortArrows() {
    HMODULE library = ::GetModuleHandleW(L"comctl32.dll");
    if (!library) return false;
    auto getVersion = reinterpret_cast<DLLGETVERSIONPROC>(
        reinterpret_cast<void*>(::GetProcAddress(library, "DllGetVersion")));
    DLLVERSIONINFO info{};
    info.cbSize = sizeof(info);
    return getVersion && SUCCEEDED(getVersion(&info)) && info.dwMajorVersion >= 6;
}

HBITMAP LoadShellBitmap(WORD id) {
    HMODULE shell = ::GetModuleHandleW(L"shell32.dll");
    ui::UniqueHModule loaded;
    if (!shell) {
        loaded.reset(::LoadLibraryExW(L"shell32.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE));
        shell = loaded.get();
    }
    if (!shell) return nullptr;
    return static_cast<HBITMAP>(
        ::LoadImageW(shell, MAKEINTRESOURCEW(id), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION));
}

const ModuleRow* RowOf(LPARAM data) {
    return reinterpret_cast<const ModuleRow*>(data);
}

struct SortOrder {
    int column;
    bool descending;
};

int CALLBACK CompareItems(LPARAM first, LPARAM second, LPARAM order) noexcept {
    const auto& sort = *reinterpret_cast<const SortOrder*>(order);
    const ModuleRow* a = RowOf(first);
    const ModuleRow* b = RowOf(second);
    if (!a || !b) return 0;
    return CompareModuleRows(*a, *b, sort.column, sort.descending);
}

}  // namespace

CPropPageConfigCSPAdvanced::CPropPageConfigCSPAdvanced() : CPropPageConfigBase(IDD_PAGE_ADVANCED) {}

BOOL CPropPageConfigCSPAdvanced::OnInitDialog() {
    CPropPageConfigBase::OnInitDialog();
    list_ = ui::ListView(Item(IDC_ADVANCED_VERSIONS));
    list_.SetExtendedStyle(LVS_EX_FULLROWSELECT);
    header_ = ListView_GetHeader(list_.hwnd());
    headerDrawsArrows_ = HeaderDrawsSortArrows();
    if (!headerDrawsArrows_) {
        arrowUp_.reset(LoadShellBitmap(133));
        arrowDown_.reset(LoadShellBitmap(134));
    }

    RECT client{};
    ::GetClientRect(list_.hwnd(), &client);
    const UINT titles[kColumnCount] = {IDS_COLUMN_NAME, IDS_COLUMN_VERSION, IDS_COLUMN_TYPE,
                                       IDS_COLUMN_PATH};
    for (int column = 0; column < kColumnCount; ++column)
        list_.InsertColumn(column, LoadText(titles[column]), client.right / kColumnCount);

    // The list takes its rows without drawing: a list that draws updates its scroll bars and
    // repaints after every row and every text. It is drawn once, complete.
    std::vector<ModuleRow> rows = ListInstalledModules();
    list_.Send(WM_SETREDRAW, FALSE);
    list_.Send(LVM_SETITEMCOUNT, rows.size());
    for (ModuleRow& row : rows) AddRow(std::move(row));
    SortBy(kColumnName, false);
    for (int column = 0; column < kColumnCount; ++column)
        list_.SetColumnWidth(column, LVSCW_AUTOSIZE);
    list_.Send(WM_SETREDRAW, TRUE);
    return TRUE;
}

void CPropPageConfigCSPAdvanced::AddRow(ModuleRow row) {
    auto record = std::make_unique<ModuleRow>(std::move(row));
    const int item =
        list_.InsertItem(list_.Count(), record->name, reinterpret_cast<LPARAM>(record.get()));
    if (item < 0) return;
    // From here the item owns its record; FreeRows gives it back.
    const ModuleRow& owned = *record.release();
    list_.SetItemText(item, kColumnVersion, owned.version);
    list_.SetItemText(item, kColumnType, owned.type);
    list_.SetItemText(item, kColumnPath, owned.path);
}

const ModuleRow* CPropPageConfigCSPAdvanced::RowAt(int item) const {
    LVITEMW lvi{};
    lvi.mask = LVIF_PARAM;
    lvi.iItem = item;
    return list_.Send(LVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&lvi)) ? RowOf(lvi.lParam)
                                                                       : nullptr;
}

void CPropPageConfigCSPAdvanced::FreeRows() {
    for (int item = 0, count = list_.Count(); item < count; ++item) {
        const ModuleRow* row = RowAt(item);
        if (!row) continue;
        delete row;
        LVITEMW lvi{};
        lvi.mask = LVIF_PARAM;
        lvi.iItem = item;
        lvi.lParam = 0;
        list_.Send(LVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&lvi));
    }
}

std::vector<ModuleRow> CPropPageConfigCSPAdvanced::DisplayedRows() const {
    std::vector<ModuleRow> rows;
    for (int item = 0, count = list_.Count(); item < count; ++item)
        if (const ModuleRow* row = RowAt(item)) rows.push_back(*row);
    return rows;
}

void CPropPageConfigCSPAdvanced::SortBy(int column, bool descending) {
    const int previous = sortColumn_;
    sortColumn_ = column;
    descending_ = descending;
    if (list_.Count() >= 2) {
        SortOrder order{column, descending};
        list_.Send(LVM_SORTITEMS, reinterpret_cast<WPARAM>(&order),
                   reinterpret_cast<LPARAM>(&CompareItems));
    }
    ShowSortDirection(previous);
}

void CPropPageConfigCSPAdvanced::ShowSortDirection(int previousColumn) {
    if (!header_) return;
    HDITEMW item{};
    if (headerDrawsArrows_) {
        constexpr int kArrows = HDF_SORTUP | HDF_SORTDOWN;
        item.mask = HDI_FORMAT;
        if (previousColumn != sortColumn_ && Header_GetItem(header_, previousColumn, &item)) {
            item.fmt &= ~kArrows;
            Header_SetItem(header_, previousColumn, &item);
        }
        if (!Header_GetItem(header_, sortColumn_, &item)) return;
        item.fmt = (item.fmt & ~kArrows) | (descending_ ? HDF_SORTDOWN : HDF_SORTUP);
        Header_SetItem(header_, sortColumn_, &item);
        return;
    }
    item.mask = HDI_FORMAT | HDI_BITMAP;
    if (bitmapColumn_ >= 0 && bitmapColumn_ != sortColumn_) {
        item.fmt = bitmapColumnFormat_;
        item.hbm = bitmapColumnBitmap_;
        Header_SetItem(header_, bitmapColumn_, &item);
        bitmapColumn_ = -1;
    }
    if (bitmapColumn_ < 0) {
        if (!Header_GetItem(header_, sortColumn_, &item)) return;
        bitmapColumn_ = sortColumn_;
        bitmapColumnFormat_ = item.fmt;
        bitmapColumnBitmap_ = item.hbm;
    }
    item.fmt = bitmapColumnFormat_ | HDF_BITMAP | HDF_BITMAP_ON_RIGHT;
    item.hbm = descending_ ? arrowDown_.get() : arrowUp_.get();
    Header_SetItem(header_, sortColumn_, &item);
}

bool CPropPageConfigCSPAdvanced::OnNotify(const NMHDR& header, LRESULT& result) {
    if (header.idFrom != IDC_ADVANCED_VERSIONS || header.code != LVN_COLUMNCLICK) return false;
    const int column = reinterpret_cast<const NMLISTVIEW&>(header).iSubItem;
    SortBy(column, column == sortColumn_ ? !descending_ : false);
    result = 0;
    return true;
}

bool CPropPageConfigCSPAdvanced::OnCommand(UINT id, UINT code) {
    if (code != BN_CLICKED) return false;
    switch (id) {
        case IDC_ADVANCED_COPY:
            ui::SetClipboardText(hwnd(), ModuleListText(DisplayedRows()));
            return true;
        case IDC_ADVANCED_TIMEOUT: {
            CDialogSetTimeout dialog;
            dialog.DoModal(hwnd());
            return true;
        }
        default:
            return false;
    }
}

bool CPropPageConfigCSPAdvanced::OnMessage(UINT msg, WPARAM, LPARAM, LRESULT&) {
    // The list outlives this message by a little; its items must not point at freed rows.
    if (msg == WM_DESTROY) FreeRows();
    return false;
}

}  // namespace applet
