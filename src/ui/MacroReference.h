#pragma once

namespace wordloom {

/// The macro reference as Markdown, for the help window.
const char* macroReferenceMarkdown();

}  // namespace wordloom
