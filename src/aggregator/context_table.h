// The storage of the records of open readers. Records are made ten at a
// time in chunks that stay where they are until the last ridgex_exit, and
// the chunks are found through a fixed array of atomic pointers: a lookup
// by handle takes no lock, allocates nothing and can never meet memory that
// moves or goes, so it may run in a signal handler. Only making a record
// (an open) needs the context lock.
#pragma once

#include <atomic>
#include <cstdint>

#include "aggregator/device_context.h"
#include "base/chunk_list.h"

class context_table_t {
  public:
    static constexpr uint32_t kChunkRecords = 10;
    static constexpr uint32_t kMaxChunks = 4096;

    constexpr context_table_t() = default;
    context_table_t(const context_table_t&) = delete;
    context_table_t& operator=(const context_table_t&) = delete;

    // Records made so far; indices below it are valid.
    uint32_t Count() const { return count_.load(std::memory_order_acquire); }
    // The record at `index`, or null when there is none.
    AGGREGATOR_DEVICE_CONTEXT* At(uint32_t index) const;
    // Under the context lock: one more record, all zero, at index Count();
    // null when no chunk can be added.
    AGGREGATOR_DEVICE_CONTEXT* Append();
    // At the last ridgex_exit, with no other thread in the library: every
    // record and its signals go.
    void Free();

  private:
    chunk_list_t<AGGREGATOR_DEVICE_CONTEXT, kChunkRecords, kMaxChunks> chunks_;
    std::atomic<uint32_t> count_{0};
};
