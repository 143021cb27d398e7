// How many descriptors the process may have open, and how many the commands that it runs.
#pragma once

#include <string>

namespace platform {

/// Raises the process's limit of open descriptors to the hard limit. Commands keep the limit of
/// before: a program that was written for few descriptors may fail or slow down with many. Called
/// once, before there are other threads.
void raiseDescriptorLimit();

/// The shell line, with its line end, that gives a command the limit of before; empty when nothing
/// was raised. Any thread may call.
const std::string& descriptorLimitLine();

/// The descriptor numbers below it are never taken for long: a quarter of the process's limit, but
/// 128 at least and 1024 at most. Any thread may call.
int freeDescriptors();

}  // namespace platform
