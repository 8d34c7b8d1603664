#include "admin/commands.h"

#include "admin/console.h"
#include "applet/crypt_reads.h"
#include "applet/strings.h"
#include "resource.h"
#include "ui/handles.h"
#include "ui/resources.h"
#include "wizards/certificate_info.h"
#include "wizards/container_check.h"
#include "wizards/container_search.h"

#include <optional>

namespace admin {

namespace {

struct CertificateEntry {
    applet::CertificateFields fields;
    FILETIME notBefore{}, notAfter{};
    long daysLeft = 0;
};

struct KeyEntry {
    DWORD spec = 0;
    std::optional<std::wstring> algorithm;
    std::optional<bool> exportable;
    std::optional<CertificateEntry> certificate;
};

struct ContainerEntry {
    const Provider* provider = nullptr;
    bool machine = false;
    std::wstring name, unique;  // no name: the provider's containers could not be listed
    std::vector<KeyEntry> keys;
    DWORD error = 0;  // the first failure met; what was read before and after stays
};

const char* KeyName(DWORD spec) {
    return spec == AT_SIGNATURE ? "signature" : "exchange";
}

// The first failure of an entry is the one it is listed with.
void Note(ContainerEntry& entry) {
    const DWORD error = ::GetLastError();
    if (!entry.error) entry.error = error ? error : static_cast<DWORD>(NTE_FAIL);
}

void ReadKey(HCRYPTPROV container, DWORD spec, ContainerEntry& entry) {
    ui::UniqueCryptKey key;
    if (!::CryptGetUserKey(container, spec, key.put())) {
        // A container may hold one key only.
        if (::GetLastError() != static_cast<DWORD>(NTE_NO_KEY)) Note(entry);
        return;
    }
    KeyEntry read;
    read.spec = spec;
    DWORD value = 0;
    if (applet::ReadDword(applet::KeyParam(key.get(), KP_ALGID), value))
        read.algorithm = applet::AlgorithmName(value);
    else
        Note(entry);
    if (applet::ReadDword(applet::KeyParam(key.get(), KP_PERMISSIONS), value))
        read.exportable = (value & CRYPT_EXPORT) != 0;
    else
        Note(entry);
    if (ui::UniqueCertContext certificate = applet::KeyCertificate(key.get())) {
        const CERT_INFO& info = *certificate.get()->pCertInfo;
        read.certificate = CertificateEntry{applet::ReadCertificateFields(certificate.get()),
                                            info.NotBefore, info.NotAfter, DaysLeft(info.NotAfter)};
    } else if (::GetLastError() != static_cast<DWORD>(SCARD_E_NO_SUCH_CERTIFICATE)) {
        Note(entry);
    }
    entry.keys.push_back(std::move(read));
}

void ReadContainer(ContainerEntry& entry) {
    ui::UniqueCryptProv container;
    if (!::CryptAcquireContextW(container.put(), entry.name.c_str(), entry.provider->name.c_str(),
                                entry.provider->type, entry.machine ? CRYPT_MACHINE_KEYSET : 0)) {
        Note(entry);
        return;
    }
    std::vector<BYTE> unique;
    if (applet::ReadSized(applet::ProvParam(container.get(), PP_UNIQUE_CONTAINER), unique))
        entry.unique = applet::AnsiText(unique);
    else
        Note(entry);
    for (DWORD spec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}})
        ReadKey(container.get(), spec, entry);
}

// Whether a certificate of the container ends within `days` (or has ended). A container that
// could not be read may hold one: it stays in the list.
bool Expiring(const ContainerEntry& entry, long days) {
    if (entry.error) return true;
    for (const KeyEntry& key : entry.keys)
        if (key.certificate && key.certificate->daysLeft <= days) return true;
    return false;
}

template <class T>
nlohmann::json Optional(const std::optional<T>& value) {
    return value ? nlohmann::json(*value) : nlohmann::json();
}

