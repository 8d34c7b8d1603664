#include "applet/module_state.h"

#include "ui/handles.h"
#include "ui/resources.h"

namespace applet {

namespace {

constexpr WORD kManifestId = 123;

HANDLE ModuleActivationContext() noexcept {
    // Never released: it serves every scope until the process ends.
    static HANDLE context = [] {
        ACTCTXW info{};
        info.cbSize = sizeof(info);
        info.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
        info.hModule = Module();
        info.lpResourceName = MAKEINTRESOURCEW(kManifestId);
        return ::CreateActCtxW(&info);
    }();
    return context;
}

}  // namespace

HMODULE Module() noexcept { return ui::ModuleOf(reinterpret_cast<const void*>(&Module)); }

std::wstring ModulePath() {
    wchar_t name[MAX_PATH];
    DWORD length = ::GetModuleFileNameW(Module(), name, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return {};
    DWORD needed = ::GetLongPathNameW(name, nullptr, 0);
    if (needed == 0) return std::wstring(name, length);
    std::wstring path(needed, L'\0');
    DWORD written = ::GetLongPathNameW(name, path.data(), needed);
    if (written == 0 || written >= needed) return std::wstring(name, length);
    path.resize(written);
    return path;
}

ActivationScope::ActivationScope() noexcept {
    HANDLE context = ModuleActivationContext();
    if (context != INVALID_HANDLE_VALUE) active_ = ::ActivateActCtx(context, &cookie_) != FALSE;
}

ActivationScope::~ActivationScope() {
    if (active_) {
        ui::LastErrorKeeper keep;
        ::DeactivateActCtx(0, cookie_);
    }
}

}  // namespace applet
