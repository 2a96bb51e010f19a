#pragma once

#include <ostream>

#include "core/macros/MacroType.h"

namespace wordloom {

/// Lets GoogleTest name the macro kind in failure messages instead of dumping bytes.
inline void PrintTo(const MacroType& type, std::ostream* out) {
    *out << macroTypeName(type);
    if (const auto* input = std::get_if<macro::Input>(&type)) {
        *out << "(name=" << input->name.value_or("<none>")
             << ", default=" << input->defaultValue.value_or("<none>") << ")";
    } else if (const auto* select = std::get_if<macro::Select>(&type)) {
        *out << "(name=" << select->name.value_or("<none>")
             << ", options=" << select->options.size()
             << ", default=" << select->defaultValue.value_or("<none>") << ")";
    } else if (const auto* random = std::get_if<macro::Random>(&type)) {
        *out << "(" << random->lower << ", " << random->upper << ")";
    } else if (const auto* script = std::get_if<macro::JavaScript>(&type)) {
        *out << "(" << script->code << ")";
    } else if (const auto* ai = std::get_if<macro::AI>(&type)) {
        *out << "(" << ai->prompt << ", " << ai->provider.value_or("<none>") << ", "
             << ai->model.value_or("<none>") << ")";
    }
}

}  // namespace wordloom
