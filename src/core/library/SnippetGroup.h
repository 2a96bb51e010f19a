#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/base/Executor.h"
#include "core/base/Uuid.h"
#include "core/library/LibraryEnums.h"

namespace wordloom {

/// A folder of snippets. Groups nest through `parentId`; a disabled group disables its snippets
/// for expansion.
struct SnippetGroup {
    Uuid id;
    std::string name;
    std::optional<Uuid> parentId;
    bool isEnabled = true;
    std::int64_t sortOrder = 0;
    Timestamp createdAt;
    Timestamp modifiedAt;
    std::optional<CaseSensitivity> defaultCaseSensitivity;
    std::optional<TriggerMode> defaultTriggerMode;

    bool operator==(const SnippetGroup&) const = default;
};

}  // namespace wordloom
