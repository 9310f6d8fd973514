// Loading, checking and plain forwarding of a backend library.
#include <cstring>

#include "backend/backend.h"
#include "backend/reported.h"
#include "trace/trace_scope.h"

using SlvTraceNS::CTraceScope;

namespace {

// The oldest interface a backend library may speak.
constexpr int32_t kRequiredApiMajor = 1;
constexpr int32_t kRequiredApiMinor = 10;

bool ApiVersionAccepted(const ridgex_version_info& info) {
    const auto major = static_cast<int32_t>(info.api_major);
    const auto minor = static_cast<int32_t>(info.api_minor);
    return major > kRequiredApiMajor || (major == kRequiredApiMajor && minor >= kRequiredApiMinor);
}

}  // namespace

ridgex_dll_t::ridgex_dll_t() {
    Unload();
}

ridgex_dll_t::~ridgex_dll_t() {
    Unload();
}

bool ridgex_dll_t::Load(const char* name) {
    CTraceScope scope("ridgex_dll_t::Load", 0);
    scope.Message("library name: %s", name);
    scoped_lock_t guard(lock_);
    Unload();

    module_ = platform::load_library(name);
    if (module_ == nullptr) {
        scope.Message("!!! cannot load library");
        scope.Message("%s", platform::load_error());
        return false;
    }
    if (ResolveEntryPoints(scope)) {
        return true;
    }
    scope.Message("!!! library version is not compatible or api entry point is missing");
    Unload();
    return false;
}

// Runs under lock_ with module_ loaded. Stores each pointer as it is found;
// the caller unloads on false, so a half-resolved table never survives.
bool ridgex_dll_t::ResolveEntryPoints(CTraceScope& scope) {
    auto store = [this](const entry_point_name_t& entry) {
        void* address = platform::find_symbol(module_, entry.name);
        std::memcpy(reinterpret_cast<char*>(&entry_) + entry.offset, &address, sizeof(address));
        return address != nullptr;
    };

    if (!store(kEntryPointNames[0])) {
        return false;
    }
    ridgex_version_info info{};
    info.size = sizeof(info);
    if (entry_.version(&info) != RIDGEX_SUCCESS) {
        scope.Message("!!! cannot get library version");
    } else {
        scope.Message("library version: %d.%d, api version: %d.%d", info.lib_major, info.lib_minor,
                      info.api_major, info.api_minor);
        if (ApiVersionAccepted(info)) {
            for (const auto& entry : kEntryPointNames) {
                if (entry.required && !store(entry)) {
                    return false;
                }
            }
            for (const auto& entry : kEntryPointNames) {
                if (!entry.required) {
                    store(entry);
                }
            }
            return true;
        }
    }
    scope.Message("!!! api version is not compatible, required api version: %d.%d",
                  kRequiredApiMajor, kRequiredApiMinor);
    return false;
}

void ridgex_dll_t::Unload() {
    scoped_lock_t guard(lock_);
    if (module_ != nullptr) {
        platform::free_library(module_);
        module_ = nullptr;
    }
    entry_ = entry_points_t{};
}

bool ridgex_dll_t::IsLoaded() {
    scoped_lock_t guard(lock_);
    return entry_.version != nullptr;
}

