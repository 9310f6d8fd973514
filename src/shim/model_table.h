// What only the model of a reader tells: streaming, LEDs, the processing
// modes it allows, the parameter 0xF003, and whether it turns its image.
// The reader library reports none of these.
#pragma once

#include <cstdint>

struct model_facts_t {
    uint32_t can_stream;
    uint32_t led_mask;
    uint32_t can_proc_mode1;
    bool has_proc_2;
    bool has_proc_3;
    bool has_parm_f003;
    bool native_rotation;
};

// The facts of a known model; a model not in the table has none of them.
model_facts_t LookUpModel(uint16_t vid, uint16_t pid, uint16_t revision);
