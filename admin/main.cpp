// kvadmin: the administrator's console tool. Checks a key container, lists the key containers
// of the machine, checks and repairs the links of personal certificates to their keys, and
// carries the settings of the control panel from one computer to others, with exit codes and
// JSON or CSV for scripts.
#include "admin/arguments.h"
#include "admin/commands.h"
#include "admin/console.h"
#include "admin/version.h"
#include "applet/strings.h"
#include "resource.h"

#include <exception>
#include <initializer_list>

namespace {

using admin::Command;

std::wstring Lines(std::initializer_list<UINT> ids) {
    std::wstring text;
    for (UINT id : ids) text += applet::LoadStringLang(id) + L"\r\n";
    return text;
}

std::wstring Help(Command command) {
    switch (command) {
        case Command::kCheck:
            return Lines({IDS_ADMIN_CHECK_USAGE, IDS_ADMIN_OPTION_MACHINE,
                          IDS_ADMIN_OPTION_PROVIDER, IDS_ADMIN_OPTION_JSON, IDS_ADMIN_CHECK_EXIT});
        case Command::kList:
            return Lines({IDS_ADMIN_LIST_USAGE, IDS_ADMIN_OPTION_OWNERS, IDS_ADMIN_OPTION_PROVIDER,
                          IDS_ADMIN_OPTION_EXPIRING, IDS_ADMIN_OPTION_JSON, IDS_ADMIN_OPTION_CSV,
                          IDS_ADMIN_LIST_EXIT});
        case Command::kLinks:
            return Lines({IDS_ADMIN_LINKS_USAGE, IDS_ADMIN_OPTION_OWNERS, IDS_ADMIN_OPTION_PROVIDER,
                          IDS_ADMIN_OPTION_REPAIR, IDS_ADMIN_OPTION_DRY_RUN, IDS_ADMIN_OPTION_JSON,
                          IDS_ADMIN_LINKS_EXIT});
        case Command::kSettings:
            return Lines({IDS_ADMIN_SETTINGS_USAGE, IDS_ADMIN_SETTINGS_USAGE_IMPORT,
                          IDS_ADMIN_SETTINGS_USAGE_DIFF, IDS_ADMIN_SETTINGS_PURPOSE,
                          IDS_ADMIN_OPTION_SCOPE, IDS_ADMIN_OPTION_IMPORT_DRY_RUN,
                          IDS_ADMIN_OPTION_DIFF_JSON, IDS_ADMIN_SETTINGS_EXIT});
        case Command::kNone:
            break;
    }
    return Lines({IDS_ADMIN_TOOL_USAGE, IDS_ADMIN_TOOL_PURPOSE, IDS_ADMIN_COMMANDS,
                  IDS_ADMIN_COMMAND_CHECK, IDS_ADMIN_COMMAND_LIST, IDS_ADMIN_COMMAND_LINKS,
                  IDS_ADMIN_COMMAND_SETTINGS, IDS_ADMIN_MORE_HELP});
}

int Fail(const admin::ArgumentError& error) {
    admin::WriteError(applet::FormatStringId(error.id, error.insert1, error.insert2));
    return admin::kExitError;
}

int Run(int argc, wchar_t** argv) {
    admin::Arguments arguments;
    if (auto error = admin::ParseArguments(argc, argv, arguments)) return Fail(*error);
    if (arguments.version) {
        admin::WriteOut(applet::FormatStringId(IDS_ADMIN_VERSION, L"" KV_ADMIN_VERSION_TEXT) +
                        L"\r\n");
        return admin::kExitOk;
    }
    if (arguments.help) {
        admin::WriteOut(Help(arguments.command));
        return admin::kExitOk;
    }
    // Settings are the computer's and the user's, not a provider's.
    if (arguments.command == Command::kSettings) return admin::RunSettings(arguments);
    std::vector<admin::Provider> providers;
    if (auto error = admin::ChooseProviders(arguments, providers)) return Fail(*error);
    switch (arguments.command) {
        case Command::kCheck:
            return admin::RunCheck(arguments, providers.front());
        case Command::kList:
            return admin::RunList(arguments, providers);
        case Command::kLinks:
            return admin::RunLinks(arguments, providers);
        case Command::kSettings:
        case Command::kNone:
            break;
    }
    return admin::kExitError;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    try {
        return Run(argc, argv);
    } catch (const std::exception& e) {
        admin::WriteError(
            std::wstring(e.what(), e.what() + std::char_traits<char>::length(e.what())));
        return admin::kExitError;
    }
}
