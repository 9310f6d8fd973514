// Prints a read .trc3 file for a person: the head, what is damaged and
// where, and the records as one call tree per thread, with the time of each
// record taken from the date and time marks before it.
#pragma once

#include <ostream>

#include "trace_file_reader.h"

namespace trc3 {

struct PrintOptions {
    // One list in the order of the file, with each record's thread, instead
    // of one tree per thread.
    bool flat = false;
};

void PrintTraceFile(const TraceFile& file, const PrintOptions& options, std::ostream& out);

}  // namespace trc3
