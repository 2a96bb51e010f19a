#include "core/expansion/RegexBucket.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <string>

namespace wordloom {
namespace {

unsigned char lowerAscii(unsigned char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

struct CodePoint {
    std::size_t start;
    UChar32 value;
};

// The code point that ends at byte `end` of `text` (end > 0); malformed bytes read as U+FFFD.
CodePoint codePointBefore(std::string_view text, std::size_t end) {
    auto offset = static_cast<int32_t>(end);
    UChar32 c = 0;
    U8_PREV_OR_FFFD(reinterpret_cast<const uint8_t*>(text.data()), 0, offset, c);
    return {static_cast<std::size_t>(offset), c};
}

// Whether ignoring case may let `c` match ASCII pattern characters: the Kelvin sign folds to
// "k", "ß" to "ss", "ﬁ" to "fi".
bool foldsOntoAscii(UChar32 c) {
    UChar source[2];
    int32_t length = 0;
    U16_APPEND_UNSAFE(source, length, c);
    UChar folded[8];
    UErrorCode status = U_ZERO_ERROR;
    const auto foldedLength =
        u_strFoldCase(folded, 8, source, length, U_FOLD_CASE_DEFAULT, &status);
    if (U_FAILURE(status)) {
        return true;
    }
    return std::any_of(folded, folded + foldedLength, [](UChar unit) { return unit < 0x80; });
}

// Where `$` may match: at the end, and before a final line terminator.
bool isLineTerminator(UChar32 c) {
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

}  // namespace

RegexBucket::LiteralTrie::LiteralTrie(const std::vector<Entry>& entries) {
    patterns_.reserve(entries.size());
    for (const auto& entry : entries) {
        patterns_.push_back(entry.pattern);
    }
    build(entries, 0, entries.size(), 0);
}

std::uint32_t RegexBucket::LiteralTrie::build(const std::vector<Entry>& entries, std::size_t begin,
                                              std::size_t end, std::size_t depth) {
    const auto index = static_cast<std::uint32_t>(nodes_.size());
    nodes_.emplace_back();
    Node node;
    node.firstPattern = static_cast<std::uint32_t>(begin);
    node.subtreeEnd = static_cast<std::uint32_t>(end);
    // Sorted entries put the literals that end here first, then each child's range in byte
    // order: the depth-first order the pattern ranges rely on.
    auto i = begin;
    while (i < end && entries[i].reversedLiteral.size() == depth) {
        ++i;
    }
    node.ownEnd = static_cast<std::uint32_t>(i);
    std::vector<Edge> children;
    while (i < end) {
        const auto byte = static_cast<unsigned char>(entries[i].reversedLiteral[depth]);
        auto j = i;
        while (j < end && static_cast<unsigned char>(entries[j].reversedLiteral[depth]) == byte) {
            ++j;
        }
        children.push_back({byte, build(entries, i, j, depth + 1)});
        i = j;
    }
    node.firstEdge = static_cast<std::uint32_t>(edges_.size());
    node.edgeCount = static_cast<std::uint32_t>(children.size());
    edges_.insert(edges_.end(), children.begin(), children.end());
    nodes_[index] = node;
    return index;
}

std::uint32_t RegexBucket::LiteralTrie::childOf(const Node& node, unsigned char byte) const {
    const auto first = edges_.begin() + node.firstEdge;
    const auto last = first + node.edgeCount;
    const auto found = std::lower_bound(
        first, last, byte, [](const Edge& edge, unsigned char b) { return edge.byte < b; });
    return found != last && found->byte == byte ? found->child : UINT32_MAX;
}

void RegexBucket::LiteralTrie::collect(std::string_view text, std::size_t end,
                                       std::vector<std::uint32_t>& out) const {
    if (nodes_.empty()) {
        return;
    }
    const Node* node = &nodes_[0];
    for (;;) {
        out.insert(out.end(), patterns_.begin() + node->firstPattern,
                   patterns_.begin() + node->ownEnd);
        if (node->edgeCount == 0 || end == 0) {
            return;
        }
        const auto byte = static_cast<unsigned char>(text[end - 1]);
        if (byte >= 0x80) {
            // Literals are ASCII: only a character that folds onto ASCII can go on matching,
            // and then possibly as several of them; let every literal below through.
            if (foldsOntoAscii(codePointBefore(text, end).value)) {
                out.insert(out.end(), patterns_.begin() + node->ownEnd,
                           patterns_.begin() + node->subtreeEnd);
            }
            return;
        }
        const auto child = childOf(*node, lowerAscii(byte));
        if (child == UINT32_MAX) {
            return;
        }
        node = &nodes_[child];
        --end;
    }
}

void RegexBucket::LiteralTrie::collectAll(std::vector<std::uint32_t>& out) const {
    out.insert(out.end(), patterns_.begin(), patterns_.end());
}

void RegexBucket::RunGroup::collect(std::string_view text, std::vector<std::uint32_t>& out) const {
    // Every way the run can end the text leaves a place where the literal must end.
    std::size_t end = text.size();
    std::uint32_t taken = 0;
    if (minRun == 0) {
        literals.collect(text, end, out);
    }
    while (end > 0 && taken < maxRun) {
        const auto byte = static_cast<unsigned char>(text[end - 1]);
        if (byte < 0x80) {
            if (!set.contains(byte)) {
                return;
            }
            --end;
        } else {
            // Sets match one code point at a time, folded or not.
            if (!set.nonAscii) {
                return;
            }
            end = codePointBefore(text, end).start;
        }
        if (++taken >= minRun) {
            literals.collect(text, end, out);
        }
    }
}

RegexBucket::RegexBucket(std::vector<SnippetRef> snippets, const std::vector<RegexTail>& tails)
    : snippets_(std::move(snippets)) {
    struct Pending {
        const RegexTail* tail;
        std::vector<LiteralTrie::Entry> entries;
    };
    std::vector<std::string> reversed(snippets_.size());
    std::vector<Pending> pending;
    for (std::uint32_t i = 0; i < snippets_.size(); ++i) {
        const auto& tail = tails[i];
        if (!tail.known) {
            unrestricted_.push_back(i);
            continue;
        }
        reversed[i].assign(tail.literal.rbegin(), tail.literal.rend());
        auto group = std::find_if(pending.begin(), pending.end(), [&](const Pending& p) {
            return p.tail->runSet == tail.runSet && p.tail->minRun == tail.minRun &&
                   p.tail->maxRun == tail.maxRun;
        });
        if (group == pending.end()) {
            pending.push_back({&tail, {}});
            group = std::prev(pending.end());
        }
        group->entries.push_back({reversed[i], i});
    }
    groups_.reserve(pending.size());
    for (auto& [tail, entries] : pending) {
        std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
            return a.reversedLiteral != b.reversedLiteral ? a.reversedLiteral < b.reversedLiteral
                                                          : a.pattern < b.pattern;
        });
        groups_.push_back({tail->runSet, tail->minRun, tail->maxRun, LiteralTrie(entries)});
    }
}

void RegexBucket::candidatesFor(std::string_view text, std::vector<std::uint32_t>& out) const {
    out.clear();
    if (snippets_.empty() || text.empty()) {
        return;
    }
    out.insert(out.end(), unrestricted_.begin(), unrestricted_.end());
    const auto collectEndingAt = [&](std::size_t end) {
        for (const auto& group : groups_) {
            group.collect(text.substr(0, end), out);
        }
    };
    collectEndingAt(text.size());
    const auto last = codePointBefore(text, text.size());
    if (isLineTerminator(last.value)) {
        collectEndingAt(last.start);
        if (last.value == '\n' && last.start > 0 && text[last.start - 1] == '\r') {
            collectEndingAt(last.start - 1);
        }
    }
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
}

}  // namespace wordloom
