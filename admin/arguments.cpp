#include "admin/arguments.h"

#include "resource.h"

#include <cwchar>
#include <vector>

namespace admin {

namespace {

const wchar_t* CommandName(Command command, SettingsAction action) {
    switch (command) {
        case Command::kCheck:
            return L"check";
        case Command::kList:
            return L"list";
        case Command::kLinks:
            return L"links";
        case Command::kSettings:
            switch (action) {
                case SettingsAction::kExport:
                    return L"settings export";
                case SettingsAction::kImport:
                    return L"settings import";
                case SettingsAction::kDiff:
                    return L"settings diff";
                case SettingsAction::kNone:
                    break;
            }
            return L"settings";
        case Command::kNone:
            break;
    }
    return L"";
}

// The commands (and the actions of settings) that take an option.
constexpr unsigned kByCheck = 1, kByList = 2, kByLinks = 4, kByExport = 8, kByImport = 16,
                   kByDiff = 32, kBySettings = kByExport | kByImport | kByDiff;

unsigned TakerOf(Command command, SettingsAction action) {
    switch (command) {
        case Command::kCheck:
            return kByCheck;
        case Command::kList:
            return kByList;
        case Command::kLinks:
            return kByLinks;
        case Command::kSettings:
            return action == SettingsAction::kExport   ? kByExport
                   : action == SettingsAction::kImport ? kByImport
                   : action == SettingsAction::kDiff   ? kByDiff
                                                       : 0;
        case Command::kNone:
            break;
    }
    return 0;
}

// The options each command takes, and whether they take a value.
struct Option {
    const wchar_t* name;
    bool value;
    unsigned takers;
};
constexpr Option kOptions[] = {
    {L"--help", false, kByCheck | kByList | kByLinks | kBySettings},
    {L"--json", false, kByCheck | kByList | kByLinks | kByDiff},
    {L"--provider", true, kByCheck | kByList | kByLinks},
    {L"--machine", false, kByCheck | kByList | kByLinks},
    {L"--user", false, kByList | kByLinks},
    {L"--csv", false, kByList},
    {L"--expiring", true, kByList},
    {L"--repair", false, kByLinks},
    {L"--dry-run", false, kByLinks | kByImport},
    {L"--scope", true, kByExport},
};

const Option* FindOption(const std::wstring& name, unsigned taker) {
    for (const Option& option : kOptions)
        if (name == option.name) return (option.takers & taker) ? &option : nullptr;
    return nullptr;
}

std::optional<long> Days(const std::wstring& text) {
    if (text.empty() || text.size() > 5) return std::nullopt;
    long days = 0;
    for (wchar_t c : text) {
        if (c < L'0' || c > L'9') return std::nullopt;
        days = days * 10 + (c - L'0');
    }
    if (days > kMaxExpiringDays) return std::nullopt;
    return days;
}

}  // namespace

std::optional<ArgumentError> ParseArguments(int argc, const wchar_t* const* argv,
                                            Arguments& arguments) {
    arguments = Arguments{};
    if (argc < 2) return ArgumentError{IDS_ADMIN_NO_COMMAND};
    const std::wstring first = argv[1];
    if (first == L"--help" || first == L"-h" || first == L"/?") {
        arguments.help = true;
        return std::nullopt;
    }
    if (first == L"--version") {
        arguments.version = true;
        return std::nullopt;
    }
    if (first == L"check")
        arguments.command = Command::kCheck;
    else if (first == L"list")
        arguments.command = Command::kList;
    else if (first == L"links")
        arguments.command = Command::kLinks;
    else if (first == L"settings")
        arguments.command = Command::kSettings;
    else
        return ArgumentError{IDS_ADMIN_UNKNOWN_COMMAND, first};

    int next = 2;
    if (arguments.command == Command::kSettings) {
        const std::wstring action = argc > 2 ? argv[2] : L"";
        if (action == L"export")
            arguments.action = SettingsAction::kExport;
        else if (action == L"import")
            arguments.action = SettingsAction::kImport;
        else if (action == L"diff")
            arguments.action = SettingsAction::kDiff;
        else if (action == L"--help" || action == L"-h" || action == L"/?")
            arguments.help = true;
        else if (action.empty())
            return ArgumentError{IDS_ADMIN_MISSING_ACTION};
        else
            return ArgumentError{IDS_ADMIN_UNKNOWN_ACTION, action};
        if (arguments.help) return std::nullopt;
        next = 3;
    }
    const std::wstring command = CommandName(arguments.command, arguments.action);
    const unsigned taker = TakerOf(arguments.command, arguments.action);

    std::vector<std::wstring> given;
    bool userGiven = false, machineGiven = false;
    for (int i = next; i < argc; ++i) {
        std::wstring word = argv[i];
        if (word.compare(0, 2, L"--") != 0 || word == L"--") {
            std::wstring* operand = arguments.command == Command::kCheck      ? &arguments.container
                                    : arguments.command == Command::kSettings ? &arguments.file
                                                                              : nullptr;
            if (!operand || !operand->empty() || word.empty())
                return ArgumentError{IDS_ADMIN_EXTRA_ARGUMENT, word, command};
            *operand = word;
            continue;
        }
        std::optional<std::wstring> value;
        if (const size_t equals = word.find(L'='); equals != std::wstring::npos) {
            value = word.substr(equals + 1);
            word.resize(equals);
        }
        const Option* option = FindOption(word, taker);
        if (!option) return ArgumentError{IDS_ADMIN_UNKNOWN_OPTION, word, command};
        if (option->value && !value) {
            if (i + 1 >= argc) return ArgumentError{IDS_ADMIN_MISSING_VALUE, word};
            value = argv[++i];
        }
        if (!option->value && value) return ArgumentError{IDS_ADMIN_UNKNOWN_OPTION, word, command};
        if (option->value && value->empty()) return ArgumentError{IDS_ADMIN_MISSING_VALUE, word};
        given.push_back(word);

        if (word == L"--help") {
            arguments.help = true;
        } else if (word == L"--json") {
            arguments.format = Format::kJson;
        } else if (word == L"--csv") {
            arguments.format = Format::kCsv;
        } else if (word == L"--provider") {
            arguments.provider = *value;
        } else if (word == L"--machine") {
            machineGiven = true;
        } else if (word == L"--user") {
            userGiven = true;
        } else if (word == L"--expiring") {
            arguments.expiringDays = Days(*value);
            if (!arguments.expiringDays) return ArgumentError{IDS_ADMIN_BAD_DAYS, *value};
        } else if (word == L"--repair") {
            arguments.repair = true;
        } else if (word == L"--dry-run") {
            arguments.dryRun = true;
        } else if (word == L"--scope") {
            if (*value == L"all")
                arguments.scope = SettingsScope::kAll;
            else if (*value == L"machine")
                arguments.scope = SettingsScope::kMachine;
            else if (*value == L"user")
                arguments.scope = SettingsScope::kUser;
            else
                return ArgumentError{IDS_ADMIN_BAD_SCOPE, *value};
        }
    }
    if (arguments.help) return std::nullopt;

    auto has = [&](const wchar_t* name) {
        for (const std::wstring& option : given)
            if (option == name) return true;
        return false;
    };
    if (has(L"--json") && has(L"--csv"))
        return ArgumentError{IDS_ADMIN_CONFLICT, L"--json", L"--csv"};
    if (userGiven && machineGiven)
        return ArgumentError{IDS_ADMIN_CONFLICT, L"--user", L"--machine"};
    if (arguments.command == Command::kLinks && arguments.dryRun && !arguments.repair)
        return ArgumentError{IDS_ADMIN_NEEDS_OPTION, L"--dry-run", L"--repair"};
    if (arguments.command == Command::kSettings) {
        if (arguments.file.empty()) return ArgumentError{IDS_ADMIN_MISSING_FILE, command};
    } else if (arguments.command == Command::kCheck) {
        if (arguments.container.empty()) return ArgumentError{IDS_ADMIN_MISSING_CONTAINER};
        if (arguments.container.size() > kMaxContainerName)
            return ArgumentError{IDS_ADMIN_NAME_TOO_LONG, std::to_wstring(kMaxContainerName)};
        arguments.user = !machineGiven;
        arguments.machine = machineGiven;
    } else {
        // Both owners unless one is named.
        arguments.user = !machineGiven;
        arguments.machine = !userGiven;
    }
    return std::nullopt;
}

}  // namespace admin
