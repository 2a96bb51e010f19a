#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/base/Executor.h"

namespace wordloom {

/// "2026-11-21T09:30:00Z": UTC, whole seconds (fractions are dropped).
std::string formatIso8601(Timestamp time);

/// Reads "YYYY-MM-DDTHH:MM:SS", optionally with a fraction, followed by "Z" or an offset
/// ("+02:00", "+0200", "+02"). Returns nothing for anything else.
std::optional<Timestamp> parseIso8601(std::string_view text);

/// Whether a time this far from 1970 can be held in a Timestamp (about 1678 to 2261).
bool fitsInTimestamp(std::chrono::seconds sinceEpoch);

/// The reference date of timestamps written as plain numbers (seconds since 2001-01-01 UTC).
Timestamp referenceDate2001();

}  // namespace wordloom
