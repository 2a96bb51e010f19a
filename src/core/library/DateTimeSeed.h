#pragma once

#include <string_view>
#include <vector>

#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"

namespace wordloom {

/// The group of date snippets a new library starts with.
struct DateTimeSeed {
    /// The user-defaults flag that records the group was made once (and is never made again).
    static constexpr std::string_view createdFlag = "dateTimeGroupCreated";
    static constexpr std::string_view groupName = "Date & Time";

    SnippetGroup group;
    std::vector<Snippet> snippets;

    /// A fresh group (new ids, created `now`) with its twelve snippets in order.
    static DateTimeSeed make(Timestamp now);
};

}  // namespace wordloom
