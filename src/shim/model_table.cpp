#include "shim/model_table.h"

namespace {

enum class rotation { none, turned, by_revision };

struct model_row {
    uint16_t vid;
    uint16_t pid;
    uint32_t can_stream;
    uint32_t led_mask;
    uint32_t can_proc_mode1;
    bool has_proc_2;
    bool has_proc_3;
    bool has_parm_f003;
    rotation native_rotation;
};

constexpr model_row kModels[] = {
    {0x05BA, 0x0008, 0, 0x00, 0, false, false, true, rotation::turned},
    {0x05BA, 0x000A, 0, 0x00, 0, false, false, true, rotation::by_revision},
    {0x05BA, 0x000B, 1, 0x1D, 1, true, false, true, rotation::none},
    {0x05BA, 0x000C, 1, 0x00, 0, false, false, false, rotation::none},
    {0x05BA, 0x000D, 1, 0x01, 1, true, true, true, rotation::none},
    {0x05BA, 0x000E, 1, 0x01, 1, true, true, true, rotation::none},
    {0x080B, 0x0109, 1, 0x01, 1, true, true, false, rotation::none},
    {0x080B, 0x010B, 1, 0x00, 1, true, true, false, rotation::none},
};

// The revisions of the model that turns by revision which deliver their
// image upright. 0xC103 is not among them.
constexpr uint16_t kUprightRevisions[] = {0x0103, 0x4103, 0x8103};

bool Turned(rotation kind, uint16_t revision) {
    if (kind != rotation::by_revision) {
        return kind == rotation::turned;
    }
    for (uint16_t upright : kUprightRevisions) {
        if (revision == upright) {
            return false;
        }
    }
    return true;
}

}  // namespace

model_facts_t LookUpModel(uint16_t vid, uint16_t pid, uint16_t revision) {
    for (const model_row& row : kModels) {
        if (row.vid == vid && row.pid == pid) {
            return {row.can_stream,
                    row.led_mask,
                    row.can_proc_mode1,
                    row.has_proc_2,
                    row.has_proc_3,
                    row.has_parm_f003,
                    Turned(row.native_rotation, revision)};
        }
    }
    return {};
}
