#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "core/library/Snippet.h"

namespace wordloom {

/// A snippet as the indexes hold it: shared, immutable, so that a lookup hands it out without
/// copying the record.
using SnippetRef = std::shared_ptr<const Snippet>;

/// The snippets filed under one key, in library order: a view into a list the index shares
/// with every bucket handed out, so a lookup costs one reference-count increment and the
/// snippets stay valid after the index has been replaced.
class SnippetBucket {
  public:
    using List = std::vector<SnippetRef>;

    SnippetBucket() = default;
    /// `count` snippets of `list` from `offset` on.
    SnippetBucket(std::shared_ptr<const List> list, std::size_t offset, std::size_t count)
        : list_(std::move(list)),
          first_(list_ ? list_->data() + offset : nullptr),
          count_(list_ ? count : 0) {}

    bool empty() const { return count_ == 0; }
    std::size_t size() const { return count_; }
    const Snippet& operator[](std::size_t index) const { return *first_[index]; }
    const SnippetRef& ref(std::size_t index) const { return first_[index]; }

    const SnippetRef* begin() const { return first_; }
    const SnippetRef* end() const { return first_ + count_; }

  private:
    std::shared_ptr<const List> list_;
    const SnippetRef* first_ = nullptr;
    std::size_t count_ = 0;
};

}  // namespace wordloom
