#pragma once

#include <string>
#include <string_view>

namespace wordloom {

/// HTML for a rich-text snippet's RTF, for the applications that paste HTML but not RTF
/// (browsers, most GTK and Electron programs). It keeps what a snippet's rich text carries in
/// practice: paragraphs and line breaks, bold, italic, underline and strike-through, and
/// links; fonts, sizes, colours, tables and pictures are dropped, their text kept. Text is
/// decoded from the document's code page and \u escapes, and escaped for HTML. Links other
/// than web, mail, telephone and file addresses become plain text.
///
/// Never fails: malformed RTF (unbalanced braces, cut-off escapes) gives the text that could
/// be read; input that is not RTF at all is taken as plain text.
std::string htmlFromRichText(std::string_view rtf);

}  // namespace wordloom
