// Messages to standard error, all in one form: "ridgex: WHAT: ..." with a
// status by name, number and sentence.
#pragma once

#include <string>

#include "ridgex.h"

// "ridgex: WHAT: RIDGEX_E_DEVICE_BUSY (0x05BA001E): the reader is busy".
void ReportStatus(const std::string& what, ridgex_result status);

// "ridgex: MESSAGE".
void ReportError(const std::string& message);

// "ridgex COMMAND: MESSAGE" and where the help is; gives kExitUsage.
int UsageError(const std::string& command, const std::string& message);
