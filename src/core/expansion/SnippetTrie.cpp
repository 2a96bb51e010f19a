#include "core/expansion/SnippetTrie.h"

#include <algorithm>

#include "core/base/Text.h"

namespace wordloom {

SnippetTrie::SnippetTrie() {
    nodes_.emplace_back();
    rootChildren_.fill(noNode);
}

SnippetTrie::NodeIndex SnippetTrie::child(NodeIndex node, unsigned char byte) const {
    if (node == 0) {
        return rootChildren_[byte];
    }
    const auto& parent = nodes_[node];
    const auto first = parent.firstChild;
    const auto last = first + parent.childCount;
    for (auto c = first; c < last; ++c) {
        const auto here = nodes_[c].byte;
        if (here == byte) {
            return c;
        }
        if (here > byte) {
            break;  // children are sorted
        }
    }
    return noNode;
}

void SnippetTrie::build(const std::vector<Entry>& entries) {
    nodes_.clear();
    std::size_t bytes = 0;
    for (const auto& entry : entries) {
        bytes += entry.key.size();
    }
    // Shared prefixes make the real count smaller; this bounds it.
    nodes_.reserve(bytes + 1);
    nodes_.emplace_back();
    buildChildren(0, entries, 0, entries.size(), 0);
    refreshRootTable();
}

void SnippetTrie::buildChildren(NodeIndex node, const std::vector<Entry>& entries,
                                std::size_t begin, std::size_t end, std::size_t depth) {
    if (end - begin == 1) {
        // Most keys end in a tail of their own: lay it out as a chain, without the search for
        // children.
        const auto key = entries[begin].key;
        auto current = node;
        for (auto d = depth; d < key.size(); ++d) {
            const auto next = static_cast<NodeIndex>(nodes_.size());
            nodes_[current].firstChild = next;
            nodes_[current].childCount = 1;
            nodes_.push_back(Node{0, noValue, 0, static_cast<unsigned char>(key[d])});
            current = next;
        }
        nodes_[current].value = entries[begin].value;
        return;
    }
    auto i = begin;
    // Sorted keys put the one that ends here first.
    if (i < end && entries[i].key.size() == depth) {
        nodes_[node].value = entries[i].value;
        ++i;
    }
    std::uint16_t count = 0;
    for (auto j = i; j < end; ++j) {
        if (j == i || entries[j].key[depth] != entries[j - 1].key[depth]) {
            ++count;
        }
    }
    if (count == 0) {
        return;
    }
    const auto first = static_cast<NodeIndex>(nodes_.size());
    nodes_.resize(nodes_.size() + count);
    nodes_[node].firstChild = first;
    nodes_[node].childCount = count;
    auto childIndex = first;
    while (i < end) {
        const auto byte = static_cast<unsigned char>(entries[i].key[depth]);
        auto j = i + 1;
        while (j < end && static_cast<unsigned char>(entries[j].key[depth]) == byte) {
            ++j;
        }
        nodes_[childIndex].byte = byte;
        buildChildren(childIndex, entries, i, j, depth + 1);
        ++childIndex;
        i = j;
    }
}

SnippetTrie::NodeIndex SnippetTrie::addChild(NodeIndex node, unsigned char byte) {
    // Move the children to the end with the new one in its sorted place; the old slots are
    // left unused. Insertions are rare (single additions between rebuilds).
    const auto oldFirst = nodes_[node].firstChild;
    const auto oldCount = nodes_[node].childCount;
    const auto newFirst = static_cast<NodeIndex>(nodes_.size());
    NodeIndex created = noNode;
    for (std::uint32_t k = 0; k < oldCount; ++k) {
        const auto moved = nodes_[oldFirst + k];
        if (created == noNode && moved.byte > byte) {
            created = static_cast<NodeIndex>(nodes_.size());
            nodes_.push_back(Node{0, noValue, 0, byte});
        }
        nodes_.push_back(moved);
    }
    if (created == noNode) {
        created = static_cast<NodeIndex>(nodes_.size());
        nodes_.push_back(Node{0, noValue, 0, byte});
    }
    nodes_[node].firstChild = newFirst;
    nodes_[node].childCount = static_cast<std::uint16_t>(oldCount + 1);
    if (node == 0) {
        refreshRootTable();
    }
    return created;
}

void SnippetTrie::refreshRootTable() {
    rootChildren_.fill(noNode);
    const auto& root = nodes_[0];
    for (std::uint32_t k = 0; k < root.childCount; ++k) {
        rootChildren_[nodes_[root.firstChild + k].byte] = root.firstChild + k;
    }
}

void SnippetTrie::insert(std::string_view key, std::uint32_t value) {
    NodeIndex node = root();
    for (const char c : key) {
        const auto byte = static_cast<unsigned char>(c);
        const auto next = child(node, byte);
        node = next != noNode ? next : addChild(node, byte);
    }
    nodes_[node].value = value;
}

void SnippetTrie::valuesWithPrefix(std::string_view prefix, std::vector<std::uint32_t>& out) const {
    if (prefix.empty()) {
        return;
    }
    NodeIndex node = root();
    for (const char c : prefix) {
        node = child(node, static_cast<unsigned char>(c));
        if (node == noNode) {
            return;
        }
    }
    std::string path(prefix);
    collect(node, path, prefix.size(), out);
}

void SnippetTrie::collect(NodeIndex node, std::string& path, std::size_t prefixLength,
                          std::vector<std::uint32_t>& out) const {
    const auto& here = nodes_[node];
    if (here.value != noValue && isCharacterBoundary(path, prefixLength)) {
        out.push_back(here.value);
    }
    for (std::uint32_t k = 0; k < here.childCount; ++k) {
        const auto c = here.firstChild + k;
        path.push_back(static_cast<char>(nodes_[c].byte));
        collect(c, path, prefixLength, out);
        path.pop_back();
    }
}

bool isCharacterBoundary(std::string_view text, std::size_t offset) {
    if (offset == 0 || offset >= text.size()) {
        return offset <= text.size();
    }
    const auto before = static_cast<unsigned char>(text[offset - 1]);
    const auto after = static_cast<unsigned char>(text[offset]);
    if (before < 0x80 && after < 0x80) {
        return !(before == '\r' && after == '\n');
    }
    const auto boundaries = text::characterBoundaries(text);
    return std::binary_search(boundaries.begin(), boundaries.end(), offset);
}

}  // namespace wordloom
