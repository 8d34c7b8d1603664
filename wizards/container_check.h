// The container check: opens nothing and shows nothing. It exercises an open private key
// container (names, integrity, both keys, their certificates and the copies of those in the
// system stores, keys loading, the container's extensions) and writes one labelled row per
// result into a report, with the verdict on top.
#pragma once

#include "wizards/container_extensions.h"

#include <windows.h>
#include <wincrypt.h>

#include <string>
#include <utility>
#include <vector>

namespace applet {

// Where the check writes its rows. An empty value is a row without one.
class CheckReport {
public:
    virtual ~CheckReport() = default;
    // Empties the report; ordinary rows are appended from the top again.
    virtual void Clear() = 0;
    // Appends a row after the ordinary rows so far, or with `onTop` puts it above all of them.
    virtual void AddRow(const std::wstring& label, const std::wstring& value, bool onTop) = 0;
};

// Runs the whole check on `container` (the user's containers for `keySet` 0, the computer's
// for 1). True when nothing failed: the verdict row says the same.
bool RunContainerCheck(HCRYPTPROV container, int keySet, CheckReport& report);

// The report as plain text: one "%-30s \t%s\r\n" line per row, in order.
using ReportRow = std::pair<std::wstring, std::wstring>;
std::wstring ReportText(const std::vector<ReportRow>& rows);

}  // namespace applet
