// A plug-in's telling of a flight recorder's file.
#include "host/service/fw_FlightReplay.h"

namespace framework {

namespace {

// A plain pointer, so that it is there before any static initialiser.
FlightReplay::Replay registered = nullptr;

}  // namespace

FlightReplay::FlightReplay(Replay replay) { registered = replay; }

FlightReplay::Replay FlightReplay::get() { return registered; }

}  // namespace framework
