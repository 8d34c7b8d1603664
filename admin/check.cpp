#include "admin/commands.h"

#include "admin/console.h"
#include "applet/strings.h"
#include "resource.h"
#include "ui/handles.h"
#include "wizards/container_check.h"

namespace admin {

namespace {

// The rows in the order the wizard's report shows them: the verdict goes on top.
class Rows : public applet::CheckReport {
public:
    std::vector<applet::ReportRow> rows;

    void Clear() override { rows.clear(); }
    void AddRow(const std::wstring& label, const std::wstring& value, bool onTop) override {
        if (onTop)
            rows.insert(rows.begin(), {label, value});
        else
            rows.emplace_back(label, value);
    }
};

}  // namespace

int RunCheck(const Arguments& arguments, const Provider& provider) {
    Rows report;
    bool passed = false;
    {
        ui::UniqueCryptProv container;
        if (!::CryptAcquireContextW(container.put(), arguments.container.c_str(),
                                    provider.name.c_str(), provider.type,
                                    arguments.machine ? CRYPT_MACHINE_KEYSET : 0)) {
            const DWORD error = ::GetLastError();
            WriteError(applet::FormatStringId(IDS_ADMIN_OPEN_FAILED, arguments.container,
                                              ErrorLine(error)));
            return kExitError;
        }
        passed = applet::RunContainerCheck(container.get(), arguments.machine ? 1 : 0, report);
    }
    if (arguments.format == Format::kJson) {
        nlohmann::json rows = nlohmann::json::array();
        for (const auto& [label, value] : report.rows)
            rows.push_back({{"label", JsonText(label)}, {"value", JsonText(value)}});
        WriteJson(
            {{"command", "check"},
             {"container", JsonText(arguments.container)},
             {"provider", JsonText(provider.name)},
             {"owner", OwnerName(arguments.machine)},
             {"results", rows},
             {"summary", {{"passed", passed}, {"exit_code", passed ? kExitOk : kExitFailed}}}});
    } else {
        WriteOut(applet::ReportText(report.rows));
    }
    return passed ? kExitOk : kExitFailed;
}

}  // namespace admin
