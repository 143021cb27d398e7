// The picture of "mcsh top": the daemons, what is wrong first.
#pragma once

#include <vector>

#include "mcsh/Listing.h"
#include "mcsh/Screen.h"

namespace mcsh {

/// One sentence on whether all is well.
std::string headlineOf(const DaemonListing& listing);

/// The whole picture for a screen of so many rows; what finds no room is counted in the last.
std::vector<ScreenLine> pictureOf(DaemonListing listing, std::size_t rows);

}  // namespace mcsh
