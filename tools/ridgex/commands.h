// The ridgex commands. Each gets its parsed options and operands and gives
// the process's exit status (exit_status.h).
#pragma once

#include "arguments.h"

int RunList(const arguments& args);
int RunInfo(const arguments& args);
int RunCapture(const arguments& args);
int RunStream(const arguments& args);
int RunTrace(const arguments& args);
