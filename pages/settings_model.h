// Every value that the settings pages and the user input timeout dialog edit, described once:
// its page, where it lives, its type and range, whether a change takes a restart, and how it is
// read and written. The functions behind `read` and `write` are the ones the pages save through,
// with the same checks; the list is in the order the sheet applies its pages and each page
// writes its values. Nothing here needs a window.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace applet::settings {

enum class Scope { kMachine, kUser };

// How a value is written in a profile.
enum class Type {
    kSwitch,   // true or false
    kNumber,   // an integer from `minimum` to `maximum`
    kChoice,   // one of the texts of `choices`
    kText,     // a text of at most `maximum` characters, or one of `choices` when there are any
    kTimeout,  // an integer from `minimum` to `maximum`, or one of the texts of `choices`
};

// One value as read from the computer or a profile.
struct Value {
    enum Kind { kFlag, kNumber, kText } kind = kFlag;
    bool flag = false;
    long long number = 0;
    std::wstring text;

    static Value Flag(bool on);
    static Value Number(long long number);
    static Value Text(std::wstring text);
    bool operator==(const Value& other) const;
    bool operator!=(const Value& other) const { return !(*this == other); }
};

struct Setting {
    std::string name;  // stable, e.g. "tls.client.use_ocsp_extensions"
    std::string page;  // "general", "advanced", "algorithms", "security", "winlogon", "tls"
    Scope scope = Scope::kMachine;
    Type type = Type::kSwitch;
    std::wstring location;  // for people: the store path, registry value or provider parameter
    bool reboot = false;    // a change takes effect after the computer restarts
    long long minimum = 0, maximum = 0;
    std::vector<std::wstring> choices;
    // 0 and the value as the page shows it (a missing value reads as its default), else the
    // error that kept it from being read.
    std::function<DWORD(Value&)> read;
    // Writes the value as the page saves it: 0 or the error. A value the page would not let
    // this user change is not written: ERROR_ACCESS_DENIED.
    std::function<DWORD(const Value&)> write;
};

// The pages that keep settings, in the sheet's order.
extern const char* const kPages[6];

// Every setting of this computer. Values of a provider are named after it
// ("security.provider.<name>.mode"), so the list depends on the providers installed.
std::vector<Setting> DescribeSettings();

// Why `value` does not fit `setting`; kFits when it does.
enum class Misfit { kFits, kWrongType, kOutOfRange };
Misfit CheckValue(const Setting& setting, const Value& value);

// The installed product's version as its installer records it; "" when unknown.
std::wstring ProductVersion();

}  // namespace applet::settings
