// The .trc3 reader and printer over any bytes, both ways of printing.
#include <sstream>

#include "fuzz_input.h"
#include "trace_printer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const trc3::TraceFile file =
        trc3::ReadTraceFile(std::string_view(reinterpret_cast<const char*>(data), size));
    for (const bool flat : {false, true}) {
        std::ostringstream out;
        trc3::PrintTraceFile(file, trc3::PrintOptions{flat}, out);
    }
    return 0;
}
