// The process marker: a name that exists for as long as the library is
// loaded in a process, so that others can tell. It is an abstract-namespace
// Unix datagram socket named by the decimal process id; it leaves no file.
#pragma once

namespace platform {

// The socket's descriptor, or -1 if the name could not be bound (for
// instance because another copy of the library in this process holds it).
int create_process_marker();

// -1 is tolerated.
void close_process_marker(int marker);

}  // namespace platform
