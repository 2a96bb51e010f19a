#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/macros/FillInField.h"
#include "core/macros/ParsedMacro.h"

namespace wordloom {

/// Turns fill-in macros into FillInFields with stable value keys. The evaluator and the inline
/// parameter parser both go through here, so a key computed for the form is the key the
/// evaluator reads back.
///
/// A named field's key is its name, under `fillInPath` when there is one ("sig#2/Name"); fields
/// that share a name share the key. An unnamed field's key is "__wordloom_unnamed__/" followed
/// by the path and the field's `tag`, the position of its macro in the content ("3", or "3.1" for
/// the second macro inside the condition of the fourth), so it stays the same from one
/// evaluation of the same content to the next.
class FillInFieldCollector {
  public:
    static constexpr std::string_view unnamedKeyPrefix = "__wordloom_unnamed__/";

    static std::string valueKey(std::string_view fillInPath, const std::optional<std::string>& name,
                                std::string_view tag);

    /// The field a fill-in macro asks for (value = its default), or nothing for other macros.
    /// Without `withIdentifier` the field's id stays nil, which saves drawing a random UUID when
    /// only the key and default are wanted.
    static std::optional<FillInField> fieldFor(const MacroType& type, std::string_view fillInPath,
                                               std::string_view tag, bool withIdentifier = true);

    /// What evaluating a fill-in macro needs: its key and its default, without the rest of the
    /// field. The default points into `type`.
    struct Entry {
        std::string valueKey;
        std::string_view defaultValue;
    };

    /// The key and default of a fill-in macro, or nothing for other macros.
    static std::optional<Entry> entryFor(const MacroType& type, std::string_view fillInPath,
                                         std::string_view tag);

    /// The tag of macro `index` among macros whose enclosing tag is `parentTag`.
    static std::string childTag(std::string_view parentTag, std::size_t index);

    /// Every fill-in field of `content`, conditions' own macros included, in order of first
    /// appearance; fields of nested snippets are not included.
    static std::vector<FillInField> collect(std::string_view content,
                                            std::string_view fillInPath = {},
                                            std::string_view parentTag = {});

    /// The same for content already parsed into `macros`.
    static std::vector<FillInField> collect(const std::vector<ParsedMacro>& macros,
                                            std::string_view fillInPath,
                                            std::string_view parentTag);
};

}  // namespace wordloom
