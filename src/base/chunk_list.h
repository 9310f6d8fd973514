// Storage that never moves: elements live in chunks of a fixed size, found
// through a fixed array of atomic pointers. A chunk, once made, stays where
// it is until Free, so threads may keep pointers into it and read it with no
// lock, also in a signal handler; only making a chunk allocates.
#pragma once

#include <atomic>
#include <cstdint>
#include <new>
#include <type_traits>

#include "platform/memory.h"

template <typename T, uint32_t kPerChunk, uint32_t kMaxChunks>
class chunk_list_t {
    static_assert(std::is_trivially_destructible_v<T>, "chunks are given back unwound");

  public:
    constexpr chunk_list_t() = default;
    chunk_list_t(const chunk_list_t&) = delete;
    chunk_list_t& operator=(const chunk_list_t&) = delete;

    // The first element of chunk `c`, or null while it has not been made.
    T* Chunk(uint32_t c) const {
        return c < kMaxChunks ? chunks_[c].load(std::memory_order_acquire) : nullptr;
    }

    // Chunk `c`, of value-initialized elements, made here or by a thread
    // that won the race to it; null beyond the last chunk or without memory.
    T* MakeChunk(uint32_t c) {
        if (c >= kMaxChunks) {
            return nullptr;
        }
        if (T* made = Chunk(c)) {
            return made;
        }
        void* block = platform::reallocate(nullptr, sizeof(T) * kPerChunk);
        if (block == nullptr) {
            return nullptr;
        }
        auto* chunk = static_cast<T*>(block);
        for (uint32_t i = 0; i < kPerChunk; ++i) {
            new (&chunk[i]) T{};
        }
        T* expected = nullptr;
        if (!chunks_[c].compare_exchange_strong(expected, chunk)) {
            platform::release(block);
            return expected;
        }
        return chunk;
    }

    // Gives every chunk back. Only while nobody else uses the list.
    void Free() {
        for (auto& chunk : chunks_) {
            platform::release(chunk.exchange(nullptr));
        }
    }

  private:
    std::atomic<T*> chunks_[kMaxChunks] = {};
};
