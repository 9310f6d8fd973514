// Reads a .trc3 file: its head lines, and every record deciphered. A file
// that was cut, recreated or overwritten by another process is read on past
// the damage, and each damaged place is reported with its offset.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trc3 {

struct Record {
    size_t offset = 0;  // of the record's head in the file
    uint32_t thread = 0;
    char type = 0;
    std::string text;  // deciphered
};

// One text head; a file holds more than one when another process recreated
// it while this one was still writing.
struct Head {
    size_t offset = 0;
    std::vector<std::string> lines;  // without CR LF, magic and end line included
    bool complete = false;           // ended by the line with a single dot
    size_t records_before = 0;       // records that stand before it in the file
};

struct Problem {
    size_t offset = 0;
    std::string what;
};

struct TraceFile {
    std::vector<Head> heads;
    std::vector<Record> records;
    std::vector<Problem> problems;
};

TraceFile ReadTraceFile(std::string_view bytes);

}  // namespace trc3
