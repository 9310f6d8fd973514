// The built-in backend over the closed reader library. It serves slot 0 when
// the reader service is installed.
#pragma once

#include <atomic>
#include <cstdint>

#include "backend/backend.h"
#include "base/lock_object.h"
#include "base/signal.h"

class CFpapiShim : public ridgex_dll_t {
  public:
    CFpapiShim();
    ~CFpapiShim() override;

    // Ignores the name and answers whether the reader service is installed.
    bool Load(const char* name) override;
    // Nothing to undo: a shim whose Init failed still answers IsLoaded.
    void Unload() override;
    bool IsLoaded() override;
    ridgex_result Version(ridgex_version_info* ver) override;
    ridgex_result Init() override;
    ridgex_result Exit() override;

    static CFpapiShim& Instance();

  private:
    static CFpapiShim instance_;  // one of the library's static objects

    std::atomic<bool> available_{false};
    signal_t stopped_signal_;
    uint32_t next_handle_;
    lock_object_t lock_;
};
