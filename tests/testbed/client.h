// Reaching the installed stand-in product from tests the way the applet does: the libraries are
// loaded from the paths the installer registered and bound by name; knobs are set for the length
// of a test and put back afterwards.
#pragma once

#include "testbed/knobs.h"
#include "testbed/libraries.h"
#include "ui/handles.h"

#include <windows.h>

#include <optional>
#include <string>

namespace testbed {

inline constexpr wchar_t kProductCode[] = L"{B4E93F27-6A15-4D8C-8E02-7A39C15D6E80}";

// The path the installer registered for `file` under the product's AppPath key; empty if none.
std::wstring InstalledPath(const wchar_t* file);

// One installed library, loaded by its registered path. A library that can't be loaded or a
// missing function fails the test (and leaves the function null).
class Library {
public:
    explicit Library(const wchar_t* file);
    HMODULE get() const { return module_.get(); }

    template <class F>
    F Bind(const char* name) const {
        return reinterpret_cast<F>(reinterpret_cast<void*>(Proc(name)));
    }

private:
    FARPROC Proc(const char* name) const;
    ui::UniqueHModule module_;
};

#define TESTBED_BIND(library, function) \
    decltype(&::function) function = (library).Bind<decltype(&::function)>(#function)

// kvsuprt.dll with every function the applet binds.
struct Support {
    Library library{L"kvsuprt.dll"};
    TESTBED_BIND(library, support_resource_string);
    TESTBED_BIND(library, support_resource_version_string);
    TESTBED_BIND(library, support_wnd_language_get);
    TESTBED_BIND(library, support_wnd_language_update);
    TESTBED_BIND(library, support_wnd_language_done);
    TESTBED_BIND(library, support_registry_get_string);
    TESTBED_BIND(library, support_registry_put_string);
    TESTBED_BIND(library, support_registry_get_long);
    TESTBED_BIND(library, support_registry_put_long);
    TESTBED_BIND(library, support_registry_get_bool);
    TESTBED_BIND(library, support_registry_put_bool);
    TESTBED_BIND(library, support_registry_put_section);
    TESTBED_BIND(library, support_registry_delete_param);
    TESTBED_BIND(library, support_registry_delete_section);
    TESTBED_BIND(library, support_registry_check_access);
    TESTBED_BIND(library, support_registry_search_open);
    TESTBED_BIND(library, support_registry_search_next);
    TESTBED_BIND(library, support_registry_search_close);
    TESTBED_BIND(library, support_registry_find);
    TESTBED_BIND(library, support_registry_value_long);
    TESTBED_BIND(library, support_registry_value_name);
    TESTBED_BIND(library, support_registry_value_free);
    TESTBED_BIND(library, supsys_register_all);
    TESTBED_BIND(library, supsys_unregister_all);
    TESTBED_BIND(library, supsys_find_open);
    TESTBED_BIND(library, supsys_find_next);
    TESTBED_BIND(library, supsys_find_close);
    TESTBED_BIND(library, supsys_nickname);
    TESTBED_BIND(library, supsys_connect_current);
    TESTBED_BIND(library, supsys_register_name);
    TESTBED_BIND(library, supsys_context_free);

    // A store text read the way the applet reads it: the length first, then the text.
    // The error code when either call fails.
    DWORD GetString(const std::wstring& path, std::wstring& text) const;
};

// Sets a knob (a value under HKLM\`key`) for the scope's lifetime; the previous value, or its
// absence, comes back afterwards.
class ScopedKnob {
public:
    ScopedKnob(const wchar_t* key, const std::wstring& name, DWORD value);
    ~ScopedKnob();
    ScopedKnob(const ScopedKnob&) = delete;
    ScopedKnob& operator=(const ScopedKnob&) = delete;

private:
    std::wstring key_;
    std::wstring name_;
    std::optional<DWORD> previous_;
};

// The prefix as a domain controller's for the scope's lifetime: its product type, and the KDC's
// key (created, and removed afterwards unless it was there). Programs started meanwhile see it.
class ScopedDomainController {
public:
    ScopedDomainController();
    ~ScopedDomainController();
    ScopedDomainController(const ScopedDomainController&) = delete;
    ScopedDomainController& operator=(const ScopedDomainController&) = delete;

private:
    std::wstring productType_;
    bool kdcExisted_ = false;
};

// A counter under knobs::kCalls.
DWORD CallCount(const wchar_t* name);

}  // namespace testbed
