// The twelve operations of the reader library and the test controls of
// tavlo_sim.h, with C linkage; nothing else leaves the file (exports.map).
#include "reader_library.h"
#include "records.h"

#define TAVLO_EXPORT extern "C" __attribute__((visibility("default")))

using tavlo_sim::library;

TAVLO_EXPORT int32_t TavloInit() {
    return library().init();
}

TAVLO_EXPORT int32_t TavloTerm() {
    return library().term();
}

TAVLO_EXPORT int32_t TavloEnumerateDevices(uint32_t* count, void** ids) {
    return library().enumerate(count, ids);
}

TAVLO_EXPORT int32_t TavloGetDeviceInfo(const uint8_t* id, void* info) {
    return library().device_info(id, info);
}

TAVLO_EXPORT int32_t TavloGetDeviceInfoEx(const uint8_t* id, const uint32_t* /*zero*/,
                                          uint32_t group, uint32_t selector, void** block) {
    return library().device_info_ex(id, group, selector, block);
}

TAVLO_EXPORT int32_t TavloGetDeviceParameter(const uint8_t* id, uint32_t parameter,
                                             tavlo::TavloParameter* value) {
    return library().get_parameter(id, parameter, value);
}

TAVLO_EXPORT int32_t TavloSetDeviceParameter(const uint8_t* id, uint32_t parameter,
                                             tavlo::TavloParameter* value) {
    return library().set_parameter(id, parameter, value);
}

TAVLO_EXPORT int32_t TavloCreateAcquisitionWithCallback(uint32_t priority, const uint8_t* id,
                                                        uint32_t four,
                                                        tavlo::TavloCallback callback,
                                                        void* context, uint32_t* acquisition) {
    return library().create(priority, id, four, callback, context, acquisition);
}

TAVLO_EXPORT int32_t TavloStartAcquisition(uint32_t acquisition) {
    return library().start(acquisition);
}

TAVLO_EXPORT int32_t TavloStopAcquisition(uint32_t acquisition) {
    return library().stop(acquisition);
}

TAVLO_EXPORT int32_t TavloDestroyAcquisition(uint32_t acquisition) {
    return library().destroy(acquisition);
}

TAVLO_EXPORT void TavloBufferFree(void* block) {
    library().buffer_free(block);
}

void tavlo_sim_set_init_status(int32_t status) {
    library().set_init_status(status);
}

uint32_t tavlo_sim_init_calls() {
    return library().init_calls();
}

uint32_t tavlo_sim_term_calls() {
    return library().term_calls();
}

void tavlo_sim_fail(const char* operation, int32_t code, uint32_t times) {
    library().fail(operation, code, times);
}

int32_t tavlo_sim_place_finger(int32_t reader) {
    return library().place_finger(reader);
}

int32_t tavlo_sim_report(int32_t reader, uint32_t group, uint32_t type, uint32_t param_count,
                         const uint32_t* ids, const uint32_t* values) {
    if (param_count > 4 || (param_count != 0 && (ids == nullptr || values == nullptr))) {
        return -1;
    }
    tavlo_sim::report message = tavlo_sim::event_report({}, group, type);
    for (uint32_t i = 0; i < param_count; ++i) {
        message.params.push_back({ids[i], values[i], false});
    }
    return library().send(reader, std::move(message));
}

int32_t tavlo_sim_report_image(int32_t reader, const void* bytes, uint32_t size) {
    if (bytes == nullptr && size != 0) {
        return -1;
    }
    const auto* first = static_cast<const uint8_t*>(bytes);
    return library().send(reader, tavlo_sim::image_report({}, {first, first + size}));
}

int32_t tavlo_sim_disconnect(int32_t reader) {
    if (reader < 0) {
        return -1;
    }
    return library().send(reader, tavlo_sim::event_report({}, 1, 102));
}

void tavlo_sim_flush() {
    library().flush();
}

uint32_t tavlo_sim_acquisition_priority(int32_t reader) {
    return library().acquisition_priority(reader);
}

uint32_t tavlo_sim_live_acquisitions() {
    return library().live_acquisitions();
}

uint32_t tavlo_sim_calls(const char* operation) {
    return library().calls(operation);
}

uint32_t tavlo_sim_parameter_calls() {
    return library().parameter_calls();
}

int32_t tavlo_sim_parameter_call_at(uint32_t index, tavlo_sim_parameter_call* call) {
    return library().parameter_call_at(index, call);
}

void tavlo_sim_clear_log() {
    library().clear_log();
}

const char* tavlo_sim_config_error() {
    return library().config_error();
}
