// The two static objects of tracing among the library's seven: the trace
// lock (fifth) and the holder of the output (seventh). Both are defined with
// the others in base/library_entry.cpp, whose order decides that at unload
// the output goes first and the lock second to next.
#pragma once

#include <mutex>

namespace SlvTraceNS {

class COutput;

// All trace output is written under this lock. A leaf: nothing inside it
// takes another lock of the library. Recursive, as the critical section it
// stands for is. A signal handler that interrupted the library never takes
// it: its records are dropped (docs/signals.md).
using trace_lock_t = std::recursive_mutex;
extern trace_lock_t trace_lock;

// Owns the one output, created by the first record. Its destructor is the
// output's exit function: it takes no lock, relying on no other thread being
// in the library at unload.
class output_holder_t {
  public:
    constexpr output_holder_t() = default;
    ~output_holder_t() { Release(); }
    output_holder_t(const output_holder_t&) = delete;
    output_holder_t& operator=(const output_holder_t&) = delete;

    COutput* get() const { return output_; }
    void set(COutput* output) { output_ = output; }
    // Destroys the output, which closes its file, and forces the next
    // configuration check, so the holder is as it was at load.
    void Release();

  private:
    COutput* output_ = nullptr;
};
extern output_holder_t output_holder;

}  // namespace SlvTraceNS
