#pragma once

#include <optional>
#include <string>

#include "core/library/Snippet.h"

namespace wordloom {

/// Whether `snippet` may expand in the application `bundleId` (nullopt: unknown). `all` always
/// passes; `whitelist` only in a known, listed application; `blacklist` everywhere except a
/// known, listed one.
bool passesApplicationFilter(const Snippet& snippet, const std::optional<std::string>& bundleId);

}  // namespace wordloom