ridgex_result ridgex_dll_t::Version(ridgex_version_info* ver) {
    CTraceScope scope("ridgex_dll_t::ridgex_version", 0);
    if (entry_.version == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    return Reported(scope, entry_.version(ver));
}

ridgex_result ridgex_dll_t::Init() {
    CTraceScope scope("ridgex_dll_t::ridgex_init", 0);
    if (entry_.init == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    return Reported(scope, entry_.init());
}

ridgex_result ridgex_dll_t::Exit() {
    CTraceScope scope("ridgex_dll_t::ridgex_exit", 0);
    scoped_lock_t guard(lock_);
    if (entry_.exit == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    return Reported(scope, entry_.exit());
}

ridgex_result ridgex_dll_t::QueryDevices(uint32_t* dev_cnt, ridgex_device_info* dev_infos) {
    CTraceScope scope("ridgex_dll_t::ridgex_query_devices", 0);
    if (entry_.query_devices == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    if (dev_cnt != nullptr) {
        scope.Message("dev_cnt: %d, dev_infos: %p", *dev_cnt, static_cast<void*>(dev_infos));
    } else {
        scope.Message("dev_cnt is NULL, dev_infos: %p", static_cast<void*>(dev_infos));
    }
    const ridgex_result status = entry_.query_devices(dev_cnt, dev_infos);
    if (dev_cnt != nullptr) {
        scope.Message("readers found: %d", *dev_cnt);
    }
    if (status != RIDGEX_E_MORE_DATA) {
        scope.Result("", status);
    }
    return status;
}

ridgex_result ridgex_dll_t::Open(const char* dev_name, ridgex_handle* pdev) {
    CTraceScope scope("ridgex_dll_t::ridgex_open", 0);
    if (entry_.open == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    if (dev_name != nullptr) {
        scope.Message("dev_name: %s, pdev: %p", dev_name, static_cast<void*>(pdev));
    } else {
        scope.Message("dev_name is NULL, pdev: %p", static_cast<void*>(pdev));
    }
    const ridgex_result status = entry_.open(dev_name, pdev);
    if (pdev != nullptr) {
        scope.Message("opened dev: %p", *pdev);
    }
    scope.Result("", status);
    return status;
}

ridgex_result ridgex_dll_t::OpenExt(const char* dev_name, uint32_t prio, ridgex_handle* pdev) {
    CTraceScope scope("ridgex_dll_t::ridgex_open_ext", 0);
    if (entry_.open_ext == nullptr) {
        // An older library opens at its own priority.
        return Reported(scope, Open(dev_name, pdev));
    }
    if (dev_name != nullptr) {
        scope.Message("dev_name: %s, prio: %d, pdev: %p", dev_name, prio, static_cast<void*>(pdev));
    } else {
        scope.Message("dev_name is NULL, prio: %d, pdev: %p", prio, static_cast<void*>(pdev));
    }
    const ridgex_result status = entry_.open_ext(dev_name, prio, pdev);
    if (pdev != nullptr) {
        scope.Message("opened dev: %p", *pdev);
    }
    scope.Result("", status);
    return status;
}

// The wrappers that take only a handle differ in nothing but their entry point
// and their scope's name.
#define RIDGEX_HANDLE_WRAPPER(Operation, member)               \
    ridgex_result ridgex_dll_t::Operation(ridgex_handle dev) { \
        CTraceScope scope("ridgex_dll_t::ridgex_" #member, 0); \
        if (entry_.member == nullptr) {                        \
            return RIDGEX_E_FAILURE;                           \
        }                                                      \
        scope.Message("dev: %p", dev);                         \
        return Reported(scope, entry_.member(dev));            \
    }

RIDGEX_HANDLE_WRAPPER(Close, close)
RIDGEX_HANDLE_WRAPPER(Cancel, cancel)
RIDGEX_HANDLE_WRAPPER(StartStream, start_stream)
RIDGEX_HANDLE_WRAPPER(StopStream, stop_stream)
RIDGEX_HANDLE_WRAPPER(Reset, reset)
RIDGEX_HANDLE_WRAPPER(Calibrate, calibrate)

#undef RIDGEX_HANDLE_WRAPPER

ridgex_result ridgex_dll_t::GetStatus(ridgex_handle dev, ridgex_device_status* dev_status) {
    CTraceScope scope("ridgex_dll_t::ridgex_get_device_status", 0);
    if (entry_.get_device_status == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    scope.Message("dev: %p, dev_status: %p", dev, static_cast<void*>(dev_status));
    const ridgex_result status = entry_.get_device_status(dev, dev_status);
    if (status == RIDGEX_SUCCESS && dev_status != nullptr) {
        scope.Message("status: %d, finger detected: %d", dev_status->status,
                      dev_status->finger_detected);
    }
    scope.Result("", status);
    return status;
}

ridgex_result ridgex_dll_t::GetCapabilities(ridgex_handle dev, ridgex_device_caps* dev_caps) {
    CTraceScope scope("ridgex_dll_t::ridgex_get_device_capabilities", 0);
    if (entry_.get_device_capabilities == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    scope.Message("dev: %p, dev_caps: %p", dev, static_cast<void*>(dev_caps));
    const ridgex_result status = entry_.get_device_capabilities(dev, dev_caps);
    if (status != RIDGEX_E_MORE_DATA) {
        scope.Result("", status);
    }
    return status;
}

ridgex_result ridgex_dll_t::LedConfig(ridgex_handle dev, uint32_t led_id, uint32_t led_mode,
                                      void* reserved) {
    CTraceScope scope("ridgex_dll_t::ridgex_led_config", 0);
    if (entry_.led_config == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    scope.Message("dev: %p", dev);
    return Reported(scope, entry_.led_config(dev, led_id, led_mode, reserved));
}

ridgex_result ridgex_dll_t::LedCtrl(ridgex_handle dev, uint32_t led_id, uint32_t led_cmd) {
    CTraceScope scope("ridgex_dll_t::ridgex_led_ctrl", 0);
    if (entry_.led_ctrl == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    scope.Message("dev: %p", dev);
    return Reported(scope, entry_.led_ctrl(dev, led_id, led_cmd));
}
