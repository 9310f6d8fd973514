// The help texts of the ridgex command, as --help prints them.
#pragma once

extern const char* const kMainUsage;
extern const char* const kListUsage;
extern const char* const kInfoUsage;
extern const char* const kCaptureUsage;
extern const char* const kStreamUsage;
extern const char* const kTraceUsage;
