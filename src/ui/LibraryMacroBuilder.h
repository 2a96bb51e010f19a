#pragma once

#include <QSyntaxHighlighter>
#include <functional>
#include <string>
#include <vector>

#include "core/library/MacroSyntax.h"

class QMenu;
class QWidget;

namespace wordloom {

/// Fills `menu` with every macro of the reference. Each entry opens a small form for the
/// macro's arguments (none for those without) and hands the macro, written exactly as the
/// parser reads it, to `insert`. `abbreviations` lists the snippets a nested snippet may name.
void fillMacroMenu(QMenu& menu, QWidget* formParent,
                   std::function<std::vector<std::string>()> abbreviations,
                   std::function<void(const BuiltMacro&)> insert);

/// Colours the macros of a snippet's content: those the macro parser recognises in the
/// palette's link colour, and "{{...}}" it does not recognise (which are inserted as typed)
/// with a wavy underline, so a mistyped macro shows before it is used.
class MacroHighlighter final : public QSyntaxHighlighter {
  public:
    using QSyntaxHighlighter::QSyntaxHighlighter;

  protected:
    void highlightBlock(const QString& text) override;
};

}  // namespace wordloom
