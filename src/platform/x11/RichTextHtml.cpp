#include "platform/x11/RichTextHtml.h"

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <optional>
#include <vector>

namespace wordloom {

namespace {

// Groups nested deeper than this are read but what they hold is dropped: no real document
// nests so far, and a hostile one must not grow the state stack without bound.
constexpr std::size_t maxGroupDepth = 256;

struct Format {
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool strike = false;
    std::string link;
    bool operator==(const Format&) const = default;
};

enum class Destination { text, skip, fieldInstruction };

struct GroupState {
    Format format;
    Destination destination = Destination::text;
    int unicodeSkip = 1;
    int field = -1;                     // index of the \field this group belongs to
    bool ignorableDestination = false;  // the group started with \*
};

struct Run {
    Format format;
    std::string text;  // UTF-8; '\n' is a line break within the paragraph
};

using Paragraph = std::vector<Run>;

void appendUtf8(std::string& out, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        c = 0xFFFD;
    }
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

bool converterExists(const std::string& name) {
    UErrorCode status = U_ZERO_ERROR;
    UConverter* converter = ucnv_open(name.c_str(), &status);
    if (converter) {
        ucnv_close(converter);
    }
    return U_SUCCESS(status) && converter;
}

/// The ICU converter name for an RTF code page number.
std::string codePageName(long codePage) {
    if (codePage == 65001) {
        return "UTF-8";
    }
    if (codePage == 10000) {
        return "macintosh";
    }
    for (const std::string& name :
         {"windows-" + std::to_string(codePage), "cp" + std::to_string(codePage)}) {
        if (converterExists(name)) {
            return name;
        }
    }
    return "windows-1252";
}

/// Bytes in a legacy code page (or UTF-8) to UTF-8; undecodable bytes become U+FFFD.
std::string decode(const std::string& bytes, const std::string& codePage) {
    const icu::UnicodeString text(bytes.data(), static_cast<int32_t>(bytes.size()),
                                  codePage.c_str());
    std::string utf8;
    if (!text.isBogus()) {
        text.toUTF8String(utf8);
    }
    return utf8;
}

std::string lowercased(std::string_view value) {
    std::string result(value);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

/// The address of a HYPERLINK field instruction, when it is one a pasted document may follow.
std::string linkTarget(std::string_view instruction) {
    std::size_t position = instruction.find_first_not_of(" \t\r\n");
    if (position == std::string_view::npos ||
        lowercased(instruction.substr(position, 9)) != "hyperlink") {
        return {};
    }
    position += 9;
    bool anchor = false;
    std::string target;
    while (position < instruction.size()) {
        const char c = instruction[position];
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            ++position;
        } else if (c == '\\') {
            // A switch: \l names a bookmark in the same document; the others do not matter.
            anchor = anchor || instruction.substr(position, 2) == "\\l";
            position = instruction.find(' ', position);
        } else if (c == '"') {
            const std::size_t end = instruction.find('"', position + 1);
            target = std::string(instruction.substr(position + 1, end == std::string_view::npos
                                                                      ? std::string_view::npos
                                                                      : end - position - 1));
            break;
        } else {
            const std::size_t end = instruction.find_first_of(" \t\r\n", position);
            target = std::string(instruction.substr(position, end - position));
            break;
        }
    }
    if (target.empty()) {
        return {};
    }
    if (anchor) {
        return "#" + target;
    }
    const std::string lowered = lowercased(target);
    for (const char* scheme : {"http:", "https:", "mailto:", "tel:", "ftp:", "file:", "#"}) {
        if (lowered.rfind(scheme, 0) == 0) {
            return target;
        }
    }
    return {};
}

bool isSkippedDestination(std::string_view word) {
    static constexpr std::string_view skipped[] = {
        "fonttbl",      "colortbl",  "stylesheet", "info",      "pict",
        "header",       "headerl",   "headerr",    "headerf",   "footer",
        "footerl",      "footerr",   "footerf",    "listtable", "listoverridetable",
        "rsidtbl",      "generator", "xmlnstbl",   "themedata", "colorschememapping",
        "latentstyles", "datastore", "filetbl",    "revtbl",    "object",
        "nonshppict",   "footnote",  "annotation", "txe",       "private",
        "userprops",    "mmathPr",   "bkmkstart",  "bkmkend"};
    return std::find(std::begin(skipped), std::end(skipped), word) != std::end(skipped);
}

class RtfReader {
  public:
    explicit RtfReader(std::string_view rtf) : input_(rtf) { stack_.emplace_back(); }

