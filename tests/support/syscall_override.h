// Replaces one entry of the platform's seam table for the life of the object
// and puts the previous one back afterwards, so that a test can make a
// system call fail ("the second dlopen fails") without touching the rest.
//
//   static int calls = 0;
//   syscall_override fail_second(&platform::syscall_table::dlopen,
//       +[](const char* file, int flags) -> void* {
//           return ++calls == 2 ? nullptr : ::dlopen(file, flags);
//       });
#pragma once

#include "platform/syscalls.h"

template <typename Entry>
class syscall_override {
  public:
    syscall_override(Entry platform::syscall_table::*entry, Entry replacement)
        : entry_(entry), saved_(platform::syscalls().*entry) {
        platform::syscalls().*entry_ = replacement;
    }
    ~syscall_override() { platform::syscalls().*entry_ = saved_; }
    syscall_override(const syscall_override&) = delete;
    syscall_override& operator=(const syscall_override&) = delete;

  private:
    Entry platform::syscall_table::*entry_;
    Entry saved_;
};
