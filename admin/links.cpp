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

namespace admin {

namespace {

enum class Status { kOk, kMissing, kMismatch, kError };
enum class Repair { kNone, kRelinked, kWouldRelink, kNotFound };

struct Link {
    std::wstring container, provider;
    DWORD type = 0, spec = 0;
};

struct LinkEntry {
    bool machine = false;
    applet::CertificateFields fields;
    std::wstring thumbprint;
    Link link;
    Status status = Status::kOk;
    DWORD error = 0;
    Repair repair = Repair::kNone;
    Link relink;  // where the repair found the key
};

const char* StatusName(Status status) {
    switch (status) {
        case Status::kOk:
            return "ok";
        case Status::kMissing:
            return "missing";
        case Status::kMismatch:
            return "mismatch";
        case Status::kError:
            break;
    }
    return "error";
}

const char* RepairName(Repair repair) {
    switch (repair) {
        case Repair::kRelinked:
            return "relinked";
        case Repair::kWouldRelink:
            return "would_relink";
        case Repair::kNotFound:
            return "not_found";
        case Repair::kNone:
            break;
    }
    return "";
}

const char* KeyName(DWORD spec) {
    return spec == AT_SIGNATURE ? "signature" : "exchange";
}

bool Broken(const LinkEntry& entry) {
    return (entry.status == Status::kMissing || entry.status == Status::kMismatch) &&
           entry.repair != Repair::kRelinked;
}

std::wstring Thumbprint(PCCERT_CONTEXT certificate) {
    BYTE hash[20];
    DWORD size = sizeof(hash);
    std::wstring text;
    if (::CertGetCertificateContextProperty(certificate, CERT_SHA1_HASH_PROP_ID, hash, &size))
        for (DWORD i = 0; i < size; ++i) text += ui::Printf(L"%02X", hash[i]);
    return text;
}

// Whether the link's container opens and its key is the certificate's.
void CheckLink(PCCERT_CONTEXT certificate, LinkEntry& entry) {
    ui::UniqueCryptProv container;
    if (!::CryptAcquireContextW(container.put(), entry.link.container.c_str(),
                                entry.link.provider.c_str(), entry.link.type,
                                entry.machine ? CRYPT_MACHINE_KEYSET : 0)) {
        entry.error = ::GetLastError();
        entry.status =
            entry.error == static_cast<DWORD>(NTE_BAD_KEYSET) ? Status::kMissing : Status::kError;
        return;
    }
    const std::optional<bool> matches =
        applet::KeyMatches(container.get(), entry.link.spec, certificate);
    if (matches) {
        entry.status = *matches ? Status::kOk : Status::kMismatch;
        return;
    }
    // The container lacks the key the link names: it is not the certificate's.
    entry.error = ::GetLastError();
    entry.status =
        entry.error == static_cast<DWORD>(NTE_NO_KEY) ? Status::kMismatch : Status::kError;
}

class SearchShown : public applet::SearchProgress {
public:
    bool Step(int, int, int, const std::wstring& name) override {
        progress_.Show(applet::FormatStringId(IDS_ADMIN_SEARCHING, name));
        return true;
    }

private:
    Progress progress_;
};

// Finds the container that holds the certificate's key, opens it again and matches it before
// anything is written: the link written is the one just verified.
void RepairLink(PCCERT_CONTEXT certificate, const std::vector<Provider>& providers, bool dryRun,
                LinkEntry& entry) {
    std::vector<applet::SearchProvider> searched;
    for (const Provider& provider : providers) searched.push_back({provider.name, provider.type});
    applet::SearchHit hit;
    {
        SearchShown progress;
        hit = applet::FindContainerOfCertificate(searched, entry.machine, certificate, progress);
    }
    entry.repair = Repair::kNotFound;
    if (hit.provider < 0) return;
    const Provider& provider = providers[hit.provider];
    const DWORD flags = entry.machine ? CRYPT_MACHINE_KEYSET : 0;
    ui::UniqueCryptProv container;
    ui::UniqueCryptKey key;
    applet::KeyProvRecord record;
    DWORD spec = 0;
    if (!::CryptAcquireContextW(container.put(), hit.container.c_str(), provider.name.c_str(),
                                provider.type, flags) ||
        !(spec = applet::MatchContainerKey(container.get(), certificate)) ||
        !::CryptGetUserKey(container.get(), spec, key.put()) ||
        !record.Read(container.get(), flags, key.get())) {
        // The key the search found does not hold up: nothing is written.
        entry.repair = Repair::kNone;
        entry.status = Status::kError;
        entry.error = ::GetLastError() ? ::GetLastError() : static_cast<DWORD>(NTE_FAIL);
        return;
    }
    entry.relink = {record.Info()->pwszContainerName, provider.name, provider.type, spec};
    if (dryRun) {
        entry.repair = Repair::kWouldRelink;
        return;
    }
    if (!::CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0,
                                             record.Info())) {
        entry.repair = Repair::kNone;
        entry.status = Status::kError;
        entry.error = ::GetLastError();
        return;
    }
    entry.repair = Repair::kRelinked;
}

// The certificates of the owner's personal store that link to a product provider; each checked
// and, when asked, repaired. False when the store does not open.
bool CheckStore(const Arguments& arguments, const std::vector<Provider>& providers, bool machine,
                std::vector<LinkEntry>& entries) {
    const bool write = arguments.repair && !arguments.dryRun;
    // The owner's own store in the registry: a system store may add certificates kept elsewhere.
    ui::UniqueCertStore store(::CertOpenStore(
        CERT_STORE_PROV_SYSTEM_REGISTRY_W, 0, 0,
        (machine ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER) |
            CERT_STORE_OPEN_EXISTING_FLAG | (write ? 0 : CERT_STORE_READONLY_FLAG),
        L"My"));
    if (!store) {
        const DWORD error = ::GetLastError();
        // A store nobody has written to yet holds nothing.
        if (error == ERROR_FILE_NOT_FOUND) return true;
        WriteError(
            applet::FormatStringId(IDS_ADMIN_STORE_FAILED, OwnerText(machine), ErrorLine(error)));
        return false;
    }
    // Every certificate first, then the checks: a repair writes into the store being read.
    std::vector<ui::UniqueCertContext> certificates;
    // The enumeration frees the context it goes on from.
    for (PCCERT_CONTEXT next = nullptr; (next = ::CertEnumCertificatesInStore(store.get(), next));)
        certificates.emplace_back(::CertDuplicateCertificateContext(next));
    bool repaired = false;
    for (const ui::UniqueCertContext& certificate : certificates) {
        std::vector<BYTE> data;
        if (!applet::ReadSized(
                [&](BYTE* buffer, DWORD* size) {
                    return ::CertGetCertificateContextProperty(certificate.get(),
                                                               CERT_KEY_PROV_INFO_PROP_ID, buffer,
                                                               size) != FALSE;
                },
                data))
            continue;
        const auto* info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(data.data());
        const std::wstring provider = info->pwszProvName ? info->pwszProvName : L"";
        bool ours = false;
        for (const Provider& candidate : providers) ours = ours || candidate.name == provider;
        if (!ours) continue;

        LinkEntry entry;
        entry.machine = machine;
        entry.fields = applet::ReadCertificateFields(certificate.get());
        entry.thumbprint = Thumbprint(certificate.get());
        entry.link = {info->pwszContainerName ? info->pwszContainerName : L"", provider,
                      info->dwProvType, info->dwKeySpec};
        CheckLink(certificate.get(), entry);
        if (arguments.repair && entry.status != Status::kOk && entry.status != Status::kError)
            RepairLink(certificate.get(), providers, arguments.dryRun, entry);
        repaired = repaired || entry.repair == Repair::kRelinked;
        entries.push_back(std::move(entry));
    }
    // Forced: Wine writes a registry store back only after a certificate was added, not after a
    // property of one changed.
    if (repaired && !::CertControlStore(store.get(), CERT_STORE_CTRL_COMMIT_FORCE_FLAG,
                                        CERT_STORE_CTRL_COMMIT, nullptr)) {
        const DWORD error = ::GetLastError();
        for (LinkEntry& entry : entries)
            if (entry.machine == machine && entry.repair == Repair::kRelinked) {
                entry.repair = Repair::kNone;
                entry.status = Status::kError;
                entry.error = error;
            }
    }
    return true;
}

nlohmann::json Json(const Link& link) {
    return {{"provider", JsonText(link.provider)},
            {"provider_type", link.type},
            {"container", JsonText(link.container)},
            {"key", KeyName(link.spec)}};
}

nlohmann::json Json(const LinkEntry& entry) {
    nlohmann::json repair;
    if (entry.repair != Repair::kNone) {
        repair = {{"action", RepairName(entry.repair)}};
        if (entry.repair != Repair::kNotFound) repair["link"] = Json(entry.relink);
    }
    return {{"owner", OwnerName(entry.machine)},
            {"subject", JsonText(entry.fields.subject)},
            {"issuer", JsonText(entry.fields.issuer)},
            {"serial", JsonText(entry.fields.serial)},
            {"thumbprint", JsonText(entry.thumbprint)},
            {"link", Json(entry.link)},
            {"status", StatusName(entry.status)},
            {"error",
             entry.status == Status::kError ? JsonText(ErrorLine(entry.error)) : nlohmann::json()},
            {"repair", repair}};
}

void TextRows(const LinkEntry& entry, std::vector<applet::ReportRow>& rows) {
    using applet::LoadStringLang;
    rows.emplace_back(LoadStringLang(IDS_ADMIN_CERTIFICATE), entry.fields.name);
    rows.emplace_back(LoadStringLang(IDS_CERT_SUBJECT), entry.fields.subject);
    rows.emplace_back(LoadStringLang(IDS_CERT_SERIAL), entry.fields.serial);
    rows.emplace_back(LoadStringLang(IDS_ADMIN_OWNER), OwnerText(entry.machine));
    rows.emplace_back(LoadStringLang(IDS_ADMIN_PROVIDER), entry.link.provider);
    static const UINT kStatusText[] = {IDS_ADMIN_LINK_OK, IDS_ADMIN_LINK_MISSING,
                                       IDS_ADMIN_LINK_MISMATCH, IDS_ADMIN_LINK_ERROR};
    rows.emplace_back(LoadStringLang(IDS_ADMIN_LINK),
                      L"'" + entry.link.container + L"': " +
                          LoadStringLang(kStatusText[static_cast<int>(entry.status)]));
    if (entry.status == Status::kError)
        rows.emplace_back(LoadStringLang(IDS_ADMIN_ERROR), ErrorLine(entry.error));
    const std::wstring where = entry.relink.container;
    const std::wstring key = LoadStringLang(
        entry.relink.spec == AT_SIGNATURE ? IDS_INSTALL_SIGNATURE : IDS_INSTALL_EXCHANGE);
    if (entry.repair == Repair::kRelinked)
        rows.emplace_back(LoadStringLang(IDS_ADMIN_REPAIR),
                          applet::FormatStringId(IDS_ADMIN_REPAIRED, where, key));
    else if (entry.repair == Repair::kWouldRelink)
        rows.emplace_back(LoadStringLang(IDS_ADMIN_REPAIR),
                          applet::FormatStringId(IDS_ADMIN_WOULD_REPAIR, where, key));
    else if (entry.repair == Repair::kNotFound)
        rows.emplace_back(LoadStringLang(IDS_ADMIN_REPAIR), LoadStringLang(IDS_ADMIN_NOT_FOUND));
}

}  // namespace

