// The console tool's command line: a command, its operand and its options.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <utility>

namespace admin {

enum class Command { kNone, kCheck, kList, kLinks, kSettings };
// What `settings` does with its profile.
enum class SettingsAction { kNone, kExport, kImport, kDiff };
// Whose settings an export takes.
enum class SettingsScope { kAll, kMachine, kUser };
enum class Format { kText, kJson, kCsv };

struct Arguments {
    Command command = Command::kNone;
    bool help = false;
    bool version = false;
    std::wstring container;  // check
    std::wstring provider;   // empty: the default (check) or every product provider
    bool user = true;        // whose containers or stores; check takes one of them
    bool machine = false;
    std::optional<long> expiringDays;
    Format format = Format::kText;
    bool repair = false;
    bool dryRun = false;
    SettingsAction action = SettingsAction::kNone;  // settings
    std::wstring file;                              // settings: the profile
    SettingsScope scope = SettingsScope::kAll;      // settings export
};

// What is wrong with a command line: a string id and its inserts.
struct ArgumentError {
    ArgumentError(UINT id, std::wstring insert1 = {}, std::wstring insert2 = {})
        : id(id), insert1(std::move(insert1)), insert2(std::move(insert2)) {}
    UINT id;
    std::wstring insert1, insert2;
};

// The longest container name the wizards take.
constexpr size_t kMaxContainerName = 260;
// The furthest --expiring looks ahead: a hundred years.
constexpr long kMaxExpiringDays = 36500;

// Reads argv[1..argc). On an error `arguments` is not to be used.
std::optional<ArgumentError> ParseArguments(int argc, const wchar_t* const* argv,
                                            Arguments& arguments);

}  // namespace admin
