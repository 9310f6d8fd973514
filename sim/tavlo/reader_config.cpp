#include "reader_config.h"

#include <cstdlib>

#include "config_text.h"
#include "platform/guid.h"
#include "platform/utf16.h"

namespace tavlo_sim {
namespace {

// What a [reader] section starts from before its keys are applied. Ids
// differ only in their last byte, the reader's number from 1.
reader_config reader_template(size_t index) {
    reader_config reader;
    platform::guid_from_text("{7A5E1D00-4C2B-4F8E-9A31-5B6C7D8E9F00}", reader.id.data());
    reader.id[15] = static_cast<uint8_t>(index + 1);
    reader.vendor = "Ridgex Simulated";
    reader.product = "Simulated Tavlo Reader";
    reader.serial = "TAVLO-SIM-" + std::to_string(index);
    reader.seed = static_cast<uint32_t>(index + 1);
    return reader;
}

bool store_id(reader_config& reader, const std::string& value) {
    return platform::guid_from_text(value.c_str(), reader.id.data());
}

// Texts travel as UTF-16 in the info record, so they must be valid UTF-8.
template <auto field>
bool store_utf8(reader_config& reader, const std::string& value) {
    std::u16string wide;
    if (!platform::utf8_to_utf16(value, &wide)) {
        return false;
    }
    reader.*field = value;
    return true;
}

constexpr sim::setting<reader_config> reader_keys[] = {
    {"id", store_id},
    {"vendor", store_utf8<&reader_config::vendor>},
    {"product", store_utf8<&reader_config::product>},
    {"serial", store_utf8<&reader_config::serial>},
    {"vid", sim::store_number<&reader_config::vid>},
    {"pid", sim::store_number<&reader_config::pid>},
    {"revision", sim::store_number<&reader_config::revision>},
    {"class", sim::store_number<&reader_config::class_code>},
    {"type", sim::store_number<&reader_config::type_code>},
    {"version_words", sim::store_number_array<&reader_config::version_words>},
    {"width", sim::store_number<&reader_config::width>},
    {"height", sim::store_number<&reader_config::height>},
    {"resolution", sim::store_number<&reader_config::resolution>},
    {"image_width", sim::store_number<&reader_config::image_width>},
    {"image_height", sim::store_number<&reader_config::image_height>},
    {"cap_word_1", sim::store_number<&reader_config::cap_word_1>},
    {"cap_word_3", sim::store_number<&reader_config::cap_word_3>},
    {"cap_word_4", sim::store_number<&reader_config::cap_word_4>},
    {"cap_word_5", sim::store_number<&reader_config::cap_word_5>},
    {"cap_word_6", sim::store_number<&reader_config::cap_word_6>},
    {"cap_word_8", sim::store_number<&reader_config::cap_word_8>},
    {"status_data", sim::store_number<&reader_config::status_data>},
    {"finger_detected", sim::store_number<&reader_config::finger_detected>},
    {"f003", sim::store_number<&reader_config::f003>},
    {"quality", sim::store_number<&reader_config::quality>},
    {"seed", sim::store_number<&reader_config::seed>},
    {"held_exclusively", sim::store_flag<&reader_config::held_exclusively>},
    {"finger_every_ms", sim::store_number<&reader_config::finger_every_ms>},
};

// Limits that keep a delivered image within what a test machine renders
// quickly; the reported geometry may be anything a test needs.
std::string check_reader(const reader_config& reader) {
    const uint32_t width = reader.delivered_width();
    const uint32_t height = reader.delivered_height();
    if (width < 16 || width > 4096 || height < 16 || height > 4096) {
        return "delivered images must be 16 to 4096 pixels wide and high";
    }
    if (reader.delivered_resolution() > 4000) {
        return "resolution must be at most 4000";
    }
    return {};
}

}  // namespace

std::vector<reader_config> default_readers() {
    reader_config streaming = reader_template(0);
    streaming.product = "Simulated Streaming Reader";

    reader_config turning = reader_template(1);
    turning.product = "Simulated Turning Reader";
    turning.pid = 0x000A;
    turning.revision = 0x0102;
    turning.width = 300;
    turning.height = 400;
    return {streaming, turning};
}

bool parse_config(const std::string& text, std::vector<reader_config>& readers,
                  std::string& error) {
    std::vector<reader_config> parsed;
    bool own_readers = false;
    const auto on_section = [&](const std::string& line) -> std::string {
        if (line != "[reader]") {
            return "unknown section " + line;
        }
        if (parsed.size() == max_readers) {
            return "more than " + std::to_string(max_readers) + " readers";
        }
        own_readers = true;
        parsed.push_back(reader_template(parsed.size()));
        return {};
    };
    const auto on_setting = [&](const std::string& key, const std::string& value) {
        if (!own_readers) {
            return "unknown key '" + key + "'";
        }
        std::string problem = sim::apply_setting(reader_keys, "reader", parsed.back(), key, value);
        return problem.empty() ? check_reader(parsed.back()) : problem;
    };
    error = sim::walk_config(text, on_section, on_setting);
    if (!error.empty()) {
        return false;
    }
    readers = own_readers ? std::move(parsed) : default_readers();
    return true;
}

bool load_config(std::vector<reader_config>& readers, std::string& error) {
    const char* path = std::getenv("RIDGEX_TAVLO_SIM_CONFIG");
    if (path == nullptr || *path == '\0') {
        readers = default_readers();
        return true;
    }
    std::string text;
    if (!sim::read_config_file(path, text, error)) {
        return false;
    }
    if (!parse_config(text, readers, error)) {
        error = std::string(path) + ": " + error;
        return false;
    }
    return true;
}

}  // namespace tavlo_sim
