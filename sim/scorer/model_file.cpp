#include "model_file.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

namespace nex_sim {
namespace {

std::string trim(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// The whole text must be the number.
bool parse_number(const std::string& text, double& value) {
    std::istringstream in(text);
    in >> value;
    return !in.fail() && in.eof() && std::isfinite(value);
}

bool apply(const std::string& key, const std::string& value, model_t& model, int& seen) {
    double number = 0;
    if (key == "name") {
        return true;
    }
    if (!parse_number(value, number)) {
        return false;
    }
    if (key == "live_energy") {
        model.live_energy = number;
        seen |= 1;
    } else if (key == "spoof_energy") {
        model.spoof_energy = number;
        seen |= 2;
    } else if (key == "max_score") {
        if (number != std::floor(number) || number < 1 || number > 1000000) {
            return false;
        }
        model.max_score = static_cast<int>(number);
        seen |= 4;
    } else {
        return false;
    }
    return true;
}

}  // namespace

model_read read_model(const std::string& path, model_t& model) {
    std::ifstream file(path);
    if (!file) {
        return model_read::unreadable;
    }
    model_t parsed;
    bool header = false;
    int seen = 0;
    std::string line;
    while (std::getline(file, line)) {
        line = trim(line);
        if (line.empty() || line[0] == '#') {
            continue;
        }
        if (!header) {
            if (line != "nex-sim-model 1") {
                return model_read::malformed;
            }
            header = true;
            continue;
        }
        const size_t equals = line.find('=');
        if (equals == std::string::npos ||
            !apply(trim(line.substr(0, equals)), trim(line.substr(equals + 1)), parsed, seen)) {
            return model_read::malformed;
        }
    }
    if (seen != 7 || parsed.spoof_energy < 0 || parsed.live_energy <= parsed.spoof_energy) {
        return model_read::malformed;
    }
    model = parsed;
    return model_read::good;
}

int score_of(const model_t& model, double energy) {
    const double share = std::clamp(
        (energy - model.spoof_energy) / (model.live_energy - model.spoof_energy), 0.0, 1.0);
    return static_cast<int>(std::lround(share * model.max_score));
}

}  // namespace nex_sim
