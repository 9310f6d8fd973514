// Ctrl-C for the length of a capture or a stream: the signal handler
// cancels the reader's capture through ridgex_cancel, one of the calls that
// the library allows in a signal handler, and notes that it came.
#pragma once

#include "ridgex.h"

class interrupt_guard {
  public:
    // Installs the handler for SIGINT; `dev` is the reader to cancel.
    explicit interrupt_guard(ridgex_handle dev);
    // Puts the previous handler back.
    ~interrupt_guard();
    interrupt_guard(const interrupt_guard&) = delete;
    interrupt_guard& operator=(const interrupt_guard&) = delete;

    // Whether SIGINT came since the guard was installed.
    static bool Interrupted();
};
