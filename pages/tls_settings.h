// The TLS implementation's parameters, kept in the configuration store under "\config\Parameters":
// eleven switches of the client and the server and the server's two limits. Read and written
// without a window, by the TLS Settings page and the settings profiles alike.
#pragma once

#include <windows.h>

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
extern const wchar_t kTlsMaxSessions[];
extern const wchar_t kTlsMaxCas[];

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

// One parameter's number: 0 with `fallback` when it is missing, else the store's error.
DWORD ReadTlsNumber(const wchar_t* name, DWORD fallback, DWORD& number);
TlsSettings ReadTlsSettings();

// Writes one switch or limit: 0 or the store's error.
DWORD WriteTlsSwitch(std::size_t index, bool on);
DWORD WriteTlsNumber(const wchar_t* name, DWORD number);
// After switch `index` was written: the client's legacy cipher suites switch re-registers
// "kvcng.dll" on Windows 6 and later. True when a registration was made, with what it answered;
// false when there was none to make (another switch, the module or an entry missing, or
// unregistering failed).
bool ReregisterCngAfterSwitch(std::size_t index, HRESULT& registered);

struct TlsSaveResult {
    bool saved = true;           // every write succeeded (or the CNG module's registration did)
    bool switchChanged = false;  // a switch was written: the provider needs a restart
};

// Writes what differs from the store. Every value is attempted even after a failure; a
// registration of the CNG module that was made decides `saved` on its own.
TlsSaveResult WriteTlsSettings(const TlsSettings& wanted);

// Whether the OCSP module is there: without it the OCSP switches can't be changed.
bool TlsOcspAvailable();

}  // namespace applet
