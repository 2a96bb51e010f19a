#include "core/transfer/TEToWordloomMacroConverter.h"

#include <optional>
#include <vector>

#include "core/transfer/DateFormatConversion.h"
#include "core/transfer/MacroWriting.h"

namespace wordloom {
namespace {

constexpr std::string_view kDateCodes = "YyBbmdeAaHIMSpZzjhklFTRDxXc";

bool isDateCodeAt(std::string_view text, std::size_t at, std::size_t* length) {
    if (at + 1 >= text.size() || text[at] != '%') {
        return false;
    }
    std::size_t code = at + 1;
    if (text[code] == '1' || text[code] == '-') {
        ++code;
    }
    if (code >= text.size() || kDateCodes.find(text[code]) == std::string_view::npos) {
        return false;
    }
    *length = code + 1 - at;
    return true;
}

bool isAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

struct FillSpec {
    std::optional<std::string> name;
    std::optional<std::string> defaultValue;
    std::vector<std::string> options;  // popup items, the default among them in place
};

FillSpec parseFill(std::string_view arguments, bool isPopup) {
    FillSpec spec;
    std::size_t start = 0;
    while (start <= arguments.size()) {
        auto end = arguments.find(':', start);
        if (end == std::string_view::npos) {
            end = arguments.size();
        }
        const auto segment = arguments.substr(start, end - start);
        if (segment.starts_with("name=")) {
            spec.name = std::string(segment.substr(5));
        } else if (segment.starts_with("default=")) {
            if (isPopup) {
                spec.defaultValue = std::string(segment.substr(8));
                spec.options.push_back(*spec.defaultValue);
            } else {
                // The default runs to the end: it may hold colons of its own (times, links).
                spec.defaultValue = std::string(arguments.substr(start + 8));
                break;
            }
        } else if (segment.starts_with("width=") || segment.starts_with("height=")) {
        } else if (isPopup) {
            spec.options.emplace_back(segment);
        }
        start = end + 1;
    }
    return spec;
}

class Converter {
  public:
    Converter(std::string_view text, std::set<std::string>& kinds) : text_(text), kinds_(kinds) {}

    std::string run() {
        while (i_ < text_.size()) {
            const char c = text_[i_];
            if (c != '%' || i_ + 1 >= text_.size()) {
                out_ += c;
                ++i_;
                continue;
            }
            if (!convertAt()) {
                out_ += c;
                ++i_;
            }
        }
        return std::move(out_);
    }

  private:
    bool consume(std::string_view prefix) {
        if (text_.substr(i_).starts_with(prefix)) {
            i_ += prefix.size();
            return true;
        }
        return false;
    }

    // The text up to the next "%" (which is consumed), or nothing when there is none.
    std::optional<std::string_view> untilPercent() {
        const auto end = text_.find('%', i_);
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        const auto inside = text_.substr(i_, end - i_);
        i_ = end + 1;
        return inside;
    }

    bool convertAt() {
        const auto start = i_;
        if (consume("%%")) {
            out_ += '%';
            return true;
        }
        if (consume("%|")) {
            out_ += "{{cursor}}";
            return true;
        }
        if (consume("%\\")) {
            kinds_.insert(
                "snippets select text after expanding, which Wordloom cannot; the "
                "selection end was dropped");
            return true;
        }
        if (consume("%clipboard")) {
            out_ += "{{clipboard}}";
            return true;
        }
        if (consume("%+") || consume("%-")) {
            kinds_.insert(
                "snippets keep or drop the typed delimiter; Wordloom's trigger "
                "setting decides instead");
            return true;
        }
        if (consume("%>")) {
            out_ += "{{key:right}}";
            return true;
        }
        if (consume("%<")) {
            out_ += "{{key:left}}";
            return true;
        }
        if (consume("%^")) {
            out_ += "{{key:up}}";
            return true;
        }
        if (consume("%filltop%")) {
            return true;
        }
        if (consume("%fillpartend%")) {
            out_ += "{{/optional}}";
            return true;
        }
        if (consume("%@strftime{")) {
            const auto end = text_.find('}', i_);
            if (end == std::string_view::npos) {
                i_ = start;
                return false;
            }
            appendDate(text_.substr(i_, end - i_));
            i_ = end + 1;
            return true;
        }
        if (consume("%@")) {
            if (readOffset()) {
                return true;
            }
            i_ = start;
            return false;
        }
        for (const auto& [prefix, kind] : {std::pair<std::string_view, int>{"%key:", 0},
                                           {"%snippet:", 1},
                                           {"%filltext:", 2},
                                           {"%fillarea:", 3},
                                           {"%fillpopup:", 4},
                                           {"%fillpart:", 5},
                                           {"%fill:", 6}}) {
            if (!consume(prefix)) {
                continue;
            }
            const auto inside = untilPercent();
            if (!inside) {
                i_ = start;
                return false;
            }
            appendNamed(kind, *inside);
            return true;
        }
        std::size_t length = 0;
        if (isDateCodeAt(text_, i_, &length)) {
            appendDateRun();
            return true;
        }
        return false;
    }

