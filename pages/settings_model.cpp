#include "pages/settings_model.h"

#include "applet/installation.h"
#include "applet/param_sets.h"
#include "applet/provider_params.h"
#include "applet/strings.h"
#include "applet/support.h"
#include "pages/language_settings.h"
#include "pages/security_settings.h"
#include "pages/timeout_settings.h"
#include "pages/tls_settings.h"
#include "pages/winlogon_settings.h"
#include "ui/handles.h"
#include "wizards/product_providers.h"

#include <algorithm>
#include <cwchar>
#include <deque>
#include <iterator>
#include <memory>

namespace applet::settings {

const char* const kPages[6] = {"general", "advanced", "algorithms", "security", "winlogon", "tls"};

Value Value::Flag(bool on) {
    Value value;
    value.kind = kFlag;
    value.flag = on;
    return value;
}

Value Value::Number(long long number) {
    Value value;
    value.kind = kNumber;
    value.number = number;
    return value;
}

Value Value::Text(std::wstring text) {
    Value value;
    value.kind = kText;
    value.text = std::move(text);
    return value;
}

bool Value::operator==(const Value& other) const {
    if (kind != other.kind) return false;
    switch (kind) {
        case kFlag:
            return flag == other.flag;
        case kNumber:
            return number == other.number;
        case kText:
            return text == other.text;
    }
    return false;
}

Misfit CheckValue(const Setting& setting, const Value& value) {
    const bool listed = value.kind == Value::kText &&
                        std::find(setting.choices.begin(), setting.choices.end(), value.text) !=
                            setting.choices.end();
    const bool inRange = value.kind == Value::kNumber && value.number >= setting.minimum &&
                         value.number <= setting.maximum;
    switch (setting.type) {
        case Type::kSwitch:
            return value.kind == Value::kFlag ? Misfit::kFits : Misfit::kWrongType;
        case Type::kNumber:
            if (value.kind != Value::kNumber) return Misfit::kWrongType;
            return inRange ? Misfit::kFits : Misfit::kOutOfRange;
        case Type::kChoice:
            if (value.kind != Value::kText) return Misfit::kWrongType;
            return listed ? Misfit::kFits : Misfit::kOutOfRange;
        case Type::kText:
            if (value.kind != Value::kText) return Misfit::kWrongType;
            if (!setting.choices.empty()) return listed ? Misfit::kFits : Misfit::kOutOfRange;
            return static_cast<long long>(value.text.size()) <= setting.maximum
                       ? Misfit::kFits
                       : Misfit::kOutOfRange;
        case Type::kTimeout:
            if (value.kind == Value::kFlag) return Misfit::kWrongType;
            return listed || inRange ? Misfit::kFits : Misfit::kOutOfRange;
    }
    return Misfit::kWrongType;
}

std::wstring ProductVersion() {
    return ProductProperty(InstallationProductCode(), L"VersionString");
}

namespace {

constexpr wchar_t kRussian[] = L"russian";
constexpr wchar_t kEnglish[] = L"english";
constexpr wchar_t kSystemDefault[] = L"system_default";
constexpr wchar_t kInfinite[] = L"infinite";
constexpr wchar_t kService[] = L"service";
constexpr wchar_t kMemory[] = L"memory";

// A verification context on one of the product's providers, shared by the settings that ask
// it, or why there is none.
struct Context {
    ui::UniqueCryptProv handle;
    DWORD error = 0;
    HCRYPTPROV get() const { return handle.get(); }
};
using Provider = std::shared_ptr<Context>;

Provider QueryContext(const std::wstring& name, DWORD type) {
    auto provider = std::make_shared<Context>();
    if (!::CryptAcquireContextW(provider->handle.put(), nullptr, name.c_str(), type,
                                kQueryContextFlags))
        provider->error = ::GetLastError();
    return provider;
}

DWORD ContextError(const Provider& provider) {
    return provider->get() ? 0 : provider->error ? provider->error : DWORD{ERROR_INVALID_HANDLE};
}

// A choice stored as an index, named by `names` in index order.
int IndexOf(const std::vector<std::wstring>& names, const std::wstring& text) {
    const auto found = std::find(names.begin(), names.end(), text);
    return found == names.end() ? -1 : static_cast<int>(found - names.begin());
}

// Builds the list in save order.
class Catalogue {
public:
    // A deque: a setting being described stays where it is while the next is added.
    std::deque<Setting> settings;

