// Owner of one loaded module handle.
#pragma once

#include "platform/dynamic_library.h"

class dll_t {
  public:
    dll_t() = default;
    virtual ~dll_t() {
        if (module_ != nullptr) {
            platform::free_library(module_);
            module_ = nullptr;
        }
    }

    dll_t(const dll_t&) = delete;
    dll_t& operator=(const dll_t&) = delete;

  protected:
    void* module_ = nullptr;
};
