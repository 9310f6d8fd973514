// trc3dump: shows what a .trc3 trace file holds, for the support engineer
// who reads what a customer sent.
//
//   trc3dump [--flat] FILE...
//
// Exit status: 0 when every file was read whole, 2 when a file is damaged
// (what could be read is shown, and where the damage is), 1 when a file
// cannot be read (a folder, a device, an unreadable or empty file) or the
// arguments are wrong.
#include <cstring>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

#include "platform/regular_file.h"
#include "trace_file_reader.h"
#include "trace_printer.h"

namespace {

void Usage() {
    std::cerr << "usage: trc3dump [--flat] FILE...\n"
                 "  Prints the head of each .trc3 file and its records deciphered, as one call\n"
                 "  tree per thread. --flat lists the records in the order of the file instead.\n";
}

}  // namespace

int main(int argc, char** argv) {
    trc3::PrintOptions options;
    std::vector<std::string> paths;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--flat") == 0) {
            options.flat = true;
        } else if (std::strcmp(argv[i], "--help") == 0 || argv[i][0] == '-') {
            Usage();
            return std::strcmp(argv[i], "--help") == 0 ? 0 : 1;
        } else {
            paths.push_back(argv[i]);
        }
    }
    if (paths.empty()) {
        Usage();
        return 1;
    }
    int status = 0;
    for (const std::string& path : paths) {
        std::string bytes;
        const char* problem =
            platform::read_regular_file(path.c_str(), std::numeric_limits<size_t>::max(), &bytes);
        if (problem != nullptr || bytes.empty()) {
            std::cerr << "trc3dump: cannot read " << path << ": "
                      << (problem != nullptr ? problem : "the file is empty") << "\n";
            status = 1;
            continue;
        }
        const trc3::TraceFile file = trc3::ReadTraceFile(bytes);
        std::cout << "=== " << path << " (" << bytes.size() << " bytes, " << file.records.size()
                  << " records) ===\n";
        trc3::PrintTraceFile(file, options, std::cout);
        std::cout << "\n";
        if (!file.problems.empty() && status == 0) {
            status = 2;
        }
    }
    return status;
}
