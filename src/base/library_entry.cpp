// The library's static objects and its entry. The objects are defined here,
// in one file and in this order, so that they come up in this order when the
// library is loaded and go in the reverse order when it is unloaded: tracing
// is gone before the tables it might be asked to report on.
#include "aggregator/lib_aggregator.h"
#include "liveness/spoof_detector.h"
#include "platform/module_path.h"
#include "platform/process_marker.h"
#include "shim/fpapi_shim.h"
#include "trace/trace_statics.h"

namespace {

// A name that exists for as long as the library is loaded in this process.
class process_marker_t {
  public:
    process_marker_t() : socket_(platform::create_process_marker()) {}
    virtual ~process_marker_t() {
        platform::close_process_marker(socket_);
        socket_ = -1;
    }

    process_marker_t(const process_marker_t&) = delete;
    process_marker_t& operator=(const process_marker_t&) = delete;

  private:
    int socket_;
};

}  // namespace

// 1. The context lock and the table of open readers.
lock_object_t CLibAggregator::context_lock_;
context_table_t CLibAggregator::context_table_;
// 2. The built-in backend.
CFpapiShim CFpapiShim::instance_;
// 3. The library lock.
lock_object_t CLibAggregator::library_lock_;
// 4. The liveness list.
handle_set_t CLibAggregator::liveness_list_;
// 5. The trace lock.
SlvTraceNS::trace_lock_t SlvTraceNS::trace_lock;
// 6. The process marker.
static process_marker_t process_marker;
// 7. The trace output holder.
SlvTraceNS::output_holder_t SlvTraceNS::output_holder;

// The library's entry: where tracing and the scorer find the library's own
// file.
__attribute__((constructor)) static void LibraryAttach() {
    platform::record_module_path(reinterpret_cast<const void*>(&LibraryAttach));
    SpoofDetector::module_path.store(platform::module_path());
}

__attribute__((destructor)) static void LibraryDetach() {
    SpoofDetector::module_path.store(nullptr);
}
