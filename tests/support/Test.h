// What most tests use: the framework, the standard library and the system, and our own support.
// It is precompiled, so a test has no list of its own of these.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/base/st_StringRepository.h"
#include "support/Campaign.h"
#include "support/Kept.h"
#include "support/LogCapture.h"
#include "support/Temporary.h"
#include "util/fw_Exception.h"
#include "util/ut_BufferStream.h"