nlohmann::json Json(const ContainerEntry& entry) {
    nlohmann::json keys = nlohmann::json::array();
    for (const KeyEntry& key : entry.keys) {
        nlohmann::json certificate;
        if (const auto& c = key.certificate)
            certificate = {
                {"subject", JsonText(c->fields.subject)}, {"issuer", JsonText(c->fields.issuer)},
                {"serial", JsonText(c->fields.serial)},   {"not_before", IsoTime(c->notBefore)},
                {"not_after", IsoTime(c->notAfter)},      {"days_left", c->daysLeft}};
        keys.push_back({{"key", KeyName(key.spec)},
                        {"algorithm", key.algorithm ? JsonText(*key.algorithm) : nlohmann::json()},
                        {"exportable", Optional(key.exportable)},
                        {"certificate", certificate}});
    }
    return {{"provider", JsonText(entry.provider->name)},
            {"provider_type", entry.provider->type},
            {"owner", OwnerName(entry.machine)},
            {"container", JsonText(entry.name)},
            {"unique_name", JsonText(entry.unique)},
            {"keys", keys},
            {"error", entry.error ? JsonText(ErrorLine(entry.error)) : nlohmann::json()}};
}

// A CSV field, quoted when it has to be.
std::wstring Csv(const std::wstring& field) {
    if (field.find_first_of(L",\"\r\n") == std::wstring::npos) return field;
    std::wstring quoted = L"\"";
    for (wchar_t c : field) {
        if (c == L'"') quoted += L'"';
        quoted += c;
    }
    return quoted + L"\"";
}

std::wstring Widen(const std::string& text) {
    return std::wstring(text.begin(), text.end());
}

// One line per key; a container without keys, or unread, still has its line.
std::wstring CsvLines(const ContainerEntry& entry) {
    std::wstring head = Csv(entry.provider->name) + L"," + std::to_wstring(entry.provider->type) +
                        L"," + Widen(OwnerName(entry.machine)) + L"," + Csv(entry.name) + L"," +
                        Csv(entry.unique) + L",";
    const std::wstring error = entry.error ? Csv(ErrorLine(entry.error)) : std::wstring();
    if (entry.keys.empty()) return head + L",,,,,,,,," + error + L"\r\n";
    std::wstring lines;
    for (const KeyEntry& key : entry.keys) {
        std::wstring line = head + Widen(KeyName(key.spec)) + L"," +
                            Csv(key.algorithm.value_or(L"")) + L"," +
                            (key.exportable ? (*key.exportable ? L"true" : L"false") : L"") + L",";
        if (const auto& c = key.certificate)
            line += Csv(c->fields.subject) + L"," + Csv(c->fields.issuer) + L"," +
                    Csv(c->fields.serial) + L"," + Widen(IsoTime(c->notBefore)) + L"," +
                    Widen(IsoTime(c->notAfter)) + L"," + std::to_wstring(c->daysLeft) + L",";
        else
            line += L",,,,,,";
        lines += line + error + L"\r\n";
    }
    return lines;
}