int RunLinks(const Arguments& arguments, const std::vector<Provider>& providers) {
    std::vector<LinkEntry> entries;
    for (bool machine : {false, true}) {
        if (!(machine ? arguments.machine : arguments.user)) continue;
        if (!CheckStore(arguments, providers, machine, entries)) return kExitError;
    }
    size_t ok = 0, broken = 0, repaired = 0, errors = 0;
    for (const LinkEntry& entry : entries) {
        ok += entry.status == Status::kOk;
        broken += Broken(entry);
        repaired += entry.repair == Repair::kRelinked;
        errors += entry.status == Status::kError;
    }
    if (arguments.format == Format::kJson) {
        nlohmann::json results = nlohmann::json::array();
        for (const LinkEntry& entry : entries) results.push_back(Json(entry));
        WriteJson({{"command", "links"},
                   {"results", results},
                   {"summary",
                    {{"links", entries.size()},
                     {"ok", ok},
                     {"broken", broken},
                     {"repaired", repaired},
                     {"errors", errors},
                     {"dry_run", arguments.dryRun}}}});
    } else {
        std::vector<applet::ReportRow> rows;
        for (const LinkEntry& entry : entries) TextRows(entry, rows);
        WriteOut(applet::ReportText(rows) +
                 ui::FormatInserts(applet::LoadStringLang(IDS_ADMIN_LINKS_SUMMARY),
                                   {std::to_wstring(entries.size()), std::to_wstring(ok),
                                    std::to_wstring(broken), std::to_wstring(repaired)}) +
                 L"\r\n");
    }
    if (errors) return kExitError;
    return broken ? kExitFailed : kExitOk;
}

}  // namespace admin