    std::vector<Paragraph> read() {
        while (position_ < input_.size()) {
            const char c = input_[position_++];
            switch (c) {
                case '{':
                    openGroup();
                    break;
                case '}':
                    closeGroup();
                    break;
                case '\\':
                    readControl();
                    break;
                case '\r':
                case '\n':
                    break;
                default:
                    textByte(c);
                    break;
            }
        }
        flushBytes();
        return std::move(paragraphs_);
    }

  private:
    GroupState& state() { return stack_.back(); }

    void openGroup() {
        flushBytes();
        pendingSkip_ = 0;
        if (stack_.size() >= maxGroupDepth) {
            ++overflowDepth_;
            return;
        }
        GroupState inner = state();
        inner.ignorableDestination = false;
        stack_.push_back(std::move(inner));
    }

    void closeGroup() {
        flushBytes();
        pendingSkip_ = 0;
        if (overflowDepth_ > 0) {
            --overflowDepth_;
        } else if (stack_.size() > 1) {
            stack_.pop_back();
        }
    }

    bool skippingOne() {
        if (pendingSkip_ > 0) {
            --pendingSkip_;
            return true;
        }
        return false;
    }

    void textByte(char c) {
        if (skippingOne()) {
            return;
        }
        if (static_cast<unsigned char>(c) >= 0x80) {
            bytes_ += c;
            return;
        }
        flushBytes();
        emit(std::string(1, c));
    }

    void flushBytes() {
        if (!bytes_.empty()) {
            emit(decode(bytes_, codePage_));
            bytes_.clear();
        }
    }

    void emit(const std::string& utf8) {
        if (highSurrogate_) {
            highSurrogate_ = 0;
            emitNow("\xEF\xBF\xBD");
        }
        emitNow(utf8);
    }

    void emitNow(const std::string& utf8) {
        if (overflowDepth_ > 0) {
            return;
        }
        switch (state().destination) {
            case Destination::skip:
                return;
            case Destination::fieldInstruction:
                if (state().field >= 0) {
                    fieldInstructions_[static_cast<std::size_t>(state().field)] += utf8;
                }
                return;
            case Destination::text:
                break;
        }
        if (paragraphs_.empty()) {
            paragraphs_.emplace_back();
        }
        auto& runs = paragraphs_.back();
        if (runs.empty() || !(runs.back().format == state().format)) {
            runs.push_back({state().format, {}});
        }
        runs.back().text += utf8;
    }

    void paragraphBreak() {
        flushBytes();
        if (overflowDepth_ > 0 || state().destination != Destination::text) {
            return;
        }
        if (paragraphs_.empty()) {
            paragraphs_.emplace_back();
        }
        paragraphs_.emplace_back();
    }

    void readControl() {
        if (position_ >= input_.size()) {
            return;
        }
        const char c = input_[position_];
        if (std::isalpha(static_cast<unsigned char>(c))) {
            readControlWord();
            return;
        }
        ++position_;
        if (c == '\'') {
            readHexByte();
            return;
        }
        flushBytes();
        if (skippingOne()) {
            return;
        }
        switch (c) {
            case '\\':
            case '{':
            case '}':
                emit(std::string(1, c));
                break;
            case '\r':
            case '\n':
                paragraphBreak();
                break;
            case '~':
                emit("\xC2\xA0");
                break;
            case '_':
                emit("\xE2\x80\x91");
                break;
            case '*':
                state().ignorableDestination = true;
                break;
            default:
                break;  // \- (optional hyphen), \: (index entry) and the like show nothing
        }
    }

    void readHexByte() {
        const auto hex = input_.substr(position_, 2);
        const bool valid = hex.size() == 2 && std::isxdigit(static_cast<unsigned char>(hex[0])) &&
                           std::isxdigit(static_cast<unsigned char>(hex[1]));
        if (!valid) {
            return;
        }
        position_ += 2;
        if (skippingOne()) {
            return;
        }
        bytes_ += static_cast<char>(std::strtol(std::string(hex).c_str(), nullptr, 16));
    }

