#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wordloom {

/// A byte-wise trie from keys (lower-cased abbreviations, or their reversal) to a number the
/// owner gives each key. The children of a node sit next to each other in one array, sorted by
/// byte, so a bulk build from sorted keys allocates once per level of growth and a walk touches
/// few cache lines; a later insertion moves the node's children to the end of the array.
///
/// Not synchronised: SnippetCache owns its tries and guards them with its own lock.
class SnippetTrie {
  public:
    using NodeIndex = std::uint32_t;
    static constexpr NodeIndex noNode = UINT32_MAX;
    static constexpr std::uint32_t noValue = UINT32_MAX;

    struct Entry {
        std::string_view key;
        std::uint32_t value;
    };

    SnippetTrie();

    /// Replaces the contents with `entries`, whose keys are distinct and sorted bytewise.
    void build(const std::vector<Entry>& entries);
    /// Files `value` under `key`, replacing what was there.
    void insert(std::string_view key, std::uint32_t value);

    NodeIndex root() const { return 0; }
    NodeIndex child(NodeIndex node, unsigned char byte) const;
    /// The value filed under the key that ends at `node`, or noValue.
    std::uint32_t value(NodeIndex node) const { return nodes_[node].value; }

    /// The values of every key that starts with `prefix` where the prefix ends on a character
    /// boundary of the key, in key order (bytewise), appended to `out`. Costs the prefix's
    /// length plus the size of the subtree below it, whatever the size of the trie.
    void valuesWithPrefix(std::string_view prefix, std::vector<std::uint32_t>& out) const;

    std::size_t nodeCount() const { return nodes_.size(); }
    std::size_t heapBytes() const { return nodes_.capacity() * sizeof(Node); }

  private:
    struct Node {
        NodeIndex firstChild = 0;
        std::uint32_t value = noValue;
        std::uint16_t childCount = 0;
        unsigned char byte = 0;
    };

    void buildChildren(NodeIndex node, const std::vector<Entry>& entries, std::size_t begin,
                       std::size_t end, std::size_t depth);
    NodeIndex addChild(NodeIndex node, unsigned char byte);
    void refreshRootTable();
    void collect(NodeIndex node, std::string& path, std::size_t prefixLength,
                 std::vector<std::uint32_t>& out) const;

    std::vector<Node> nodes_;
    // The root fans out widest; a direct table spares the first step its search.
    std::array<NodeIndex, 256> rootChildren_;
};

/// Whether byte offset `offset` of `text` falls between two characters (grapheme clusters).
bool isCharacterBoundary(std::string_view text, std::size_t offset);

}  // namespace wordloom
