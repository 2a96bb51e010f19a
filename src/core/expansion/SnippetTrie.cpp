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
    for (NodeIndex c = nodes_[node].firstChild; c != noNode; c = nodes_[c].nextSibling) {
        if (nodes_[c].byte == byte) {
            return c;
        }
    }
    return noNode;
}

SnippetTrie::NodeIndex SnippetTrie::childOrInsert(NodeIndex node, unsigned char byte) {
    if (const auto existing = child(node, byte); existing != noNode) {
        return existing;
    }
    const auto created = static_cast<NodeIndex>(nodes_.size());
    Node fresh;
    fresh.byte = byte;
    fresh.nextSibling = nodes_[node].firstChild;
    nodes_.push_back(fresh);
    nodes_[node].firstChild = created;
    if (node == 0) {
        rootChildren_[byte] = created;
    }
    return created;
}

void SnippetTrie::assign(std::string_view key, SnippetBucket bucket) {
    NodeIndex node = root();
    for (const char c : key) {
        node = childOrInsert(node, static_cast<unsigned char>(c));
    }
    auto& index = nodes_[node].bucketIndex;
    if (index < 0) {
        index = static_cast<std::int32_t>(buckets_.size());
        buckets_.push_back(std::move(bucket));
    } else {
        buckets_[static_cast<std::size_t>(index)] = std::move(bucket);
    }
}

const SnippetBucket& SnippetTrie::bucket(NodeIndex node) const {
    static const SnippetBucket none;
    const auto index = nodes_[node].bucketIndex;
    return index < 0 ? none : buckets_[static_cast<std::size_t>(index)];
}

std::vector<SnippetRef> SnippetTrie::snippetsWithPrefix(std::string_view prefix) const {
    std::vector<SnippetRef> out;
    if (prefix.empty()) {
        return out;
    }
    NodeIndex node = root();
    for (const char c : prefix) {
        node = child(node, static_cast<unsigned char>(c));
        if (node == noNode) {
            return out;
        }
    }
    std::string path(prefix);
    collect(node, path, prefix.size(), out);
    return out;
}

void SnippetTrie::collect(NodeIndex node, std::string& path, std::size_t prefixLength,
                          std::vector<SnippetRef>& out) const {
    // Children are linked newest first; visit them in byte order so results do not depend on
    // insertion order.
    std::vector<NodeIndex> children;
    for (NodeIndex c = nodes_[node].firstChild; c != noNode; c = nodes_[c].nextSibling) {
        children.push_back(c);
    }
    std::sort(children.begin(), children.end(),
              [this](NodeIndex a, NodeIndex b) { return nodes_[a].byte < nodes_[b].byte; });

    const auto& here = bucket(node);
    if (!here.empty() && isCharacterBoundary(path, prefixLength)) {
        out.insert(out.end(), here.begin(), here.end());
    }
    for (const auto c : children) {
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