    void appendNamed(int kind, std::string_view inside) {
        switch (kind) {
            case 0:
                out_ += "{{key:" + std::string(inside) + "}}";
                return;
            case 1:
                out_ += "{{snippet:" + std::string(inside) + "}}";
                return;
            case 2:
            case 3: {
                const auto spec = parseFill(inside, false);
                const auto name = spec.name.value_or("field");
                out_ += kind == 2 ? macro_writing::input(name, spec.defaultValue)
                                  : macro_writing::textarea(name, spec.defaultValue);
                return;
            }
            case 4: {
                const auto spec = parseFill(inside, true);
                out_ +=
                    macro_writing::select(spec.name.value_or(""), spec.options, spec.defaultValue);
                return;
            }
            case 5: {
                const auto spec = parseFill(inside, false);
                out_ += "{{optional:name=" +
                        macro_writing::escapeArgument(spec.name.value_or("section"));
                if (spec.defaultValue == "yes") {
                    out_ += ":default=yes";
                }
                out_ += "}}";
                return;
            }
            case 6:
                out_ += macro_writing::input(inside);
                return;
        }
    }

    // "%@+1D": a shift for the date codes that follow.
    bool readOffset() {
        std::size_t j = i_;
        if (j >= text_.size() || (text_[j] != '+' && text_[j] != '-')) {
            return false;
        }
        const char sign = text_[j++];
        const auto digits = j;
        while (j < text_.size() && text_[j] >= '0' && text_[j] <= '9' && j - digits < 9) {
            ++j;
        }
        if (j == digits || j >= text_.size()) {
            return false;
        }
        const auto number = text_.substr(digits, j - digits);
        std::string unit;
        switch (text_[j]) {
            case 'Y':
                unit = "y";
                break;
            case 'M':
                unit = "m";
                break;
            case 'D':
                unit = "d";
                break;
            case 'h':
                unit = "H";
                break;
            case 'm':
                unit = "M";
                break;
            case 's':
                kinds_.insert(
                    "snippets shift dates by seconds, which Wordloom cannot; the date "
                    "is not shifted");
                i_ = j + 1;
                return true;
            default:
                return false;
        }
        pendingOffset_ = std::string(1, sign) + std::string(number) + unit;
        i_ = j + 1;
        return true;
    }

    void appendDate(std::string_view strftime) {
        std::set<std::string> unsupported;
        const auto pattern = strftimeToDatePattern(strftime, unsupported);
        if (!unsupported.empty()) {
            kinds_.insert("snippets use date codes Wordloom has no pattern for, kept as text");
        }
        out_ += macro_writing::date(pendingOffset_, pattern);
        pendingOffset_.clear();
    }

    // Date codes with the short separators between them ("%A, %B %e, %Y") become one macro.
    void appendDateRun() {
        std::string format;
        std::size_t length = 0;
        while (isDateCodeAt(text_, i_, &length)) {
            format += text_.substr(i_, length);
            i_ += length;
            std::size_t j = i_;
            while (j < text_.size() && j - i_ < 3 && text_[j] != '%' && text_[j] != '\n' &&
                   !isAsciiLetter(text_[j])) {
                ++j;
            }
            std::size_t next = 0;
            if (j > i_ && isDateCodeAt(text_, j, &next)) {
                format += text_.substr(i_, j - i_);
                i_ = j;
            } else if (j == i_ && isDateCodeAt(text_, j, &next)) {
                continue;
            } else {
                break;
            }
        }
        appendDate(format);
    }

    std::string_view text_;
    std::set<std::string>& kinds_;
    std::size_t i_ = 0;
    std::string out_;
    std::string pendingOffset_;
};

}  // namespace

std::string TEToWordloomMacroConverter::convert(std::string_view text,
                                                std::set<std::string>& kinds) {
    return Converter(text, kinds).run();
}

}  // namespace wordloom
