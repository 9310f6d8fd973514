// A set of handles that threads walk while others add and remove, with no
// lock: slots live in chunks that are only ever added while the set is in
// use, so a walker never meets freed memory, and each slot is one atomic
// word. Adding allocates; removing and looking up never do, so both may run
// in a signal handler.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/chunk_list.h"

class handle_set_t {
  public:
    static constexpr uint32_t kChunkSlots = 16;
    static constexpr uint32_t kMaxChunks = 256;

    constexpr handle_set_t() = default;
    ~handle_set_t() { Free(); }
    handle_set_t(const handle_set_t&) = delete;
    handle_set_t& operator=(const handle_set_t&) = delete;

    // Puts `handle` (not null) in a free slot; false if no slot is free and
    // no chunk can be added. The caller adds a handle only once.
    bool Add(void* handle) {
        for (uint32_t c = 0; c < kMaxChunks; ++c) {
            slot_t* chunk = chunks_.MakeChunk(c);
            if (chunk == nullptr) {
                return false;
            }
            for (uint32_t i = 0; i < kChunkSlots; ++i) {
                void* expected = nullptr;
                if (chunk[i].compare_exchange_strong(expected, handle)) {
                    count_.fetch_add(1);
                    return true;
                }
            }
        }
        return false;
    }

    // False if `handle` was not in the set.
    bool Remove(void* handle) {
        slot_t* slot = Find(handle);
        if (slot == nullptr || !slot->compare_exchange_strong(handle, nullptr)) {
            return false;
        }
        count_.fetch_sub(1);
        return true;
    }

    bool Contains(void* handle) const { return Find(handle) != nullptr; }
    bool Empty() const { return count_.load() == 0; }

    // Empties the set and gives its chunks back. Only while nobody else
    // uses it: at unload, and in tests.
    void Free() {
        chunks_.Free();
        count_ = 0;
    }

  private:
    using slot_t = std::atomic<void*>;

    slot_t* Find(void* handle) const {
        if (handle == nullptr) {
            return nullptr;
        }
        for (uint32_t c = 0; c < kMaxChunks; ++c) {
            slot_t* chunk = chunks_.Chunk(c);
            if (chunk == nullptr) {
                return nullptr;
            }
            for (uint32_t i = 0; i < kChunkSlots; ++i) {
                if (chunk[i].load() == handle) {
                    return &chunk[i];
                }
            }
        }
        return nullptr;
    }

    chunk_list_t<slot_t, kChunkSlots, kMaxChunks> chunks_;
    std::atomic<uint32_t> count_{0};
};
