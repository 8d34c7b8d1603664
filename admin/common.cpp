#include "admin/commands.h"

#include "admin/console.h"
#include "applet/strings.h"
#include "resource.h"
#include "wizards/product_providers.h"

#include <cstdio>

namespace admin {

namespace {

constexpr ULONGLONG kTicksPerDay = 10'000'000ULL * 60 * 60 * 24;

LONGLONG Ticks(const FILETIME& time) {
    return static_cast<LONGLONG>((static_cast<ULONGLONG>(time.dwHighDateTime) << 32) |
                                 time.dwLowDateTime);
}

}  // namespace

std::optional<ArgumentError> ChooseProviders(const Arguments& arguments,
                                             std::vector<Provider>& providers) {
    // Those beside the tool: the providers the installed applet's wizards offer.
    applet::ProductProviderEnum state{0, true};
    Provider provider;
    while (applet::EnumProductProviders(state, provider.name, provider.type))
        if (arguments.provider.empty() || arguments.provider == provider.name)
            providers.push_back(provider);
    if (!arguments.provider.empty() && providers.empty())
        return ArgumentError{IDS_ADMIN_UNKNOWN_PROVIDER, arguments.provider};
    if (arguments.command == Command::kCheck && providers.size() > 1) {
        // The wizard opens on the computer's default provider, else on the first.
        const std::wstring preferred = applet::MachineDefaultProvider();
        for (const Provider& candidate : providers)
            if (candidate.name == preferred) {
                providers = {candidate};
                break;
            }
        providers.resize(1);
    }
    if (providers.empty()) return ArgumentError{IDS_ADMIN_NO_PROVIDER};
    return std::nullopt;
}

const char* OwnerName(bool machine) {
    return machine ? "machine" : "user";
}

std::wstring OwnerText(bool machine) {
    return applet::LoadStringLang(machine ? IDS_ADMIN_OWNER_MACHINE : IDS_ADMIN_OWNER_USER);
}

nlohmann::json JsonText(const std::wstring& text) {
    return Utf8(text);
}

std::wstring ErrorLine(DWORD error) {
    return OneLine(applet::ErrorMessageText(error));
}

std::string IsoTime(const FILETIME& time) {
    SYSTEMTIME utc{};
    if (!::FileTimeToSystemTime(&time, &utc)) return {};
    char text[32];
    std::snprintf(text, sizeof(text), "%04u-%02u-%02uT%02u:%02u:%02uZ", utc.wYear, utc.wMonth,
                  utc.wDay, utc.wHour, utc.wMinute, utc.wSecond);
    return text;
}

long DaysLeft(const FILETIME& time) {
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    const LONGLONG ticks = Ticks(time) - Ticks(now);
    const LONGLONG day = static_cast<LONGLONG>(kTicksPerDay);
    // Rounded toward minus infinity: a certificate that ended an hour ago has -1 days.
    return static_cast<long>(ticks >= 0 ? ticks / day : -((-ticks + day - 1) / day));
}

void WriteJson(const nlohmann::json& document) {
    WriteOutUtf8(document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
}

}  // namespace admin
