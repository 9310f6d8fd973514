// The .trc3 reader and printer over any bytes, both ways of printing.
#include <ostream>
#include <streambuf>

#include "fuzz_input.h"
#include "trace_printer.h"

namespace {

// Counts what is printed instead of keeping it.
struct counting_buffer : std::streambuf {
    size_t count = 0;
    int overflow(int c) override { return ++count, c; }
    std::streamsize xsputn(const char*, std::streamsize n) override { return count += n, n; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const trc3::TraceFile file =
        trc3::ReadTraceFile(std::string_view(reinterpret_cast<const char*>(data), size));
    for (const bool flat : {false, true}) {
        counting_buffer buffer;
        std::ostream out(&buffer);
        trc3::PrintTraceFile(file, trc3::PrintOptions{flat}, out);
    }
    return 0;
}
