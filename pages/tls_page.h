// The TLS Settings page: the TLS client and server switches and the server's two limits, kept in
// the configuration store under "\config\Parameters".
#pragma once

#include "applet/page_base.h"

#include <array>
#include <cstddef>

namespace applet {

struct TlsSwitch {
    int control;
    const wchar_t* name;
};

// In the order in which the switches are read, compared and written.
constexpr std::size_t kTlsSwitchCount = 11;
extern const std::array<TlsSwitch, kTlsSwitchCount> kTlsSwitches;

// What the page edits. A switch is stored as a number, any nonzero one being on; a missing
// switch is off and a missing limit takes its default.
struct TlsSettings {
    static constexpr int kDefaultMaxSessions = 64;
    static constexpr int kDefaultMaxCas = 100;
    static constexpr int kMaxSessionsLimit = 65536;
    static constexpr int kMaxCasLimit = 999;

    std::array<bool, kTlsSwitchCount> switches{};
    int maxSessions = kDefaultMaxSessions;
    int maxCas = kDefaultMaxCas;

    bool operator==(const TlsSettings& other) const {
        return switches == other.switches && maxSessions == other.maxSessions &&
               maxCas == other.maxCas;
    }
    bool operator!=(const TlsSettings& other) const { return !(*this == other); }
};

TlsSettings ReadTlsSettings();

struct TlsSaveResult {
    bool saved = true;           // every write succeeded (or the CNG module's registration did)
    bool switchChanged = false;  // a switch was written: the provider needs a restart
};

// Writes what differs from the store. Every value is attempted even after a failure. The
// client's legacy cipher suites switch also re-registers "kvcng.dll" on Windows 6 and later; a
// registration that was attempted decides `saved` on its own.
TlsSaveResult WriteTlsSettings(const TlsSettings& wanted);

class CPropPageConfigTLS : public CPropPageConfigBase {
public:
    CPropPageConfigTLS();

    bool IsPageModified() override;
    int SavePage() override;
    void OnControlChanged() override;

protected:
    BOOL OnInitDialog() override;
    void DoDataExchange(ui::DataExchange& dx) override;
    bool OnCommand(UINT id, UINT code) override;

private:
    TlsSettings settings_;
    bool mayWrite_ = false;
    bool ocspAvailable_ = false;
    // Set while the page writes its own controls: their change notifications are not the user's.
    bool updating_ = false;
};

}  // namespace applet
