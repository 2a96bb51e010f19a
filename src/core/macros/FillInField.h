#pragma once

#include <string>
#include <vector>

#include "core/base/Uuid.h"

namespace wordloom {

/// The kind of input a fill-in field asks for.
enum class FillInType {
    singleLine,  ///< {{input}}
    multiLine,   ///< {{textarea}}
    dropdown,    ///< {{select}}, with its options
    checkbox,    ///< {{optional}}: the value is "true" or "false"
};

/// One value the user is asked for before a snippet is inserted.
struct FillInField {
    Uuid id;
    FillInType type = FillInType::singleLine;
    /// The label shown in the fill-in form.
    std::string name;
    /// The key of this field's value in EvaluationContext::fillInValues. Fields that share a name
    /// share a key, so that one entry fills them all.
    std::string valueKey;
    std::string defaultValue;
    /// The current entry.
    std::string value;
    /// The choices of a dropdown, in written order; empty for the other types.
    std::vector<std::string> options;

    bool operator==(const FillInField&) const = default;
};

/// The values a checkbox field stores.
namespace checkbox {
inline constexpr const char* on = "true";
inline constexpr const char* off = "false";
}  // namespace checkbox

}  // namespace wordloom
