#include "shim/fpapi_shim.h"

#include "base/library_version.h"
#include "platform/clock.h"
#include "platform/service.h"
#include "shim/shim_failure.h"
#include "shim/tavlo_api.h"

using SlvTraceNS::CTraceScope;

// Starting from the tick count lets a later load of the library hand out
// other reader handles.
CFpapiShim::CFpapiShim() : next_handle_(platform::tick_count()) {}

// The library is being unloaded: what is left open goes without a stop of
// its acquisition and without putting the reader back.
CFpapiShim::~CFpapiShim() {
    for (uint64_t i = 0; i < readers_.count; ++i) {
        delete readers_.items[i];
    }
}

CFpapiShim& CFpapiShim::Instance() {
    return instance_;
}

bool CFpapiShim::Load(const char*) {
    CTraceScope scope("CFpapiShim::Load", 0);
    available_ = false;
    available_ = platform::service_installed("SLVHOST");
    return available_;
}

void CFpapiShim::Unload() {}

bool CFpapiShim::IsLoaded() {
    return available_;
}

ridgex_result CFpapiShim::Version(ridgex_version_info* ver) {
    CTraceScope scope("CFpapiShim::Version", 0);
    return FillLibraryVersion(ver);
}

ridgex_result CFpapiShim::Init() {
    CTraceScope scope("CFpapiShim::Init", 0);
    const auto status = static_cast<ridgex_result>(tavlo::Init());
    return status == RIDGEX_SUCCESS ? status : ShimFailure(scope, status);
}

ridgex_result CFpapiShim::Exit() {
    CTraceScope scope("CFpapiShim::Exit", 0);
    tavlo::Term();
    return RIDGEX_SUCCESS;
}