    void readControlWord() {
        const std::size_t start = position_;
        while (position_ < input_.size() && position_ - start < 32 &&
               std::isalpha(static_cast<unsigned char>(input_[position_]))) {
            ++position_;
        }
        const std::string_view word = input_.substr(start, position_ - start);
        std::optional<long> parameter;
        const std::size_t numberStart = position_;
        if (position_ < input_.size() && input_[position_] == '-') {
            ++position_;
        }
        while (position_ < input_.size() && position_ - numberStart < 11 &&
               std::isdigit(static_cast<unsigned char>(input_[position_]))) {
            ++position_;
        }
        if (position_ > numberStart && input_[position_ - 1] != '-') {
            parameter = std::strtol(
                std::string(input_.substr(numberStart, position_ - numberStart)).c_str(), nullptr,
                10);
        } else {
            position_ = numberStart;
        }
        if (position_ < input_.size() && input_[position_] == ' ') {
            ++position_;
        }
        if (word == "bin") {
            // Binary data follows, whatever the state.
            position_ += static_cast<std::size_t>(std::clamp<long>(
                parameter.value_or(0), 0, static_cast<long>(input_.size() - position_)));
            return;
        }
        if (word != "u") {
            flushBytes();
        }
        if (skippingOne()) {
            return;
        }
        controlWord(word, parameter);
    }

    void unicodeCharacter(long value) {
        flushBytes();
        if (value < 0) {
            value += 65536;
        }
        const auto unit = static_cast<char32_t>(value & 0xFFFF);
        pendingSkip_ = state().unicodeSkip;
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            if (highSurrogate_) {
                emitNow("\xEF\xBF\xBD");
            }
            highSurrogate_ = unit;
            return;
        }
        std::string utf8;
        if (unit >= 0xDC00 && unit <= 0xDFFF) {
            if (!highSurrogate_) {
                emitNow("\xEF\xBF\xBD");
                return;
            }
            appendUtf8(utf8, 0x10000 + ((highSurrogate_ - 0xD800) << 10) + (unit - 0xDC00));
            highSurrogate_ = 0;
            emitNow(utf8);
            return;
        }
        appendUtf8(utf8, unit);
        emit(utf8);
    }

    void controlWord(std::string_view word, std::optional<long> parameter) {
        if (overflowDepth_ > 0) {
            return;
        }
        const bool on = parameter.value_or(1) != 0;
        GroupState& group = state();
        if (group.ignorableDestination) {
            group.ignorableDestination = false;
            if (word == "fldinst" && group.field >= 0) {
                group.destination = Destination::fieldInstruction;
            } else {
                group.destination = Destination::skip;
            }
            return;
        }
        if (isSkippedDestination(word)) {
            group.destination = Destination::skip;
        } else if (word == "u") {
            unicodeCharacter(parameter.value_or(0));
        } else if (word == "uc") {
            group.unicodeSkip = static_cast<int>(std::clamp<long>(parameter.value_or(1), 0, 16));
        } else if (word == "ansicpg" && parameter) {
            codePage_ = codePageName(*parameter);
        } else if (word == "mac") {
            codePage_ = "macintosh";
        } else if (word == "pc") {
            codePage_ = codePageName(437);
        } else if (word == "pca") {
            codePage_ = codePageName(850);
        } else if (word == "par" || word == "sect" || word == "page" || word == "row") {
            paragraphBreak();
        } else if (word == "line") {
            emit("\n");
        } else if (word == "tab" || word == "cell") {
            emit("\t");
        } else if (word == "b") {
            group.format.bold = on;
        } else if (word == "i") {
            group.format.italic = on;
        } else if (word == "strike" || word == "striked") {
            group.format.strike = on;
        } else if (word == "ulnone") {
            group.format.underline = false;
        } else if (word.rfind("ul", 0) == 0 && word != "ulc") {
            group.format.underline = on;
        } else if (word == "plain") {
            const std::string link = group.format.link;
            group.format = Format{};
            group.format.link = link;
        } else if (word == "field") {
            group.field = static_cast<int>(fieldInstructions_.size());
            fieldInstructions_.emplace_back();
        } else if (word == "fldinst") {
            group.destination =
                group.field >= 0 ? Destination::fieldInstruction : Destination::skip;
        } else if (word == "fldrslt") {
            group.destination = Destination::text;
            if (group.field >= 0) {
                group.format.link =
                    linkTarget(fieldInstructions_[static_cast<std::size_t>(group.field)]);
            }
        } else {
            symbol(word);
        }
    }

