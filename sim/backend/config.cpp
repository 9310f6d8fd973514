#include "config.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string_view>

#include "config_text.h"
#include "config_values.h"

namespace sim {
namespace {

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

// What a [reader] section starts from before its keys are applied.
reader_config reader_template(const std::string& slot, size_t index) {
    const std::string number = std::to_string(index);
    reader_config reader;
    reader.name = slot.empty() ? "sim-" + number : "sim-" + lower(slot) + "-" + number;
    reader.vendor = "Ridgex Simulated";
    reader.product = "Simulated Reader";
    reader.serial = "SIM-" + (slot.empty() ? "" : upper(slot) + "-") + number;
    reader.seed = static_cast<uint32_t>(index + 1);
    return reader;
}

bool set_sensor_code(reader_config& reader, const std::string& value) {
    uint32_t code;
    if (!parse_number(value, UINT32_MAX, code)) {
        return false;
    }
    reader.sensor_code = code;
    return true;
}

bool set_resolutions(reader_config& reader, const std::string& value) {
    return parse_number_list(value, reader.resolutions);
}

bool set_finger(reader_config& reader, const std::string& value) {
    static constexpr std::pair<std::string_view, finger_timing> names[] = {
        {"immediate", finger_timing::immediate},
        {"delay", finger_timing::delay},
        {"manual", finger_timing::manual},
    };
    for (const auto& [name, timing] : names) {
        if (value == name) {
            reader.finger = timing;
            return true;
        }
    }
    return false;
}

bool set_outcome(reader_config& reader, const std::string& value) {
    static constexpr std::pair<std::string_view, capture_outcome> names[] = {
        {"image", capture_outcome::image},           {"timeout", capture_outcome::timeout},
        {"reject", capture_outcome::reject},         {"fail", capture_outcome::fail},
        {"disconnect", capture_outcome::disconnect},
    };
    for (const auto& [name, outcome] : names) {
        if (value == name) {
            reader.outcome = outcome;
            return true;
        }
    }
    return false;
}

bool set_reject_quality(reader_config& reader, const std::string& value) {
    return parse_quality(value, reader.reject_quality);
}

bool set_fail_status(reader_config& reader, const std::string& value) {
    return parse_status(value, reader.fail_status);
}

constexpr setting<reader_config> reader_keys[] = {
    {"name", store_text<&reader_config::name>},
    {"vendor", store_text<&reader_config::vendor>},
    {"product", store_text<&reader_config::product>},
    {"serial", store_text<&reader_config::serial>},
    {"vid", store_number<&reader_config::vid>},
    {"pid", store_number<&reader_config::pid>},
    {"revision", store_number<&reader_config::revision>},
    {"version_words", store_number_array<&reader_config::version_words>},
    {"class_code", store_number<&reader_config::class_code>},
    {"type_code", store_number<&reader_config::type_code>},
    {"sensor_code", set_sensor_code},
    {"width", store_number<&reader_config::width>},
    {"height", store_number<&reader_config::height>},
    {"resolutions", set_resolutions},
    {"cap_word_1", store_number<&reader_config::cap_word_1>},
    {"can_stream", store_number<&reader_config::can_stream>},
    {"cap_word_3", store_number<&reader_config::cap_word_3>},
    {"cap_word_4", store_number<&reader_config::cap_word_4>},
    {"cap_word_5", store_number<&reader_config::cap_word_5>},
    {"cap_word_6", store_number<&reader_config::cap_word_6>},
    {"led_mask", store_number<&reader_config::led_mask>},
    {"cap_word_8", store_number<&reader_config::cap_word_8>},
    {"cap_word_9", store_number<&reader_config::cap_word_9>},
    {"can_proc_mode1", store_number<&reader_config::can_proc_mode1>},
    {"status_data", store_number<&reader_config::status_data>},
    {"exclusive", store_flag<&reader_config::exclusive>},
    {"finger", set_finger},
    {"finger_delay_ms", store_number<&reader_config::finger_delay_ms>},
    {"outcome", set_outcome},
    {"reject_quality", set_reject_quality},
    {"fail_status", set_fail_status},
    {"score", store_number<&reader_config::score>},
    {"seed", store_number<&reader_config::seed>},
    {"pad_images", store_flag<&reader_config::pad_images>},
    {"spoof", store_flag<&reader_config::spoof>},
};

bool apply_global_key(backend_config& config, const std::string& key, const std::string& value,
                      std::string& error) {
    bool good = false;
    if (key == "lib_version") {
        good = parse_version(value, config.lib_version);
    } else if (key == "api_version") {
        good = parse_version(value, config.api_version);
    } else if (key == "open_without_name") {
        good = value == "first" || value == "refuse";
        config.open_first_without_name = value != "refuse";
    } else if (key.starts_with("result.")) {
        const auto op = operation_by_name(key.substr(7));
        if (!op || *op == operation::closed_by_exit) {
            error = "unknown operation in '" + key + "'";
            return false;
        }
        uint32_t status;
        good = parse_status(value, status);
        if (good) {
            config.forced[static_cast<uint32_t>(*op)] = status;
        }
    } else {
        error = "unknown key '" + key + "'";
        return false;
    }
    if (!good) {
        error = "bad value '" + value + "' for " + key;
    }
    return good;
}

// Limits that keep a capture's image within what a test machine renders
// quickly.
std::string check_reader(const reader_config& reader) {
    if (reader.width < 16 || reader.width > 4096 || reader.height < 16 || reader.height > 4096) {
        return "width and height must be 16 to 4096";
    }
    for (uint32_t dpi : reader.resolutions) {
        if (dpi < 100 || dpi > 4000) {
            return "resolutions must be 100 to 4000";
        }
    }
    return {};
}

}  // namespace

backend_config default_config(const std::string& slot) {
    backend_config config;

    reader_config optical = reader_template(slot, 0);
    optical.product = "Simulated Optical Reader";
    config.readers.push_back(optical);

    reader_config capacitive = reader_template(slot, 1);
    capacitive.product = "Simulated Capacitive Reader";
    capacitive.vid = 0x147E;
    capacitive.pid = 0x2016;
    capacitive.sensor_code = 0x66000026;
    capacitive.width = 300;
    capacitive.height = 400;
    capacitive.resolutions = {500, 1000};
    capacitive.led_mask = 0x3;
    config.readers.push_back(capacitive);
    return config;
}

bool parse_config(const std::string& text, const std::string& slot, backend_config& config,
                  std::string& error) {
    backend_config parsed = default_config(slot);
    bool own_readers = false;
    const auto on_section = [&](const std::string& line) -> std::string {
        if (line != "[reader]") {
            return "unknown section " + line;
        }
        if (!own_readers) {
            parsed.readers.clear();
            own_readers = true;
        }
        if (parsed.readers.size() == max_readers) {
            return "more than " + std::to_string(max_readers) + " readers";
        }
        parsed.readers.push_back(reader_template(slot, parsed.readers.size()));
        return {};
    };
    const auto on_setting = [&](const std::string& key, const std::string& value) {
        std::string problem;
        if (!own_readers) {
            apply_global_key(parsed, key, value, problem);
        } else {
            problem = apply_setting(reader_keys, "reader", parsed.readers.back(), key, value);
            if (problem.empty()) {
                problem = check_reader(parsed.readers.back());
            }
        }
        return problem;
    };
    error = walk_config(text, on_section, on_setting);
    if (!error.empty()) {
        return false;
    }
    config = std::move(parsed);
    return true;
}

bool load_config(const std::string& slot, backend_config& config, std::string& error) {
    const char* path = nullptr;
    if (!slot.empty()) {
        path = std::getenv(("RIDGEX_SIM_CONFIG_" + upper(slot)).c_str());
    }
    if (path == nullptr || *path == '\0') {
        path = std::getenv("RIDGEX_SIM_CONFIG");
    }
    if (path == nullptr || *path == '\0') {
        config = default_config(slot);
        return true;
    }
    std::string text;
    if (!read_config_file(path, text, error)) {
        return false;
    }
    if (!parse_config(text, slot, config, error)) {
        error = std::string(path) + ": " + error;
        return false;
    }
    return true;
}

}  // namespace sim
