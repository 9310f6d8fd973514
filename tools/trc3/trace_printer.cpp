#include "trace_printer.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "trace/trace_record.h"

namespace trc3 {
namespace {

using namespace SlvTraceNS;

constexpr const char* kUnknownTime = "??:??:??.???";

// A record with the date and time of the marks before it.
struct Timed {
    const Record* record;
    std::string date;  // "MM/DD/YY", or empty before the first date mark
    std::string time;  // "HH:MM:SS.mmm", or empty before the first time mark
};

// Milliseconds of the day of a time mark.
long DayMs(const std::string& time) {
    if (time.size() != kTimeMarkText) {
        return -1;
    }
    return ((std::atol(time.substr(0, 2).c_str()) * 60 + std::atol(time.substr(3, 2).c_str())) *
                60 +
            std::atol(time.substr(6, 2).c_str())) *
               1000 +
           std::atol(time.substr(9, 3).c_str());
}

// Control bytes are shown as \xNN; everything else, UTF-8 included, as is.
std::string Printable(const std::string& text) {
    std::string out;
    for (unsigned char c : text) {
        if (c < 0x20 || c == 0x7F) {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

// "-2147024894 cannot load" also shows its code in hex, as codes are known.
std::string FailureText(const std::string& text) {
    char* end = nullptr;
    const long code = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str()) {
        return Printable(text);
    }
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", static_cast<uint32_t>(code));
    return std::string(hex) + " (" + text.substr(0, end - text.c_str()) + ")" +
           Printable(std::string(end));
}

std::vector<Timed> AttachTimes(const TraceFile& file) {
    std::vector<Timed> timed;
    std::string date;
    std::string time;
    for (const Record& record : file.records) {
        if (record.type == kDateMark) {
            date = record.text;
        } else if (record.type == kTimeMark) {
            time = record.text;
        } else {
            timed.push_back({&record, date, time});
        }
    }
    return timed;
}

// The call tree of one thread as its records come.
class ThreadTree {
  public:
    // The text of one record, indented to its depth.
    std::string Line(const Timed& entry) {
        const Record& record = *entry.record;
        switch (record.type) {
            case kScopeEntered: {
                std::string line = Indent() + "> " + Printable(record.text);
                open_.push_back({record.text, entry.date, entry.time});
                return line;
            }
            case kScopeLeft: {
                if (open_.empty()) {
                    return Indent() + "< (a scope entered before this trace began)";
                }
                const Open scope = open_.back();
                open_.pop_back();
                std::string line = Indent() + "< " + Printable(scope.name);
                const long begin = DayMs(scope.time);
                const long end = DayMs(entry.time);
                if (begin >= 0 && end >= begin && scope.date == entry.date) {
                    line += "  [" + std::to_string(end - begin) + " ms]";
                }
                return line;
            }
            case kMessage:
                return Indent() + "- " + Printable(record.text);
            case kFailure:
                return Indent() + "! " + FailureText(record.text);
            case kContinued:
                return Indent() + "= another process goes on with this file, " + record.text;
            default:
                return Indent() + "? " + Printable(record.text);
        }
    }

    // The scopes without an exit at the end of the file, outermost first.
    std::string StillOpen() const {
        std::string names;
        for (const Open& scope : open_) {
            names += (names.empty() ? "" : " > ") + Printable(scope.name);
        }
        return names;
    }

  private:
    struct Open {
        std::string name;
        std::string date;
        std::string time;
    };
    // Deeper than this, lines stay at this indentation and show their depth,
    // so that the output grows with the file, not with the square of its
    // nesting.
    static constexpr size_t kMaxIndentDepth = 32;
    std::string Indent() const {
        if (open_.size() <= kMaxIndentDepth) {
            return std::string(2 * open_.size(), ' ');
        }
        return std::string(2 * kMaxIndentDepth, ' ') + "[" + std::to_string(open_.size()) + "] ";
    }

    std::vector<Open> open_;
};

std::string TimeColumn(const Timed& entry) {
    return entry.time.empty() ? kUnknownTime : entry.time;
}

void PrintHeads(const TraceFile& file, std::ostream& out) {
    for (const Head& head : file.heads) {
        out << "Head at offset " << head.offset << ":\n";
        for (const std::string& line : head.lines) {
            if (line + "\r\n" != kTraceMagic && line != ".") {
                out << "  " << Printable(line) << "\n";
            }
        }
    }
}

void PrintProblems(const TraceFile& file, std::ostream& out) {
    if (file.problems.empty()) {
        return;
    }
    out << "\nDamage (" << file.problems.size() << "):\n";
    for (const Problem& problem : file.problems) {
        out << "  at offset " << problem.offset << ": " << problem.what << "\n";
    }
}

void PrintTrees(const std::vector<Timed>& timed, std::ostream& out) {
    std::vector<uint32_t> order;
    std::map<uint32_t, std::vector<const Timed*>> threads;
    for (const Timed& entry : timed) {
        auto& list = threads[entry.record->thread];
        if (list.empty()) {
            order.push_back(entry.record->thread);
        }
        list.push_back(&entry);
    }
    for (uint32_t thread : order) {
        const auto& list = threads[thread];
        out << "\nThread " << thread << " (" << list.size() << " records)\n";
        ThreadTree tree;
        std::string date;
        for (const Timed* entry : list) {
            if (entry->date != date && !entry->date.empty()) {
                date = entry->date;
                out << "  -- " << date << " --\n";
            }
            out << "  " << TimeColumn(*entry) << "  " << tree.Line(*entry) << "\n";
        }
        if (const std::string open = tree.StillOpen(); !open.empty()) {
            out << "  (no exit recorded for: " << open << ")\n";
        }
    }
}

void PrintFlat(const std::vector<Timed>& timed, std::ostream& out) {
    std::map<uint32_t, ThreadTree> trees;
    std::string date;
    out << "\n";
    for (const Timed& entry : timed) {
        if (entry.date != date && !entry.date.empty()) {
            date = entry.date;
            out << "-- " << date << " --\n";
        }
        char thread[16];
        std::snprintf(thread, sizeof thread, "%8u", entry.record->thread);
        out << TimeColumn(entry) << "  " << thread << "  "
            << trees[entry.record->thread].Line(entry) << "\n";
    }
}

}  // namespace

void PrintTraceFile(const TraceFile& file, const PrintOptions& options, std::ostream& out) {
    PrintHeads(file, out);
    PrintProblems(file, out);
    const std::vector<Timed> timed = AttachTimes(file);
    if (options.flat) {
        PrintFlat(timed, out);
    } else {
        PrintTrees(timed, out);
    }
}

}  // namespace trc3
