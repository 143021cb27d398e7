// What most tests use; it is precompiled.
#pragma once

#include "host/base/st_StringRepository.h"
#include "support/Campaign.h"
#include "support/LogCapture.h"
#include "support/Printed.h"
#include "support/Temporary.h"
#include "util/fw_Exception.h"
#include "util/ut_BufferStream.h"