    Setting& Add(std::string name, const char* page, Type type, std::wstring location) {
        Setting setting;
        setting.name = std::move(name);
        setting.page = page;
        setting.type = type;
        setting.location = std::move(location);
        settings.push_back(std::move(setting));
        return settings.back();
    }

    void General();
    void Advanced();
    void Algorithms();
    void Security();
    void Winlogon();
    void Tls();

private:
    // The providers installed, listed once for every page's values.
    const std::vector<InstalledProvider> installed_ = ListInstalledProviders();
    const std::vector<InstalledProvider> products_ = ProductProviders();
    std::vector<InstalledProvider> ProductProviders() const;
};

std::vector<InstalledProvider> Catalogue::ProductProviders() const {
    std::vector<InstalledProvider> providers;
    ProductProviderEnum state{0, true};
    InstalledProvider provider;
    while (EnumProductProviders(state, installed_, provider.name, provider.type))
        providers.push_back(provider);
    return providers;
}

void Catalogue::General() {
    const std::vector<std::wstring> machineNames = {kRussian, kEnglish};
    Setting& machine =
        Add("general.language.machine", "general", Type::kChoice, store::kConfigLanguage);
    machine.choices = machineNames;
    machine.read = [machineNames](Value& value) {
        value = Value::Text(machineNames[ReadLanguageSettings().machineIndex]);
        return DWORD{0};
    };
    machine.write = [machineNames](const Value& value) {
        if (!support::MayWrite(store::kConfig)) return DWORD{ERROR_ACCESS_DENIED};
        DWORD stored = 0;
        return WriteMachineLanguage(IndexOf(machineNames, value.text), stored);
    };

    const std::vector<std::wstring> userNames = {kSystemDefault, kRussian, kEnglish};
    Setting& user = Add("general.language.user", "general", Type::kChoice, store::kLocalLanguage);
    user.scope = Scope::kUser;
    user.choices = userNames;
    user.read = [userNames](Value& value) {
        value = Value::Text(userNames[ReadLanguageSettings().userIndex]);
        return DWORD{0};
    };
    user.write = [userNames](const Value& value) {
        if (!support::MayWrite(store::kLocal)) return DWORD{ERROR_ACCESS_DENIED};
        DWORD stored = 0;
        return WriteUserLanguage(IndexOf(userNames, value.text), stored);
    };
}

void Catalogue::Advanced() {
    // The system level first, as the dialog writes them.
    Setting& system = Add("advanced.timeouts.system", "advanced", Type::kTimeout,
                          store::kGlobalKeyDevices + std::wstring(L"\\retry_time"));
    system.choices = {kInfinite};
    Setting& user = Add("advanced.timeouts.user", "advanced", Type::kTimeout,
                        store::kLocalKeyDevices + std::wstring(L"\\retry_time"));
    user.scope = Scope::kUser;
    user.choices = {kSystemDefault, kInfinite};
    for (Setting* level : {&system, &user}) {
        level->minimum = TimeoutSettings::kMinimumSeconds;
        level->maximum = TimeoutSettings::kMaximumSeconds;
    }
    system.read = [](Value& value) {
        const TimeoutSettings timeouts = ReadTimeoutSettings();
        value = timeouts.systemChoice == TimeoutSettings::kSystemInfinite
                    ? Value::Text(kInfinite)
                    : Value::Number(timeouts.systemValue);
        return timeouts.systemError;
    };
    system.write = [](const Value& value) {
        if (!ReadTimeoutSettings().mayWriteSystem) return DWORD{ERROR_ACCESS_DENIED};
        return value.kind == Value::kText
                   ? WriteSystemTimeout(TimeoutSettings::kSystemInfinite, 0)
                   : WriteSystemTimeout(TimeoutSettings::kSystemTimeout,
                                        static_cast<int>(value.number));
    };
    const std::vector<std::wstring> userChoices = user.choices;
    user.read = [userChoices](Value& value) {
        const TimeoutSettings timeouts = ReadTimeoutSettings();
        value = timeouts.userChoice == TimeoutSettings::kUserTimeout
                    ? Value::Number(timeouts.userValue)
                    : Value::Text(userChoices[timeouts.userChoice]);
        return timeouts.userError;
    };
    user.write = [userChoices](const Value& value) {
        if (!ReadTimeoutSettings().mayWriteUser) return DWORD{ERROR_ACCESS_DENIED};
        // The choices are named in the order of the dialog's radio buttons.
        return value.kind == Value::kText
                   ? WriteUserTimeout(IndexOf(userChoices, value.text), 0)
                   : WriteUserTimeout(TimeoutSettings::kUserTimeout,
                                      static_cast<int>(value.number));
    };
}

void Catalogue::Algorithms() {
    struct Set {
        const char* name;
        DWORD enumParam, valueParam;
    };
    // In the order the page fills and saves its combo boxes.
    static const Set kSets[] = {{"hash", kParamHashSets, kParamHashSet},
                                {"cipher", kParamCipherSets, kParamCipherSet},
                                {"signature", kParamSignatureSets, kParamSignatureSet},
                                {"dh", kParamDhSets, kParamDhSet}};
    const std::wstring providerName = ProductProviderName(InstallationProductCode());
    if (providerName.empty()) return;
    for (DWORD type : {DWORD{75}, DWORD{71}}) {
        // The page offers a type by its registered name.
        if (ProviderTypeName(type).empty()) continue;
        // Without a context, or without a list, the page shows the set empty and disabled.
        const Provider provider = QueryContext(providerName, type);
        if (!provider->get()) continue;
        for (const Set& set : kSets) {
            ParamChoice offered;
            if (ReadParamChoice(provider->get(), set.enumParam, set.valueParam, offered) != 0)
                continue;
            Setting& setting =
                Add("algorithms.type" + std::to_string(type) + "." + set.name, "algorithms",
                    Type::kText,
                    L"provider \"" + providerName + L"\" type " + std::to_wstring(type) +
                        L", parameter " + std::to_wstring(set.valueParam));
            // A set is named by its object identifier: the value's text up to its NUL.
            auto name = [](const ParamEntry& entry) {
                std::wstring text(entry.value.begin(), entry.value.end());
                return text.substr(0, text.find(L'\0'));
            };
            for (const ParamEntry& entry : offered.entries) setting.choices.push_back(name(entry));
            setting.read = [provider, set, name](Value& value) {
                ParamChoice choice;
                if (DWORD error =
                        ReadParamChoice(provider->get(), set.enumParam, set.valueParam, choice))
                    return error;
                value = Value::Text(name(choice.entries[static_cast<size_t>(choice.current)]));
                return DWORD{0};
            };
            setting.write = [provider, set, name](const Value& value) {
                // The provider keeps its choices in "\config\oid"; who may not write there may
                // only look.
                support::support_registry_put_section(store::kConfigOid);
                if (!support::MayWrite(store::kConfigOid)) return DWORD{ERROR_ACCESS_DENIED};
                ParamChoice choice;
                if (DWORD error =
                        ReadParamChoice(provider->get(), set.enumParam, set.valueParam, choice))
                    return error;
                for (const ParamEntry& entry : choice.entries)
                    if (name(entry) == value.text)
                        return WriteParamValue(provider->get(), set.valueParam, entry.value);
                return DWORD{ERROR_INVALID_PARAMETER};
            };
        }
    }
}

void Catalogue::Security() {
    struct Product {
        std::wstring name;
        Provider context;
    };
    std::vector<Product> products;
    for (const InstalledProvider& provider : products_)
        products.push_back({provider.name, QueryContext(provider.name, provider.type)});
    auto prefix = [](const std::wstring& name) { return "security.provider." + Utf8(name); };
    auto where = [](const std::wstring& name, DWORD param) {
        return L"provider \"" + name + L"\", parameter " + std::to_wstring(param);
    };

    // The page saves the provider's cache and Diffie-Hellman control first.
    for (const Product& product : products) {
        const Provider provider = product.context;
        ProviderCache cache;
        if (!provider->get() || (ReadProviderCache(provider->get(), cache) == 0 && cache.maximum)) {
            Setting& size = Add(prefix(product.name) + ".cache_size", "security", Type::kNumber,
                                where(product.name, kParamCache));
            size.maximum = cache.maximum;
            size.read = [provider](Value& value) {
                if (DWORD error = ContextError(provider)) return error;
                ProviderCache now;
                const DWORD error = ReadProviderCache(provider->get(), now);
                value = Value::Number(now.size);
                return error;
            };
            size.write = [provider](const Value& value) {
                if (DWORD error = ContextError(provider)) return error;
                ProviderCache now;
                if (DWORD error = ReadProviderCache(provider->get(), now)) return error;
                if (!now.available) return DWORD{ERROR_ACCESS_DENIED};
                return WriteProviderCache(provider->get(), static_cast<DWORD>(value.number));
            };
        }
        DhControl dh;
        if (!provider->get() || ReadDhControl(provider->get(), dh) == 0) {
            Setting& control = Add(prefix(product.name) + ".dh_control", "security",
                                   Type::kSwitch, where(product.name, kParamDhControl));
            control.read = [provider](Value& value) {
                if (DWORD error = ContextError(provider)) return error;
                DhControl now;
                const DWORD error = ReadDhControl(provider->get(), now);
                value = Value::Flag(now.on);
                return error;
            };
            control.write = [provider](const Value& value) {
                if (DWORD error = ContextError(provider)) return error;
                DhControl now;
                if (DWORD error = ReadDhControl(provider->get(), now)) return error;
                if (!now.changeable) return DWORD{ERROR_ACCESS_DENIED};
                return WriteDhControl(provider->get(), value.flag);
            };
        }
    }

    for (DWORD type : {DWORD{71}, DWORD{75}}) {
        const ProvidersOfType installed = ListProvidersOfType(type, installed_);
        if (installed.names.empty()) continue;
        wchar_t key[96];
        std::swprintf(key, 96,
                      L"HKLM\\SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\"
                      L"Type %03u\\Name (both views)",
                      static_cast<unsigned>(type));
        Setting& choice = Add("security.default_provider.type" + std::to_string(type),
                              "security", Type::kText, key);
        // "" is "<Absent>".
        choice.choices.push_back(L"");
        for (const std::wstring& name : installed.names) choice.choices.push_back(name);
        choice.read = [type](Value& value) {
            const ProvidersOfType now = ListProvidersOfType(type);
            value = Value::Text(now.defaultIndex >= 0
                                    ? now.names[static_cast<size_t>(now.defaultIndex)]
                                    : std::wstring());
            return DWORD{0};
        };
        choice.write = [type](const Value& value) {
            if (!MayWriteDefaultProvider(type)) return DWORD{ERROR_ACCESS_DENIED};
            return static_cast<DWORD>(WriteDefaultProvider(type, value.text));
        };
    }

    const std::vector<std::wstring> modeNames = {kService, kMemory};
    for (const Product& product : products) {
        if (ReadProviderMode(product.name) == kModeUnknown) continue;
        Setting& mode = Add(prefix(product.name) + ".mode", "security", Type::kChoice,
                            L"HKLM\\SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\" +
                                product.name + L"\\KV Module Name (both views)");
        mode.reboot = true;
        mode.choices = modeNames;
        const std::wstring name = product.name;
        mode.read = [name, modeNames](Value& value) {
            const int now = ReadProviderMode(name);
            if (now == kModeUnknown) return DWORD{ERROR_INVALID_DATA};
            value = Value::Text(modeNames[static_cast<size_t>(now)]);
            return DWORD{0};
        };
        const Provider provider = product.context;
        mode.write = [name, modeNames, provider](const Value& value) {
            const int wanted = IndexOf(modeNames, value.text);
            const DWORD protectionClass = ReadProtectionClass(provider->get());
            const bool keyService = !ProviderModeOffered(kModeService, protectionClass, false) &&
                                    KeyServiceInstalled();
            if (!support::MayWrite(store::kProvider) ||
                !ProviderModeOffered(wanted, protectionClass, keyService))
                return DWORD{ERROR_ACCESS_DENIED};
            return static_cast<DWORD>(WriteProviderMode(name, wanted));
        };
    }

    Setting& media =
        Add("security.save_media_info", "security", Type::kSwitch, store::kDisableShortcuts);
    media.read = [](Value& value) {
        bool save = true;
        const DWORD error = ReadSaveMediaInfo(save);
        value = Value::Flag(save);
        return error;
    };
    media.write = [](const Value& value) {
        if (!support::MayWrite(store::kParameters)) return DWORD{ERROR_ACCESS_DENIED};
        return WriteSaveMediaInfo(value.flag);
    };
}

void Catalogue::Winlogon() {
    const bool domainController = IsDomainController();
    if (ReadKdcState(domainController) != kKdcUnknown) {
        Setting& kdc = Add("winlogon.kdc_uses_product", "winlogon", Type::kSwitch,
                           L"HKLM\\SYSTEM\\CurrentControlSet\\Services\\kdc\\Parameters\\"
                           L"NotChangeDefaultVerifyProvider");
        kdc.read = [domainController](Value& value) {
            const KdcState state = ReadKdcState(domainController);
            value = Value::Flag(KdcUsesProduct(state));
            return state == kKdcUnknown ? DWORD{ERROR_INVALID_DATA} : DWORD{0};
        };
        kdc.write = [](const Value& value) {
            if (!support::MayWrite(store::kParameters)) return DWORD{ERROR_ACCESS_DENIED};
            return static_cast<DWORD>(WriteKdcUsesProduct(value.flag));
        };
    }

    Setting& disable =
        Add("winlogon.disable", "winlogon", Type::kSwitch, store::kDisableWinlogon);
    disable.read = [](Value& value) {
        bool disabled = false;
        const DWORD error = ReadWinlogonDisabled(disabled);
        value = Value::Flag(disabled);
        return error;
    };
    disable.write = [](const Value& value) {
        if (!support::MayWrite(store::kParameters)) return DWORD{ERROR_ACCESS_DENIED};
        return WriteWinlogonDisabled(value.flag);
    };

    for (const InstalledProvider& provider : products_) {
        if (!OffersDefaultReader(provider.name, domainController)) continue;
        const std::wstring name = provider.name;
        Setting& reader = Add("winlogon.provider." + Utf8(name) + ".default_reader", "winlogon",
                              Type::kText, DefaultReaderPath(name));
        reader.maximum = kMaxReaderName;
        reader.read = [name](Value& value) {
            std::wstring stored;
            const DWORD error = ReadDefaultReader(name, stored);
            value = Value::Text(stored);
            return error == ERROR_FILE_NOT_FOUND ? DWORD{0} : error;
        };
        reader.write = [name](const Value& value) {
            if (!support::MayWrite(store::kParameters) || !DefaultReadersEnabled())
                return DWORD{ERROR_ACCESS_DENIED};
            return WriteDefaultReader(name, value.text);
        };
    }
}

void Catalogue::Tls() {
    const std::wstring parameters = std::wstring(store::kParameters) + L"\\";
    for (std::size_t i = 0; i < kTlsSwitchCount; ++i) {
        // "tls_client_use_ocsp_extensions" is "tls.client.use_ocsp_extensions".
        std::string name = Utf8(kTlsSwitches[i].name);
        for (int dots = 0; dots < 2; ++dots) name[name.find('_')] = '.';
        Setting& setting = Add(name, "tls", Type::kSwitch, parameters + kTlsSwitches[i].name);
        setting.reboot = true;
        setting.read = [i](Value& value) {
            DWORD number = 0;
            const DWORD error = ReadTlsNumber(kTlsSwitches[i].name, 0, number);
            value = Value::Flag(number != 0);
            return error;
        };
        const bool ocsp = std::wstring(kTlsSwitches[i].name).find(L"_ocsp_") != std::wstring::npos;
        setting.write = [i, ocsp](const Value& value) {
            if (!support::MayWrite(store::kParameters) || (ocsp && !TlsOcspAvailable()))
                return DWORD{ERROR_ACCESS_DENIED};
            const DWORD error = WriteTlsSwitch(i, value.flag);
            HRESULT registered = S_OK;
            if (ReregisterCngAfterSwitch(i, registered) && registered != S_OK && !error)
                return static_cast<DWORD>(registered);
            return error;
        };
    }
    struct Limit {
        const char* name;
        const wchar_t* stored;
        int fallback, maximum;
    };
    for (const Limit& limit :
         {Limit{"tls.server.max_sessions", kTlsMaxSessions, TlsSettings::kDefaultMaxSessions,
                TlsSettings::kMaxSessionsLimit},
          Limit{"tls.server.max_certificate_request_cas", kTlsMaxCas, TlsSettings::kDefaultMaxCas,
                TlsSettings::kMaxCasLimit}}) {
        Setting& setting = Add(limit.name, "tls", Type::kNumber, parameters + limit.stored);
        setting.maximum = limit.maximum;
        setting.read = [limit](Value& value) {
            DWORD number = 0;
            const DWORD error =
                ReadTlsNumber(limit.stored, static_cast<DWORD>(limit.fallback), number);
            // The page shows the stored number as a signed one.
            value = Value::Number(static_cast<LONG>(number));
            return error;
        };
        setting.write = [limit](const Value& value) {
            if (!support::MayWrite(store::kParameters)) return DWORD{ERROR_ACCESS_DENIED};
            return WriteTlsNumber(limit.stored, static_cast<DWORD>(value.number));
        };
    }
}

}  // namespace

std::vector<Setting> DescribeSettings() {
    Catalogue catalogue;
    catalogue.General();
    catalogue.Advanced();
    catalogue.Algorithms();
    catalogue.Security();
    catalogue.Winlogon();
    catalogue.Tls();
    return {std::make_move_iterator(catalogue.settings.begin()),
            std::make_move_iterator(catalogue.settings.end())};
}

}  // namespace applet::settings
