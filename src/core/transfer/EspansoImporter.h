#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "core/transfer/ImportDocument.h"

namespace wordloom {

/// Reads espanso's matches: one match file, or the whole configuration folder (every
/// match/**/*.yml not starting with "_", the files they import, and the "_" files that
/// app-specific configs include, limited to those applications). Each match file becomes a
/// group; each trigger a snippet. Variables become our macros where one exists (dates, the
/// clipboard, nested matches, choices, forms, echo); shell and script variables, regex capture
/// groups and other things without an equivalent stay as written and are counted in the notes.
/// Throws ImportError for a file that is not YAML or not a match file.
class EspansoImporter {
  public:
    static ImportDocument importPath(const std::filesystem::path& path, Timestamp now);

    /// One match file given as text; `fileName` names its group. Imports are not followed.
    static ImportDocument importText(std::string_view yaml, const std::string& fileName,
                                     Timestamp now);
};

}  // namespace wordloom
