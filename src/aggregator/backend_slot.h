// One row of the backend table, and the names of the six slots.
#pragma once

#include <cstdint>

#include "backend/backend.h"

constexpr uint32_t kBackendSlotCount = 6;

// The slot's index is the number in a reader's "$NN$" prefix, and this order
// is the order of every walk over the backends.
constexpr const char* backend_names[kBackendSlotCount] = {
    "SLVHOST_SHIM",      "ridgex_amber.dll", "ridgex_basalt.dll",
    "ridgex_cobalt.dll", "ridgex_dune.dll",  "ridgex_ember.dll",
};

// The marker of the built-in backend's slot: no file, never loaded as one.
constexpr const char* kShimSlotName = "SLVHOST_SHIM";

struct backend_slot_t {
    ridgex_dll_t lib;                  // the slot's own library object
    ridgex_dll_t* delegate = nullptr;  // serves the slot instead of lib when set
};

// The object that serves a slot.
inline ridgex_dll_t* SlotBackend(backend_slot_t& slot) {
    return slot.delegate != nullptr ? slot.delegate : &slot.lib;
}
