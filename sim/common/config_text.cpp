#include "config_text.h"

#include <sstream>

#include "platform/regular_file.h"

namespace sim {
namespace {

int digit_value(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return 99;
}

}  // namespace

std::string trim(const std::string& text) {
    const char* blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool parse_number(const std::string& text, uint32_t max, uint32_t& out) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const uint64_t base = hex ? 16 : 10;
    const size_t start = hex ? 2 : 0;
    if (text.size() <= start) {
        return false;
    }
    uint64_t value = 0;
    for (size_t i = start; i < text.size(); ++i) {
        const int digit = digit_value(text[i]);
        if (static_cast<uint64_t>(digit) >= base) {
            return false;
        }
        value = value * base + static_cast<uint64_t>(digit);
        if (value > max) {
            return false;
        }
    }
    out = static_cast<uint32_t>(value);
    return true;
}

bool parse_number_list(const std::string& text, std::vector<uint32_t>& out) {
    std::istringstream words(text);
    std::vector<uint32_t> values;
    std::string word;
    while (words >> word) {
        uint32_t value;
        if (!parse_number(word, UINT32_MAX, value)) {
            return false;
        }
        values.push_back(value);
    }
    if (values.empty()) {
        return false;
    }
    out = std::move(values);
    return true;
}

bool parse_bool(const std::string& text, bool& out) {
    if (text == "yes" || text == "true" || text == "on" || text == "1") {
        out = true;
        return true;
    }
    if (text == "no" || text == "false" || text == "off" || text == "0") {
        out = false;
        return true;
    }
    return false;
}

bool parse_version(const std::string& text, std::array<uint32_t, 3>& out) {
    std::array<uint32_t, 3> parts{};
    size_t start = 0;
    size_t part = 0;
    for (;;) {
        const size_t dot = text.find('.', start);
        const std::string piece = text.substr(start, dot == std::string::npos ? dot : dot - start);
        if (part == parts.size() || !parse_number(piece, INT32_MAX, parts[part])) {
            return false;
        }
        ++part;
        if (dot == std::string::npos) {
            break;
        }
        start = dot + 1;
    }
    if (part < 2) {
        return false;
    }
    out = parts;
    return true;
}

std::string walk_config(const std::string& text, const section_handler& on_section,
                        const setting_handler& on_setting) {
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        line = trim(line);
        if (line.empty() || line[0] == '#' || line[0] == ';') {
            continue;
        }
        std::string problem;
        if (line[0] == '[') {
            problem = on_section(line);
        } else if (const size_t equals = line.find('='); equals == std::string::npos) {
            problem = "expected key = value";
        } else {
            problem = on_setting(trim(line.substr(0, equals)), trim(line.substr(equals + 1)));
        }
        if (!problem.empty()) {
            return "line " + std::to_string(number) + ": " + problem;
        }
    }
    return {};
}

bool read_config_file(const char* path, std::string& text, std::string& error) {
    if (const char* problem =
            platform::read_regular_file(path, platform::max_config_bytes, &text)) {
        error = std::string(path) + ": cannot read: " + problem;
        return false;
    }
    return true;
}
}  // namespace sim
