#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/expansion/SnippetRef.h"

namespace wordloom {

/// A byte-wise trie from keys (lower-cased abbreviations, or their reversal) to the bucket of
/// snippets filed under each key. Nodes live in one array, so building allocates little and a
/// walk touches few cache lines.
///
/// Not synchronised: SnippetCache owns its tries and guards them with its own lock.
class SnippetTrie {
  public:
    using NodeIndex = std::uint32_t;
    static constexpr NodeIndex noNode = UINT32_MAX;

    SnippetTrie();

    /// Files `bucket` under `key`, replacing what was there.
    void assign(std::string_view key, SnippetBucket bucket);

    NodeIndex root() const { return 0; }
    NodeIndex child(NodeIndex node, unsigned char byte) const;
    /// The bucket filed under the key that ends at `node` (empty for inner nodes).
    const SnippetBucket& bucket(NodeIndex node) const;

    /// The snippets of every key that starts with `prefix` where the prefix ends on a character
    /// boundary of the key, in key order (bytewise). Costs the prefix's length plus the size of
    /// the subtree below it, whatever the size of the trie.
    std::vector<SnippetRef> snippetsWithPrefix(std::string_view prefix) const;

    std::size_t nodeCount() const { return nodes_.size(); }
    bool empty() const { return buckets_.empty(); }

  private:
    struct Node {
        NodeIndex firstChild = noNode;
        NodeIndex nextSibling = noNode;
        std::int32_t bucketIndex = -1;
        unsigned char byte = 0;
    };

    NodeIndex childOrInsert(NodeIndex node, unsigned char byte);
    void collect(NodeIndex node, std::string& path, std::size_t prefixLength,
                 std::vector<SnippetRef>& out) const;

    std::vector<Node> nodes_;
    std::vector<SnippetBucket> buckets_;
    // The root fans out widest; a direct table spares the first step its sibling walk.
    std::array<NodeIndex, 256> rootChildren_;
};

/// Whether byte offset `offset` of `text` falls between two characters (grapheme clusters).
bool isCharacterBoundary(std::string_view text, std::size_t offset);

}  // namespace wordloom
