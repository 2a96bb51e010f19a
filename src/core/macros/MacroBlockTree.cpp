#include "core/macros/MacroBlockTree.h"

namespace wordloom {
namespace {

enum class Closer { none, conditional, section };

Closer closerKind(const MacroType& type) {
    if (std::holds_alternative<macro::ConditionalElseIf>(type) ||
        std::holds_alternative<macro::ConditionalElse>(type) ||
        std::holds_alternative<macro::ConditionalEnd>(type)) {
        return Closer::conditional;
    }
    if (std::holds_alternative<macro::OptionalEnd>(type)) {
        return Closer::section;
    }
    return Closer::none;
}

class Arranger {
  public:
    Arranger(std::string_view content, const std::vector<ParsedMacro>& macros)
        : content_(content), macros_(macros) {}

    // `expectedBlocks` saves growing the top level: text and a macro alternate at most.
    std::vector<MacroBlock> body(Closer ownKind, std::size_t expectedBlocks = 0) {
        std::vector<MacroBlock> blocks;
        blocks.reserve(expectedBlocks);
        while (next_ < macros_.size()) {
            const ParsedMacro& parsed = macros_[next_];
            flushText(blocks, parsed.byteRange.start);
            Closer closer = closerKind(parsed.type);
            if (closer != Closer::none) {
                bool open =
                    closer == Closer::conditional ? openConditionals_ > 0 : openSections_ > 0;
                if (closer == ownKind || open) {
                    return blocks;  // ours, or an enclosing section's: this one ends here
                }
                blocks.push_back(consumeSingle(MacroBlock::Kind::stray));
                continue;
            }
            bool opensSection = std::holds_alternative<macro::ConditionalIf>(parsed.type) ||
                                std::holds_alternative<macro::Optional>(parsed.type);
            if (opensSection && depth_ >= MacroBlock::maximumDepth) {
                blocks.push_back(consumeSingle(MacroBlock::Kind::tooDeep));
            } else if (std::holds_alternative<macro::ConditionalIf>(parsed.type)) {
                blocks.push_back(conditional());
            } else if (std::holds_alternative<macro::Optional>(parsed.type)) {
                blocks.push_back(section());
            } else {
                blocks.push_back(consumeSingle(MacroBlock::Kind::macro));
            }
        }
        flushText(blocks, content_.size());
        return blocks;
    }

  private:
    void flushText(std::vector<MacroBlock>& blocks, std::size_t upTo) {
        if (upTo > textStart_) {
            MacroBlock text;
            text.kind = MacroBlock::Kind::text;
            text.bytes = {textStart_, upTo};
            blocks.push_back(std::move(text));
        }
        textStart_ = std::max(textStart_, upTo);
    }

    // Steps over macro `next_`, returning a block of `kind` for it.
    MacroBlock consumeSingle(MacroBlock::Kind kind) {
        MacroBlock block;
        block.kind = kind;
        block.macroIndex = next_;
        textStart_ = macros_[next_].byteRange.end;
        ++next_;
        return block;
    }

    MacroBlock conditional() {
        MacroBlock block = consumeSingle(MacroBlock::Kind::conditional);
        ++depth_;
        ++openConditionals_;
        block.branches.push_back({block.macroIndex, body(Closer::conditional)});
        while (next_ < macros_.size()) {
            const MacroType& type = macros_[next_].type;
            if (std::holds_alternative<macro::ConditionalElseIf>(type)) {
                std::size_t index = consumeSingle(MacroBlock::Kind::macro).macroIndex;
                block.branches.push_back({index, body(Closer::conditional)});
            } else if (std::holds_alternative<macro::ConditionalElse>(type)) {
                consumeSingle(MacroBlock::Kind::macro);
                block.branches.push_back({std::nullopt, body(Closer::conditional)});
            } else {
                if (std::holds_alternative<macro::ConditionalEnd>(type)) {
                    consumeSingle(MacroBlock::Kind::macro);
                }
                break;
            }
        }
        --openConditionals_;
        --depth_;
        return block;
    }

    MacroBlock section() {
        MacroBlock block = consumeSingle(MacroBlock::Kind::section);
        ++depth_;
        ++openSections_;
        block.body = body(Closer::section);
        --openSections_;
        --depth_;
        if (next_ < macros_.size() &&
            std::holds_alternative<macro::OptionalEnd>(macros_[next_].type)) {
            consumeSingle(MacroBlock::Kind::macro);
        }
        return block;
    }

    std::string_view content_;
    const std::vector<ParsedMacro>& macros_;
    std::size_t next_ = 0;
    std::size_t textStart_ = 0;
    std::size_t depth_ = 0;
    std::size_t openConditionals_ = 0;
    std::size_t openSections_ = 0;
};

}  // namespace

std::vector<MacroBlock> MacroBlock::arrange(std::string_view content,
                                            const std::vector<ParsedMacro>& macros) {
    return Arranger(content, macros).body(Closer::none, macros.size() * 2 + 1);
}

}  // namespace wordloom
