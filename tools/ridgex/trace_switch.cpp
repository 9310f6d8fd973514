#include "trace_switch.h"

#include <strings.h>

#include <sstream>

namespace {

constexpr const char* kStoreHeader = "Windows Registry Editor Version 5.00";

std::string Trim(const std::string& line) {
    const size_t first = line.find_first_not_of(" \t\r");
    const size_t last = line.find_last_not_of(" \t\r");
    return first == std::string::npos ? "" : line.substr(first, last - first + 1);
}

bool SameText(const std::string& a, const std::string& b) {
    return a.size() == b.size() && strcasecmp(a.c_str(), b.c_str()) == 0;
}

// The quoted name at the start of a value line, or "" for another line.
std::string ValueName(const std::string& line) {
    const std::string trimmed = Trim(line);
    const size_t end = trimmed.find("\"=");
    return trimmed.size() > 2 && trimmed[0] == '"' && end != std::string::npos
               ? trimmed.substr(1, end - 1)
               : "";
}

}  // namespace

std::string SetTracingValues(const std::string& text, const std::vector<value_line>& values) {
    const std::string newline = text.find("\r\n") != std::string::npos ? "\r\n" : "\n";
    std::vector<std::string> lines;
    std::istringstream in(text.empty() ? std::string(kStoreHeader) + "\n" : text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
    }
    std::vector<bool> placed(values.size(), false);
    std::vector<std::string> out;
    size_t first_section = 0;  // index in `out` behind the key's first section line
    bool in_key = false;
    bool continuation = false;  // the line before ended a hex list with '\'
    bool skipping = false;      // the lines of a value being replaced
    for (const std::string& line : lines) {
        const bool continued = continuation;
        continuation = !line.empty() && line.back() == '\\';
        if (continued) {
            if (!skipping) {
                out.push_back(line);
            }
            continue;
        }
        const std::string trimmed = Trim(line);
        if (!trimmed.empty() && trimmed[0] == '[') {
            in_key = SameText(trimmed, kTracingSection);
            out.push_back(line);
            first_section = in_key && first_section == 0 ? out.size() : first_section;
            continue;
        }
        size_t which = values.size();
        for (size_t i = 0; in_key && i < values.size(); ++i) {
            which = SameText(ValueName(line), values[i].first) ? i : which;
        }
        skipping = which != values.size();
        if (!skipping) {
            out.push_back(line);
        } else if (!placed[which]) {
            out.push_back(values[which].second);
            placed[which] = true;
        }
    }
    std::vector<std::string> missing;
    for (size_t i = 0; i < values.size(); ++i) {
        if (!placed[i]) {
            missing.push_back(values[i].second);
        }
    }
    if (first_section == 0 && !missing.empty()) {
        if (!out.empty() && !out.back().empty()) {
            out.emplace_back();
        }
        out.emplace_back(kTracingSection);
        first_section = out.size();
    }
    out.insert(out.begin() + static_cast<long>(first_section), missing.begin(), missing.end());
    std::string result;
    for (const std::string& line : out) {
        result += line + newline;
    }
    return result;
}
