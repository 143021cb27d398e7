// Opening a file where the machine in force keeps it.
#pragma once

#include <sys/types.h>

namespace utility {

/// Opens the file that lies at System::locate of `path`, as open(2) with O_CLOEXEC, and without
/// waiting: for a reader or a writer of a pipe, above all. Answers the descriptor, which the caller
/// closes, or -1 with errno.
int openFile(const char* path, int flags, mode_t mode);

}  // namespace utility
