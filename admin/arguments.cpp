#include "admin/arguments.h"

#include "resource.h"

#include <cwchar>
#include <vector>

namespace admin {

namespace {

const wchar_t* CommandName(Command command) {
    switch (command) {
        case Command::kCheck:
            return L"check";
        case Command::kList:
            return L"list";
        case Command::kLinks:
            return L"links";
        case Command::kNone:
            break;
    }
    return L"";
}

// The options each command takes, and whether they take a value.
struct Option {
    const wchar_t* name;
    bool value;
    bool check, list, links;
};
constexpr Option kOptions[] = {
    {L"--help", false, true, true, true},      {L"--json", false, true, true, true},
    {L"--provider", true, true, true, true},   {L"--machine", false, true, true, true},
    {L"--user", false, false, true, true},     {L"--csv", false, false, true, false},
    {L"--expiring", true, false, true, false}, {L"--repair", false, false, false, true},
    {L"--dry-run", false, false, false, true},
};

const Option* FindOption(const std::wstring& name, Command command) {
    for (const Option& option : kOptions) {
        if (name != option.name) continue;
        const bool taken = command == Command::kCheck  ? option.check
                           : command == Command::kList ? option.list
                                                       : option.links;
        return taken ? &option : nullptr;
    }
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
    else
        return ArgumentError{IDS_ADMIN_UNKNOWN_COMMAND, first};
    const std::wstring command = CommandName(arguments.command);

    std::vector<std::wstring> given;
    bool userGiven = false, machineGiven = false;
    for (int i = 2; i < argc; ++i) {
        std::wstring word = argv[i];
        if (word.compare(0, 2, L"--") != 0 || word == L"--") {
            if (arguments.command != Command::kCheck || !arguments.container.empty() ||
                word.empty())
                return ArgumentError{IDS_ADMIN_EXTRA_ARGUMENT, word, command};
            arguments.container = word;
            continue;
        }
        std::optional<std::wstring> value;
        if (const size_t equals = word.find(L'='); equals != std::wstring::npos) {
            value = word.substr(equals + 1);
            word.resize(equals);
        }
        const Option* option = FindOption(word, arguments.command);
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
    if (arguments.dryRun && !arguments.repair)
        return ArgumentError{IDS_ADMIN_NEEDS_OPTION, L"--dry-run", L"--repair"};
    if (arguments.command == Command::kCheck) {
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