    void symbol(std::string_view word) {
        static constexpr std::pair<std::string_view, const char*> symbols[] = {
            {"emdash", "\xE2\x80\x94"},    {"endash", "\xE2\x80\x93"},
            {"lquote", "\xE2\x80\x98"},    {"rquote", "\xE2\x80\x99"},
            {"ldblquote", "\xE2\x80\x9C"}, {"rdblquote", "\xE2\x80\x9D"},
            {"bullet", "\xE2\x80\xA2"},    {"emspace", "\xE2\x80\x83"},
            {"enspace", "\xE2\x80\x82"},   {"qmspace", "\xE2\x80\x85"}};
        for (const auto& [name, text] : symbols) {
            if (word == name) {
                emit(text);
                return;
            }
        }
    }

    std::string_view input_;
    std::size_t position_ = 0;
    std::vector<GroupState> stack_;
    std::vector<Paragraph> paragraphs_;
    std::vector<std::string> fieldInstructions_;
    std::string bytes_;
    std::string codePage_ = "windows-1252";
    int pendingSkip_ = 0;
    std::size_t overflowDepth_ = 0;  // groups opened beyond maxGroupDepth
    char32_t highSurrogate_ = 0;
};

void appendEscaped(std::string& html, std::string_view text, bool attribute) {
    for (const char c : text) {
        switch (c) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += attribute ? "&quot;" : "\"";
                break;
            case '\n':
                html += attribute ? " " : "<br>";
                break;
            default:
                html += c;
                break;
        }
    }
}

void appendRun(std::string& html, const Run& run) {
    const std::pair<bool, const char*> tags[] = {{run.format.bold, "b"},
                                                 {run.format.italic, "i"},
                                                 {run.format.underline, "u"},
                                                 {run.format.strike, "s"}};
    for (const auto& [on, tag] : tags) {
        if (on) {
            html += std::string("<") + tag + ">";
        }
    }
    appendEscaped(html, run.text, false);
    for (auto tag = std::rbegin(tags); tag != std::rend(tags); ++tag) {
        if (tag->first) {
            html += std::string("</") + tag->second + ">";
        }
    }
}

std::string render(const std::vector<Paragraph>& paragraphs) {
    // pre-wrap keeps runs of spaces and tabs; the markup itself holds no raw line breaks.
    std::string html = "<!DOCTYPE html><html><head><meta charset=\"utf-8\"></head><body>";
    for (const auto& paragraph : paragraphs) {
        html += "<p style=\"margin:0;white-space:pre-wrap\">";
        bool any = false;
        std::string link;
        for (const auto& run : paragraph) {
            if (run.text.empty()) {
                continue;
            }
            if (run.format.link != link) {
                if (!link.empty()) {
                    html += "</a>";
                }
                link = run.format.link;
                if (!link.empty()) {
                    html += "<a href=\"";
                    appendEscaped(html, link, true);
                    html += "\">";
                }
            }
            appendRun(html, run);
            any = true;
        }
        if (!link.empty()) {
            html += "</a>";
        }
        if (!any) {
            html += "<br>";
        }
        html += "</p>";
    }
    html += "</body></html>";
    return html;
}

std::vector<Paragraph> plainParagraphs(std::string_view text) {
    const std::string decoded = decode(std::string(text), "UTF-8");
    if (decoded.empty()) {
        return {};
    }
    std::vector<Paragraph> paragraphs(1);
    for (const char c : decoded) {
        if (c == '\n') {
            paragraphs.emplace_back();
        } else if (c != '\r') {
            if (paragraphs.back().empty()) {
                paragraphs.back().push_back({});
            }
            paragraphs.back().back().text += c;
        }
    }
    return paragraphs;
}

}  // namespace

std::string htmlFromRichText(std::string_view rtf) {
    const std::size_t start = rtf.find_first_not_of(" \t\r\n");
    const bool isRtf = start != std::string_view::npos && rtf.substr(start, 5) == "{\\rtf";
    return render(isRtf ? RtfReader(rtf).read() : plainParagraphs(rtf));
}

}  // namespace wordloom
