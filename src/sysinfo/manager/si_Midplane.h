// The midplane in which this controller sits.
#pragma once

namespace services::sysinfo {

/// Takes the midplane's serial number from the file at which the platform shows it, whatever the
/// store remembers of an earlier midplane. Without a valid one the serial number is unknown, with
/// an error line, and no pairing is decided. Call after the information was loaded.
void adoptMidplane(const char* path);

}  // namespace services::sysinfo
