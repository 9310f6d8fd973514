#include "liveness/spoof_detector.h"

#include <cstdio>
#include <cstring>

#include "liveness/nex_sdk.h"
#include "trace/trace_scope.h"

namespace {

constexpr uint16_t kVendors[] = {0x05BA, 0x147E};
constexpr uint16_t kPidOptical = 0x000E;
constexpr uint16_t kPidCapacitive = 0x2016;
constexpr uint32_t kSensorInfoSize = 48;
constexpr uint32_t kSensorCodeOffset = 32;
constexpr uint32_t kSensorTcss = 0x66000026;
constexpr uint32_t kSensorTcsc = 0x66080026;

// Texts longer than the room are cut, the same way wherever they are kept,
// so that a cut name still finds its own row.
void CopyText(char (&to)[SpoofDetector::kTextRoom], const char* from) {
    const size_t length = from != nullptr ? strnlen(from, sizeof(to) - 1) : 0;
    if (length != 0) {
        std::memcpy(to, from, length);
    }
    to[length] = '\0';
}

bool IsKnownVendor(uint16_t vid) {
    for (uint16_t known : kVendors) {
        if (vid == known) {
            return true;
        }
    }
    return false;
}

}  // namespace

SpoofDetector& SpoofDetector::Instance() {
    // Constant-initialised: usable from the library's first call, with no
    // guard and nothing to run at unload.
    static constinit SpoofDetector detector;
    return detector;
}

void SpoofDetector::updateDevicesInfo(const ridgex_device_info& info) {
    SlvTraceNS::CTraceScope scope("SpoofDetector::updateDevicesInfo", 0);
    scope.Message("device:%s vid: %d, pid: %d", info.name, info.vid, info.pid);
    char name[kTextRoom];
    CopyText(name, info.name);
    const uint64_t now = ++enumerations;
    for (int32_t i = 0; i < device_cnt; ++i) {
        device_row& row = devices[i];
        if (std::strcmp(row.name, name) == 0) {
            row.last_seen = now;
            // A zero in either means the backend did not know them this time.
            if (info.vid != 0 && info.pid != 0) {
                row.vid = info.vid;
                row.pid = info.pid;
                row.revision = info.revision;
            }
            return;
        }
    }
    int32_t index = device_cnt;
    if (device_cnt < kDeviceRows) {
        ++device_cnt;
    } else {
        // Rows are never removed, so a full table would shut every reader
        // plugged in later out of the check for the life of the process. The
        // row enumerated longest ago makes room instead: readers that are
        // still attached keep theirs, since each enumeration renews them.
        index = 0;
        for (int32_t i = 1; i < kDeviceRows; ++i) {
            if (devices[i].last_seen < devices[index].last_seen) {
                index = i;
            }
        }
        scope.Message("device table full, replacing %s", devices[index].name);
    }
    device_row& row = devices[index];
    std::memcpy(row.name, name, sizeof(row.name));
    row.vid = info.vid;
    row.pid = info.pid;
    row.revision = info.revision;
    row.last_seen = now;
}

void SpoofDetector::setCurrentName(const char* name) {
    CopyText(current_name, name);
}

bool SpoofDetector::isInitialized() const {
    return initialized.load(std::memory_order_acquire);
}

void SpoofDetector::WorkOutModelDir() {
    if (model_dir[0] != '\0') {
        return;
    }
    const char* file = module_path.load(std::memory_order_acquire);
    if (file == nullptr) {
        return;
    }
    const char* slash = std::strrchr(file, '/');
    const size_t length = slash != nullptr ? static_cast<size_t>(slash - file) : std::strlen(file);
    // A folder that does not fit stays unknown rather than being cut into
    // some other folder's name.
    if (length < sizeof(model_dir)) {
        std::memcpy(model_dir, file, length);
        model_dir[length] = '\0';
    }
}

const char* SpoofDetector::ChooseModel(AGGREGATOR_DEVICE_CONTEXT& context,
                                       SlvTraceNS::CTraceScope& scope) {
    const device_row* row = nullptr;
    for (int32_t i = 0; i < device_cnt && row == nullptr; ++i) {
        if (std::strcmp(devices[i].name, current_name) == 0) {
            row = &devices[i];
        }
    }
    if (row == nullptr) {
        return nullptr;
    }
    scope.Message("vid: %d, pid: %d", row->vid, row->pid);
    if (!IsKnownVendor(row->vid)) {
        return nullptr;
    }
    if (row->pid == kPidOptical) {
        return "nex_53ov_23.dat";
    }
    if (row->pid != kPidCapacitive || context.pBackend == nullptr) {
        return nullptr;
    }
    uint8_t sensor_info[kSensorInfoSize] = {};
    if (context.pBackend->GetParameter(context.handle, RIDGEX_PARMID_SENSOR_INFO, kSensorInfoSize,
                                       sensor_info) != RIDGEX_SUCCESS) {
        return nullptr;
    }
    uint32_t sensor_code;
    std::memcpy(&sensor_code, sensor_info + kSensorCodeOffset, sizeof(sensor_code));
    if (sensor_code == kSensorTcss) {
        return "model_2.3_tcss.dat";
    }
    if (sensor_code == kSensorTcsc) {
        return "model_2.3_tcsc.dat";
    }
    return nullptr;
}

ridgex_result SpoofDetector::init(AGGREGATOR_DEVICE_CONTEXT& context) {
    SlvTraceNS::CTraceScope scope("SpoofDetector::init", 0);
    WorkOutModelDir();
    const char* model_file = ChooseModel(context, scope);
    if (model_file == nullptr) {
        scope.Message("RIDGEX_PRECISE_INVAILD_DEVICE");
        return RIDGEX_E_NOT_IMPLEMENTED;
    }
    std::lock_guard guard(score_lock_);
    // The model is for a reader about to be listed.
    release_wanted_ = false;
    // The whole path goes to the scorer; only the record of it is cut.
    char path[2 * kTextRoom];
    std::snprintf(path, sizeof(path), "%s/%s", model_dir, model_file);
    nex_sdk::initialize(path);
    if (nex_sdk::error_query() != 0) {
        scope.Message("NexSdk_initialize() fail!");
        nex_sdk::destroy();
        return RIDGEX_E_SCORER_INIT;
    }
    nex_sdk::load_model(0);
    if (nex_sdk::error_query() != 0) {
        scope.Message("NexSdk_load_model() fail!");
        nex_sdk::destroy();
        return RIDGEX_E_MODEL;
    }
    CopyText(model_path, path);
    initialized.store(true, std::memory_order_release);
    return RIDGEX_SUCCESS;
}

ridgex_result SpoofDetector::destroy() {
    std::lock_guard guard(score_lock_);
    DestroyLocked();
    return RIDGEX_SUCCESS;
}

void SpoofDetector::Release() {
    release_wanted_ = true;
    ReleaseIfWanted();
}

void SpoofDetector::DestroyLocked() {
    SlvTraceNS::CTraceScope scope("SpoofDetector::destroy", 0);
    nex_sdk::destroy_model();
    nex_sdk::destroy();
    if (initialized.exchange(false, std::memory_order_acq_rel)) {
        model_path[0] = '\0';
    }
}
