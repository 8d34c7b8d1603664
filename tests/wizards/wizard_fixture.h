// What the wizard tests share: knobs of the testbed, containers, the providers' live handles.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace wiztest {

constexpr wchar_t kProductDir[] = L"C:\\Program Files\\Kelvane\\Vestra CSP\\";
constexpr wchar_t kDefaultProvider[] = L"Kelvane Vestra CSP";
constexpr wchar_t kSecondProvider[] = L"Kelvane Cloud CSP";
constexpr wchar_t kProvider71[] = L"Kelvane Vestra CSP (GOST 94)";
constexpr wchar_t kOutsideProvider[] = L"Vestra CSP Extra";
constexpr DWORD kType = 75;

// A registry value under HKLM (or HKCU) for the length of a scope; restores what was there.
class ScopedValue {
public:
    ScopedValue(HKEY hive, std::wstring key, std::wstring name, DWORD type, const void* data,
                DWORD size);
    ScopedValue(HKEY hive, std::wstring key, std::wstring name, DWORD value);
    ScopedValue(HKEY hive, std::wstring key, std::wstring name, const std::wstring& value);
    ~ScopedValue();
    ScopedValue(const ScopedValue&) = delete;
    ScopedValue& operator=(const ScopedValue&) = delete;

private:
    HKEY hive_;
    std::wstring key_, name_;
    std::optional<std::vector<BYTE>> saved_;
    DWORD savedType_ = 0;
};

bool ContainerExists(const std::wstring& name, bool machine);
void CreateContainer(const std::wstring& name, bool machine);
void DeleteContainer(const std::wstring& name, bool machine);

struct LiveHandles {
    LONG contexts = 0, keys = 0, hashes = 0;
};
LiveHandles Live();
DWORD CallCount(const wchar_t* name);

// A knob under the provider's failure key: the `nth` call of `entry` from now fails with
// `error`. Removed at the end of the scope if it has not fired.
class InjectedFailure {
public:
    InjectedFailure(const std::string& entry, DWORD nth, DWORD error);
    InjectedFailure(const std::wstring& entry, DWORD nth, DWORD error);
    ~InjectedFailure();
    InjectedFailure(const InjectedFailure&) = delete;
    InjectedFailure& operator=(const InjectedFailure&) = delete;

    // The call came and failed: the provider has removed the knob.
    bool Fired() const;

private:
    std::wstring key_;
};

// Whether the certificate is in the personal store of the user or the computer; `remove`
// takes it out. Removed through the registry: Wine does not write back a deletion from a
// system store.
bool InPersonalStore(PCCERT_CONTEXT certificate, bool machine, bool remove = false);
// The same for the system store `name` ("CA", "ROOT" ...).
bool InSystemStore(PCCERT_CONTEXT certificate, const std::wstring& name, bool machine,
                   bool remove = false);

// Whether the wizard's button `button` (driver::kNext ...) is shown and enabled.
bool Enabled(HWND wizard, int button);
// Waits until it is, then clicks it.
void Press(HWND wizard, int button);

// Opens the installed applet's sheet on page `page`, as the Control Panel does, and runs `script`
// on it from the driver's thread. A script whose Apply had the sheet built anew points `sheet` at
// the new one; the sheet it names when the script returns is cancelled.
void RunSheet(int page, const std::function<void(HWND& sheet)>& script);
// The same on the Service page.
void RunServicePage(const std::function<void(HWND sheet)>& script);

}  // namespace wiztest
