#include "admin/commands.h"

#include "admin/console.h"
#include "applet/strings.h"
#include "pages/settings_model.h"
#include "resource.h"
#include "ui/handles.h"
#include "ui/resources.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <initializer_list>
#include <optional>

namespace admin {

namespace {

namespace model = applet::settings;
using Json = nlohmann::ordered_json;

// The profile format this tool writes and reads; a later tool that changes the meaning of an
// entry writes a higher number, which this one refuses instead of misreading.
constexpr int kFormat = 1;

std::wstring Say(UINT id, std::initializer_list<std::wstring> inserts = {}) {
    return ui::FormatInserts(applet::LoadStringLang(id), inserts);
}

// A line about the profile itself: its file name first.
void FileError(const std::wstring& file, const std::wstring& message) {
    WriteError(file + L": " + message);
}

std::string Dump(const Json& json, int indent = -1) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

// A value as people read it: its JSON text.
std::wstring Shown(const Json& json) {
    return Wide(Dump(json));
}

Json ToJson(const model::Value& value) {
    switch (value.kind) {
        case model::Value::kFlag:
            return value.flag;
        case model::Value::kNumber:
            return value.number;
        case model::Value::kText:
            break;
    }
    return Utf8(value.text);
}

long long Integer(const Json& json) {
    // Past what a setting can hold: out of every range.
    if (json.is_number_unsigned() && json.get<unsigned long long>() > LLONG_MAX) return LLONG_MAX;
    return json.get<long long>();
}

// The profile's entry as the setting's value; nullopt when its JSON type is not the setting's.
std::optional<model::Value> FromJson(const model::Setting& setting, const Json& json) {
    switch (setting.type) {
        case model::Type::kSwitch:
            if (json.is_boolean()) return model::Value::Flag(json.get<bool>());
            break;
        case model::Type::kNumber:
            if (json.is_number_integer()) return model::Value::Number(Integer(json));
            break;
        case model::Type::kChoice:
        case model::Type::kText:
            if (json.is_string()) return model::Value::Text(Wide(json.get<std::string>()));
            break;
        case model::Type::kTimeout:
            if (json.is_number_integer()) return model::Value::Number(Integer(json));
            if (json.is_string()) return model::Value::Text(Wide(json.get<std::string>()));
            break;
    }
    return std::nullopt;
}

std::wstring Expected(model::Type type) {
    switch (type) {
        case model::Type::kSwitch:
            return Say(IDS_ADMIN_EXPECT_SWITCH);
        case model::Type::kNumber:
            return Say(IDS_ADMIN_EXPECT_NUMBER);
        case model::Type::kChoice:
        case model::Type::kText:
            return Say(IDS_ADMIN_EXPECT_TEXT);
        case model::Type::kTimeout:
            break;
    }
    return Say(IDS_ADMIN_EXPECT_TIMEOUT);
}

// What the setting takes, for the line that refuses a value.
std::wstring Allowed(const model::Setting& setting) {
    std::wstring allowed;
    if (setting.type == model::Type::kNumber || setting.type == model::Type::kTimeout)
        allowed = Say(IDS_ADMIN_RANGE,
                      {std::to_wstring(setting.minimum), std::to_wstring(setting.maximum)});
    else if (setting.type == model::Type::kText && setting.choices.empty())
        allowed = Say(IDS_ADMIN_LENGTH, {std::to_wstring(setting.maximum)});
    for (const std::wstring& choice : setting.choices)
        allowed += (allowed.empty() ? L"" : L", ") + Shown(Utf8(choice));
    return allowed;
}

bool ReadFileBytes(const std::wstring& path, std::string& bytes, DWORD& error) {
    ui::UniqueHandleW file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return error = ::GetLastError(), false;
    char buffer[16384];
    for (DWORD read; ::ReadFile(file.get(), buffer, sizeof(buffer), &read, nullptr);) {
        if (!read) return true;
        bytes.append(buffer, read);
    }
    return error = ::GetLastError(), false;
}

bool WriteFileBytes(const std::wstring& path, const std::string& bytes, DWORD& error) {
    ui::UniqueHandleW file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return error = ::GetLastError(), false;
    for (size_t done = 0; done < bytes.size();) {
        DWORD written = 0;
        if (!::WriteFile(file.get(), bytes.data() + done, static_cast<DWORD>(bytes.size() - done),
                         &written, nullptr))
            return error = ::GetLastError(), false;
        done += written;
    }
    return true;
}

// One value of the profile, checked against the setting it names.
struct Entry {
    const model::Setting* setting = nullptr;
    model::Value value;
    Json json;
};

// Reads and checks the whole profile before anything is done with it: every fault is told on a
// line of its own, and a profile with any fault is refused as a whole. The entries come in the
// model's order, the order in which the pages save.
bool LoadProfile(const std::wstring& file, const std::vector<model::Setting>& settings,
                 std::vector<Entry>& entries) {
    std::string bytes;
    DWORD error = 0;
    if (!ReadFileBytes(file, bytes, error)) {
        FileError(file, Say(IDS_ADMIN_PROFILE_UNREADABLE, {ErrorLine(error)}));
        return false;
    }
    Json profile;
    try {
        profile = Json::parse(bytes);
    } catch (const Json::parse_error& e) {
        const size_t end = std::min<size_t>(e.byte, bytes.size());
        const auto line = 1 + std::count(bytes.begin(), bytes.begin() + end, '\n');
        FileError(file, Say(IDS_ADMIN_PROFILE_NOT_JSON, {std::to_wstring(line)}));
        return false;
    }
    if (!profile.is_object()) {
        FileError(file, Say(IDS_ADMIN_PROFILE_NOT_PROFILE));
        return false;
    }
    const auto format = profile.find("format");
    if (format != profile.end() && format->is_number_integer() && Integer(*format) > kFormat) {
        FileError(file, Say(IDS_ADMIN_PROFILE_NEWER, {Shown(*format), std::to_wstring(kFormat)}));
        return false;
    }
    if (format == profile.end() || !format->is_number_integer() || Integer(*format) != kFormat) {
        FileError(file, Say(IDS_ADMIN_PROFILE_NO_FORMAT, {std::to_wstring(kFormat)}));
        return false;
    }
    const auto pages = profile.find("pages");
    if (pages == profile.end() || !pages->is_object()) {
        FileError(file, Say(IDS_ADMIN_PROFILE_NOT_PROFILE));
        return false;
    }

    bool fits = true;
    auto refuse = [&](UINT id, std::initializer_list<std::wstring> inserts) {
        FileError(file, Say(id, inserts));
        fits = false;
    };
    std::vector<std::optional<Entry>> found(settings.size());
    for (const auto& [page, values] : pages->items()) {
        if (std::none_of(std::begin(model::kPages), std::end(model::kPages),
                         [&](const char* known) { return page == known; })) {
            refuse(IDS_ADMIN_PROFILE_UNKNOWN_PAGE, {Wide(page)});
            continue;
        }
        if (!values.is_object()) {
            refuse(IDS_ADMIN_PROFILE_WRONG_TYPE, {Wide(page), Say(IDS_ADMIN_EXPECT_OBJECT)});
            continue;
        }
        for (const auto& [name, json] : values.items()) {
            const auto setting = std::find_if(settings.begin(), settings.end(), [&](auto& s) {
                return s.name == name && s.page == page;
            });
            if (setting == settings.end()) {
                refuse(IDS_ADMIN_PROFILE_UNKNOWN_NAME, {Wide(name), Wide(page)});
                continue;
            }
            const std::optional<model::Value> value = FromJson(*setting, json);
            const model::Misfit misfit =
                value ? model::CheckValue(*setting, *value) : model::Misfit::kWrongType;
            if (misfit == model::Misfit::kWrongType)
                refuse(IDS_ADMIN_PROFILE_WRONG_TYPE, {Wide(name), Expected(setting->type)});
            else if (misfit == model::Misfit::kOutOfRange)
                refuse(IDS_ADMIN_PROFILE_OUT_OF_RANGE,
                       {Wide(name), Shown(json), Allowed(*setting)});
            else
                found[setting - settings.begin()] = Entry{&*setting, *value, json};
        }
    }
    for (auto& entry : found)
        if (entry) entries.push_back(std::move(*entry));
    return fits;
}

int Export(const Arguments& arguments) {
    const auto settings = model::DescribeSettings();
    Json pages = Json::object();
    std::wstring unread;
    size_t exported = 0;
    for (const char* page : model::kPages) {
        Json values = Json::object();
        for (const model::Setting& setting : settings) {
            if (setting.page != page) continue;
            if (arguments.scope == SettingsScope::kMachine &&
                setting.scope != model::Scope::kMachine)
                continue;
            if (arguments.scope == SettingsScope::kUser && setting.scope != model::Scope::kUser)
                continue;
            model::Value value;
            if (const DWORD error = setting.read(value)) {
                unread += (unread.empty() ? L"" : L"; ") + Wide(setting.name) + L" (" +
                          ErrorLine(error) + L")";
                continue;
            }
            values[setting.name] = ToJson(value);
            ++exported;
        }
        if (!values.empty()) pages[page] = std::move(values);
    }
    const char* scope = arguments.scope == SettingsScope::kMachine ? "machine"
                        : arguments.scope == SettingsScope::kUser  ? "user"
                                                                   : "all";
    const Json profile = {{"format", kFormat},
                          {"product_version", Utf8(model::ProductVersion())},
                          {"scope", scope},
                          {"pages", std::move(pages)}};
    if (!unread.empty()) WriteError(Say(IDS_ADMIN_SETTINGS_UNREAD, {unread}));
    DWORD error = 0;
    if (!WriteFileBytes(arguments.file, Dump(profile, 2) + "\n", error)) {
        FileError(arguments.file, Say(IDS_ADMIN_PROFILE_UNWRITABLE, {ErrorLine(error)}));
        return kExitFailed;
    }
    WriteOut(Say(IDS_ADMIN_SETTINGS_EXPORTED, {std::to_wstring(exported), arguments.file}) +
             L"\r\n");
    return kExitOk;
}

// Writes what differs, in the order the pages save; a refused write is told and the others
// still go on, as the pages do. A value that takes a restart is only reported.
int Import(const Arguments& arguments) {
    const auto settings = model::DescribeSettings();
    std::vector<Entry> entries;
    if (!LoadProfile(arguments.file, settings, entries)) return kExitError;
    const std::wstring reboot = Say(IDS_ADMIN_REBOOT);
    size_t changed = 0, failed = 0;
    bool restart = false;
    for (const Entry& entry : entries) {
        const model::Setting& setting = *entry.setting;
        model::Value current;
        const DWORD readError = setting.read(current);
        if (!readError && current == entry.value) continue;
        if (!arguments.dryRun) {
            if (const DWORD error = setting.write(entry.value)) {
                WriteError(
                    Say(IDS_ADMIN_SETTING_NOT_WRITTEN, {Wide(setting.name), ErrorLine(error)}));
                ++failed;
                continue;
            }
            restart = restart || setting.reboot;
        }
        ++changed;
        WriteOut(Wide(setting.name) + L": " +
                 (readError ? Say(IDS_ADMIN_UNREADABLE) : Shown(ToJson(current))) + L" -> " +
                 Shown(entry.json) + (setting.reboot ? L" (" + reboot + L")" : L"") + L"\r\n");
    }
    if (arguments.dryRun)
        WriteOut(Say(IDS_ADMIN_SETTINGS_WOULD_CHANGE, {std::to_wstring(changed)}) + L"\r\n");
    else
        WriteOut(
            Say(IDS_ADMIN_SETTINGS_CHANGED, {std::to_wstring(changed), std::to_wstring(failed)}) +
            L"\r\n");
    if (restart) WriteOut(reboot + L"\r\n");
    return failed ? kExitFailed : kExitOk;
}

int Diff(const Arguments& arguments) {
    const auto settings = model::DescribeSettings();
    std::vector<Entry> entries;
    if (!LoadProfile(arguments.file, settings, entries)) return kExitError;
    Json results = Json::array();
    std::wstring text;
    for (const Entry& entry : entries) {
        model::Value current;
        const DWORD error = entry.setting->read(current);
        if (!error && current == entry.value) continue;
        const Json machine = error ? Json() : ToJson(current);
        results.push_back({{"name", entry.setting->name},
                           {"file", entry.json},
                           {"machine", machine},
                           {"error", error ? Json(Utf8(ErrorLine(error))) : Json()}});
        text +=
            Wide(entry.setting->name) + L": file=" + Shown(entry.json) + L" machine=" +
            (error ? Say(IDS_ADMIN_UNREADABLE) + L" (" + ErrorLine(error) + L")" : Shown(machine)) +
            L"\r\n";
    }
    const int exitCode = results.empty() ? kExitOk : kExitFailed;
    if (arguments.format == Format::kJson) {
        const Json document = {
            {"command", "settings diff"},
            {"results", results},
            {"summary", {{"differences", results.size()}, {"exit_code", exitCode}}}};
        WriteOutUtf8(Dump(document, 2) + "\n");
    } else {
        WriteOut(text +
                 (results.empty()
                      ? Say(IDS_ADMIN_SETTINGS_SAME)
                      : Say(IDS_ADMIN_SETTINGS_DIFFERENT, {std::to_wstring(results.size())})) +
                 L"\r\n");
    }
    return exitCode;
}

}  // namespace

int RunSettings(const Arguments& arguments) {
    switch (arguments.action) {
        case SettingsAction::kExport:
            return Export(arguments);
        case SettingsAction::kImport:
            return Import(arguments);
        case SettingsAction::kDiff:
            return Diff(arguments);
        case SettingsAction::kNone:
            break;
    }
    return kExitError;
}

}  // namespace admin
