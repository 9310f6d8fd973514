// The simulated scorer's model: what a pad of live skin and a pad of a spoof
// look like to it, and the score that a live pad earns. The text format is
// written down in docs/liveness.md.
#pragma once

#include <string>

namespace nex_sim {

struct model_t {
    double live_energy = 0;   // pad energy of live skin
    double spoof_energy = 0;  // pad energy of a spoof
    int max_score = 0;        // score of a pad at or above live_energy
};

enum class model_read { good, unreadable, malformed };

model_read read_model(const std::string& path, model_t& model);

// The score of a pad with this energy: 0 at or below the spoof's energy,
// max_score at or above live skin's, linear between.
int score_of(const model_t& model, double energy);

}  // namespace nex_sim
