// The exit statuses of the ridgex command, one for each way a command can
// end that a script may want to tell apart.
#pragma once

enum exit_status : int {
    kExitOk = 0,
    kExitFailure = 1,     // a library status, a file that cannot be written, no reader
    kExitUsage = 2,       // wrong arguments
    kExitTimedOut = 3,    // the capture's --timeout passed without a finger
    kExitNoImage = 4,     // the reader or the liveness check refused the finger
    kExitDamaged = 5,     // a trace file was read only in part
    kExitCanceled = 130,  // Ctrl-C, as for a program that SIGINT ended
};
