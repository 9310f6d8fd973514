// The simulators' configuration texts: the backend simulator's and the
// reader library simulator's parsers over the same text.
#include "config.h"
#include "fuzz_input.h"
#include "reader_config.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string error;
    sim::backend_config backend = sim::default_config("AMBER");
    if (sim::parse_config(text, "AMBER", backend, error) == !error.empty()) {
        std::abort();  // a failure always says why, a success never does
    }
    std::vector<tavlo_sim::reader_config> readers = tavlo_sim::default_readers();
    error.clear();
    if (tavlo_sim::parse_config(text, readers, error) == !error.empty()) {
        std::abort();
    }
    return 0;
}
