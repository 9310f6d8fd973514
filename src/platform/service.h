// Whether a system service is installed, by systemd's unit files.
#pragma once

namespace platform {

// True when the unit file "<name in lower case>.service" exists in a folder
// of systemd's unit search path: the colon-separated SYSTEMD_UNIT_PATH if it
// is set (read at every call), else the machine's five unit folders.
// Whether the service runs is not looked at.
bool service_installed(const char* service_name);

}  // namespace platform
