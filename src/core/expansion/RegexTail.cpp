#include "core/expansion/RegexTail.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace wordloom {
namespace {

unsigned char lowerAscii(unsigned char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

bool isAsciiPunctuation(unsigned char c) {
    return (c >= 0x21 && c <= 0x2F) || (c >= 0x3A && c <= 0x40) || (c >= 0x5B && c <= 0x60) ||
           (c >= 0x7B && c <= 0x7E);
}

RegexCharacterSet digits() {
    RegexCharacterSet set;
    set.addRange('0', '9');
    set.nonAscii = true;  // \d is every decimal digit, Arabic-Indic ones included
    return set;
}

RegexCharacterSet wordCharacters() {
    RegexCharacterSet set;
    set.addRange('a', 'z');
    set.addRange('A', 'Z');
    set.addRange('0', '9');
    set.add('_');
    set.nonAscii = true;
    return set;
}

RegexCharacterSet whiteSpace() {
    RegexCharacterSet set;
    set.addRange(0x09, 0x0D);
    set.addRange(0x1C, 0x20);
    set.nonAscii = true;
    return set;
}

// One element of a pattern's top-level sequence, as far as the tail reading cares.
struct Item {
    enum class Kind { atom, barrier } kind = Kind::atom;
    RegexCharacterSet set;
    std::uint32_t min = 1;
    std::uint32_t max = 1;
    // A plain ASCII character matched once: part of a literal run.
    std::optional<unsigned char> literal;
};

std::uint32_t addBounded(std::uint32_t a, std::uint32_t b) {
    if (a == RegexTail::unbounded || b == RegexTail::unbounded || a > RegexTail::unbounded - b) {
        return RegexTail::unbounded;
    }
    return a + b;
}

// Reads a pattern into a flat sequence of items. Groups without alternation or quantifier are
// spliced into their surroundings, other groups become barriers, and zero-width assertions
// vanish. Any syntax it does not know makes the whole reading fail.
class TailParser {
  public:
    explicit TailParser(std::string_view pattern) : p_(pattern) {}

    std::optional<std::vector<Item>> parse() {
        bool alternated = false;
        auto items = sequence(alternated);
        if (failed_ || i_ != p_.size() || alternated) {
            return std::nullopt;
        }
        return items;
    }

  private:
    bool at(std::string_view text) const { return p_.substr(i_, text.size()) == text; }

    std::vector<Item> sequence(bool& alternated) {
        std::vector<Item> items;
        while (i_ < p_.size() && !failed_ && p_[i_] != ')') {
            if (p_[i_] == '|') {
                alternated = true;
                ++i_;
                continue;
            }
            element(items);
        }
        return items;
    }

    // One atom with its quantifier, appended to `items` (or nothing, for an assertion).
    void element(std::vector<Item>& items) {
        const auto c = static_cast<unsigned char>(p_[i_]);
        if (c == '(') {
            group(items);
            return;
        }
        Item item;
        bool zeroWidth = false;
        if (c == '[') {
            item.set = characterClass();
        } else if (c == '\\') {
            escape(item, zeroWidth);
        } else if (c == '.') {
            item.set = RegexCharacterSet::everything();
            ++i_;
        } else if (c == '^' || c == '$') {
            zeroWidth = true;
            ++i_;
        } else if (c == '*' || c == '+' || c == '?' || c == '{') {
            failed_ = true;  // a quantifier with nothing to repeat
            return;
        } else if (c >= 0x80) {
            // Under case folding one such character may stand for several ("ß" for "ss").
            item.kind = Item::Kind::barrier;
            ++i_;
            while (i_ < p_.size() && (static_cast<unsigned char>(p_[i_]) & 0xC0) == 0x80) {
                ++i_;
            }
        } else {
            item.set = RegexCharacterSet::single(c);
            item.literal = lowerAscii(c);
            ++i_;
        }
        if (failed_) {
            return;
        }
        const bool quantified = quantifier(item);
        if (zeroWidth) {
            return;  // dropping an assertion only lets more texts through
        }
        if (quantified && item.literal) {
            item.literal.reset();
        }
        items.push_back(std::move(item));
    }

    void group(std::vector<Item>& items) {
        ++i_;
        bool assertion = false;
        if (at("?:") || at("?>")) {
            i_ += 2;
        } else if (at("?=") || at("?!")) {
            i_ += 2;
            assertion = true;
        } else if (at("?<=") || at("?<!")) {
            i_ += 3;
            assertion = true;
        } else if (at("?<")) {
            const auto close = p_.find('>', i_);
            if (close == std::string_view::npos) {
                failed_ = true;
                return;
            }
            i_ = close + 1;
        } else if (at("?")) {
            failed_ = true;  // inline flags or a comment change how the rest reads
            return;
        }
        bool alternated = false;
        auto inner = sequence(alternated);
        if (failed_ || i_ >= p_.size() || p_[i_] != ')') {
            failed_ = true;
            return;
        }
        ++i_;
        Item whole;
        const bool quantified = quantifier(whole);
        if (failed_ || assertion) {
            return;
        }
        if (alternated || quantified) {
            items.push_back(Item{Item::Kind::barrier});
            return;
        }
        items.insert(items.end(), inner.begin(), inner.end());
    }

    void escape(Item& item, bool& zeroWidth) {
        if (i_ + 1 >= p_.size()) {
            failed_ = true;
            return;
        }
        const auto e = static_cast<unsigned char>(p_[i_ + 1]);
        i_ += 2;
        switch (e) {
            case 'd':
                item.set = digits();
                return;
            case 'w':
                item.set = wordCharacters();
                return;
            case 's':
                item.set = whiteSpace();
                return;
            case 'D':
            case 'W':
            case 'S':
            case 'h':
            case 'H':
            case 'V':
                item.set = RegexCharacterSet::everything();
                return;
            case 'b':
            case 'B':
            case 'A':
            case 'z':
            case 'Z':
            case 'G':
                zeroWidth = true;
                return;
            case 't':
                item.set = RegexCharacterSet::single('\t');
                return;
            case 'n':
                item.set = RegexCharacterSet::single('\n');
                return;
            case 'r':
                item.set = RegexCharacterSet::single('\r');
                return;
            case 'f':
                item.set = RegexCharacterSet::single('\f');
                return;
            case 'e':
                item.set = RegexCharacterSet::single(0x1B);
                return;
            case 'a':
                item.set = RegexCharacterSet::single(0x07);
                return;
            case 'p':
            case 'P':
            case 'x':
            case 'u':
            case 'U':
            case 'N':
                item.set = RegexCharacterSet::everything();
                skipEscapeArgument(e);
                return;
            case 'v':  // vertical space, or a line break sequence of two characters
            case 'R':
            case 'X':  // a whole grapheme cluster
            case 'k':
                item.kind = Item::Kind::barrier;
                skipEscapeArgument(e);
                return;
            default:
                break;
        }
        if (e >= '0' && e <= '9') {
            // A back reference, or an octal escape after \0: either way of unknown content.
            item.kind = Item::Kind::barrier;
            while (i_ < p_.size() && p_[i_] >= '0' && p_[i_] <= '9') {
                ++i_;
            }
            return;
        }
        if (isAsciiPunctuation(e) || e == ' ') {
            item.set = RegexCharacterSet::single(e);
            item.literal = e;
            return;
        }
        failed_ = true;  // \Q quoting, \c controls and the like: not worth reading
    }

    // Skips the argument of \p{..}, \x{..}, \xhh, \uhhhh, \N{..}, \k<..>.
    void skipEscapeArgument(unsigned char e) {
        if (i_ < p_.size() && (p_[i_] == '{' || p_[i_] == '<')) {
            const auto close = p_.find(p_[i_] == '{' ? '}' : '>', i_);
            if (close == std::string_view::npos) {
                failed_ = true;
                return;
            }
            i_ = close + 1;
            return;
        }
        std::size_t digits = 0;
        switch (e) {
            case 'x':
                digits = 2;
                break;
            case 'u':
                digits = 4;
                break;
            case 'U':
                digits = 8;
                break;
            case 'p':
            case 'P':
                digits = 1;  // \pL
                break;
            default:
                break;
        }
        i_ = std::min(p_.size(), i_ + digits);
    }

    // Reads "[...]"; anything beyond plain characters, ranges and \d \w \s widens it to all.
    RegexCharacterSet characterClass() {
        ++i_;
        RegexCharacterSet set;
        bool widened = false;
        if (i_ < p_.size() && p_[i_] == '^') {
            widened = true;
            ++i_;
        }
        if (i_ < p_.size() && p_[i_] == ']') {
            failed_ = true;
            return set;
        }
        int depth = 0;
        while (i_ < p_.size()) {
            const auto c = static_cast<unsigned char>(p_[i_]);
            if (c == ']') {
                ++i_;
                if (depth == 0) {
                    if (widened) {
                        return RegexCharacterSet::everything();
                    }
                    set.closeOverCase();
                    return set;
                }
                --depth;
                continue;
            }
            if (c == '[') {
                ++depth;  // a nested set or a POSIX class
                widened = true;
                ++i_;
                continue;
            }
            if (c == '\\') {
                if (i_ + 1 >= p_.size()) {
                    break;
                }
                const auto e = static_cast<unsigned char>(p_[i_ + 1]);
                i_ += 2;
                if (e == 'd') {
                    set.addAll(digits());
                } else if (e == 'w') {
                    set.addAll(wordCharacters());
                } else if (e == 's') {
                    set.addAll(whiteSpace());
                } else if (isAsciiPunctuation(e)) {
                    set.add(e);
                } else {
                    widened = true;
                    skipEscapeArgument(e);
                }
                continue;
            }
            if (c >= 0x80 || (c == '-' && i_ + 1 < p_.size() && p_[i_ + 1] == '-') ||
                (c == '&' && i_ + 1 < p_.size() && p_[i_ + 1] == '&')) {
                // Non-ASCII members may fold onto ASCII ones; set operations only remove.
                widened = true;
                ++i_;
                continue;
            }
            if (i_ + 2 < p_.size() && p_[i_ + 1] == '-' && p_[i_ + 2] != ']') {
                const auto last = static_cast<unsigned char>(p_[i_ + 2]);
                if (last >= 0x80 || last == '\\' || last == '[' || last < c) {
                    widened = true;
                } else {
                    set.addRange(c, last);
                }
                i_ += 3;
                continue;
            }
            set.add(c);
            ++i_;
        }
        failed_ = true;  // unclosed
        return set;
    }

    // Reads a quantifier after an atom into `item`; false when there is none.
    bool quantifier(Item& item) {
        if (i_ >= p_.size()) {
            return false;
        }
        std::uint32_t min = 0;
        std::uint32_t max = 0;
        const char c = p_[i_];
        if (c == '*') {
            max = RegexTail::unbounded;
            ++i_;
        } else if (c == '+') {
            min = 1;
            max = RegexTail::unbounded;
            ++i_;
        } else if (c == '?') {
            max = 1;
            ++i_;
        } else if (c == '{') {
            if (!bounds(min, max)) {
                failed_ = true;
                return false;
            }
        } else {
            return false;
        }
        // Lazy and possessive forms match no text the greedy one could not.
        if (i_ < p_.size() && (p_[i_] == '?' || p_[i_] == '+')) {
            ++i_;
        }
        if (i_ < p_.size() && (p_[i_] == '*' || p_[i_] == '+' || p_[i_] == '?' || p_[i_] == '{')) {
            failed_ = true;
            return false;
        }
        item.min = multiply(item.min, min);
        item.max = multiply(item.max, max);
        return true;
    }

    static std::uint32_t multiply(std::uint32_t a, std::uint32_t b) {
        if (a == 0 || b == 0) {
            return 0;
        }
        if (a == RegexTail::unbounded || b == RegexTail::unbounded ||
            a > RegexTail::unbounded / b) {
            return RegexTail::unbounded;
        }
        return a * b;
    }

    // "{n}", "{n,}", "{n,m}".
    bool bounds(std::uint32_t& min, std::uint32_t& max) {
        std::size_t j = i_ + 1;
        const auto number = [&](std::uint32_t& out) {
            const auto start = j;
            std::uint64_t value = 0;
            while (j < p_.size() && p_[j] >= '0' && p_[j] <= '9' && j - start < 9) {
                value = value * 10 + static_cast<std::uint64_t>(p_[j] - '0');
                ++j;
            }
            out = static_cast<std::uint32_t>(value);
            return j > start;
        };
        if (!number(min)) {
            return false;
        }
        max = min;
        if (j < p_.size() && p_[j] == ',') {
            ++j;
            if (!number(max)) {
                max = RegexTail::unbounded;
            }
        }
        if (j >= p_.size() || p_[j] != '}' || max < min) {
            return false;
        }
        i_ = j + 1;
        return true;
    }

    std::string_view p_;
    std::size_t i_ = 0;
    bool failed_ = false;
};

}  // namespace

RegexCharacterSet RegexCharacterSet::everything() {
    RegexCharacterSet set;
    set.ascii = {~std::uint64_t{0}, ~std::uint64_t{0}};
    set.nonAscii = true;
    return set;
}

RegexCharacterSet RegexCharacterSet::single(unsigned char c) {
    RegexCharacterSet set;
    set.add(c);
    set.closeOverCase();
    return set;
}

void RegexCharacterSet::addRange(unsigned char first, unsigned char last) {
    for (unsigned c = first; c <= last && c < 0x80; ++c) {
        add(static_cast<unsigned char>(c));
    }
}

void RegexCharacterSet::addAll(const RegexCharacterSet& other) {
    ascii[0] |= other.ascii[0];
    ascii[1] |= other.ascii[1];
    nonAscii = nonAscii || other.nonAscii;
}

void RegexCharacterSet::closeOverCase() {
    for (unsigned char c = 'a'; c <= 'z'; ++c) {
        const auto upper = static_cast<unsigned char>(c - ('a' - 'A'));
        if (contains(c) || contains(upper)) {
            add(c);
            add(upper);
            nonAscii = true;
        }
    }
}

RegexTail RegexTail::of(std::string_view pattern) {
    RegexTail tail;
    const auto items = TailParser(pattern).parse();
    if (!items) {
        return tail;
    }
    tail.known = true;
    auto it = items->rbegin();
    // The run: every atom after the last literal character, merged into one.
    for (; it != items->rend() && it->kind == Item::Kind::atom && !it->literal; ++it) {
        tail.runSet.addAll(it->set);
        tail.minRun = addBounded(tail.minRun, it->min);
        tail.maxRun = addBounded(tail.maxRun, it->max);
    }
    for (; it != items->rend() && it->kind == Item::Kind::atom && it->literal; ++it) {
        tail.literal.push_back(static_cast<char>(*it->literal));
    }
    std::reverse(tail.literal.begin(), tail.literal.end());
    return tail;
}

}  // namespace wordloom