void TextRows(const ContainerEntry& entry, std::vector<applet::ReportRow>& rows) {
    using applet::LoadStringLang;
    rows.emplace_back(LoadStringLang(IDS_CONTAINER_HEADER), entry.name);
    rows.emplace_back(LoadStringLang(IDS_ADMIN_PROVIDER), entry.provider->name);
    rows.emplace_back(LoadStringLang(IDS_ADMIN_OWNER), OwnerText(entry.machine));
    if (!entry.unique.empty())
        rows.emplace_back(LoadStringLang(IDS_CHECK_UNIQUE_NAME), entry.unique);
    if (entry.error) rows.emplace_back(LoadStringLang(IDS_ADMIN_ERROR), ErrorLine(entry.error));
    for (const KeyEntry& key : entry.keys) {
        rows.emplace_back(LoadStringLang(key.spec == AT_SIGNATURE ? IDS_CHECK_SIGNATURE_KEY
                                                                  : IDS_CHECK_EXCHANGE_KEY),
                          LoadStringLang(IDS_CHECK_AVAILABLE));
        if (key.algorithm) rows.emplace_back(LoadStringLang(IDS_CHECK_ALGORITHM), *key.algorithm);
        if (key.exportable)
            rows.emplace_back(
                LoadStringLang(IDS_CHECK_KEY_EXPORT),
                LoadStringLang(*key.exportable ? IDS_CHECK_ALLOWED : IDS_CHECK_DISALLOWED));
        const auto& c = key.certificate;
        if (!c) {
            rows.emplace_back(LoadStringLang(IDS_CHECK_CERT_IN_CONTAINER),
                              LoadStringLang(IDS_CHECK_NOT_AVAILABLE));
            continue;
        }
        rows.emplace_back(LoadStringLang(IDS_CERT_SUBJECT), c->fields.subject);
        rows.emplace_back(LoadStringLang(IDS_CERT_ISSUER), c->fields.issuer);
        rows.emplace_back(LoadStringLang(IDS_CERT_SERIAL), c->fields.serial);
        rows.emplace_back(LoadStringLang(IDS_CERT_VALID_FROM), c->fields.validFrom);
        rows.emplace_back(LoadStringLang(IDS_CERT_VALID_TO), c->fields.validTo);
        rows.emplace_back(LoadStringLang(IDS_ADMIN_DAYS_LEFT), std::to_wstring(c->daysLeft));
    }
}

}  // namespace

int RunList(const Arguments& arguments, const std::vector<Provider>& providers) {
    std::vector<ContainerEntry> entries;
    {
        Progress progress;
        for (const Provider& provider : providers) {
            for (bool machine : {false, true}) {
                if (!(machine ? arguments.machine : arguments.user)) continue;
                std::vector<std::wstring> names;
                const applet::ContainerListing listing = applet::ListContainers(
                    provider.name, provider.type, machine, [&](const std::wstring& name) {
                        names.push_back(name);
                        return true;
                    });
                if (listing.error) {
                    ContainerEntry unlisted;
                    unlisted.provider = &provider;
                    unlisted.machine = machine;
                    unlisted.error = listing.error;
                    entries.push_back(std::move(unlisted));
                }
                for (const std::wstring& name : names) {
                    progress.Show(applet::FormatStringId(IDS_ADMIN_READING, name));
                    ContainerEntry entry;
                    entry.provider = &provider;
                    entry.machine = machine;
                    entry.name = name;
                    ReadContainer(entry);
                    if (!arguments.expiringDays || Expiring(entry, *arguments.expiringDays))
                        entries.push_back(std::move(entry));
                }
            }
        }
    }
    size_t unread = 0;
    for (const ContainerEntry& entry : entries)
        if (entry.error) ++unread;

    if (arguments.format == Format::kJson) {
        nlohmann::json results = nlohmann::json::array();
        for (const ContainerEntry& entry : entries) results.push_back(Json(entry));
        WriteJson({{"command", "list"},
                   {"results", results},
                   {"summary", {{"containers", entries.size()}, {"errors", unread}}}});
    } else if (arguments.format == Format::kCsv) {
        std::wstring text =
            L"provider,provider_type,owner,container,unique_name,key,algorithm,exportable,"
            L"subject,issuer,serial,not_before,not_after,days_left,error\r\n";
        for (const ContainerEntry& entry : entries) text += CsvLines(entry);
        WriteOutUtf8(Utf8(text));
    } else {
        std::vector<applet::ReportRow> rows;
        for (const ContainerEntry& entry : entries) TextRows(entry, rows);
        WriteOut(applet::ReportText(rows) +
                 applet::FormatStringId(IDS_ADMIN_LIST_SUMMARY, std::to_wstring(entries.size()),
                                        std::to_wstring(unread)) +
                 L"\r\n");
    }
    return unread ? kExitFailed : kExitOk;
}

}  // namespace admin
