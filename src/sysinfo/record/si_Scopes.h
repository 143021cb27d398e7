// The scopes of the stored values: which there are, and what belongs to them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sysinfo/record/si_Rows.h"

namespace services::sysinfo {

struct Grammar;

inline constexpr const char* systemScope = "system";
inline constexpr std::string_view userScope = "user ";
inline constexpr std::string_view componentScope = "component ";
inline constexpr const char* revisionKey = "CpldRevision";
inline const RowKey burnToActiveKey = {"release", "HasBurnToActive"};
inline const RowKey midplaneKey = {systemScope, "MidplaneSN"};
/// There while changes have not arrived: the event that makes up for them (see si_Untold.h).
inline const RowKey untoldKey = {"untold", "Users"};
/// The letter of the controller to which the records "A" and "B" were written.
inline const RowKey slotKey = {"store", "Slot"};

/// Where the value of an operator's key stands (see si_Values.h), or nothing.
std::optional<RowKey> rowKeyOf(const std::string& key);
/// The operator's key of a place that has one.
std::string keyOf(const RowKey& place);

/// The grammar of the value at a place; null when nothing stands there.
const Grammar* grammarAt(const RowKey& place);

/// Whether the key is a flag that the store itself sets: that settings changed.
bool isOwnFlag(std::string_view key);

/// The rows of the settings over which that flag stands.
Rows rowsUnder(std::string_view flag, const Rows& rows);

}  // namespace services::sysinfo
