#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "core/library/Snippet.h"

namespace wordloom {

/// A snippet as the indexes hold it: shared, immutable, so that a lookup hands it out without
/// copying the record.
using SnippetRef = std::shared_ptr<const Snippet>;

/// The snippets filed under one key, in library order. Shared and immutable: a lookup returns
/// it with one reference-count increment, and an insertion replaces the whole list.
class SnippetBucket {
  public:
    using List = std::vector<SnippetRef>;

    SnippetBucket() = default;
    explicit SnippetBucket(std::shared_ptr<const List> list) : list_(std::move(list)) {}

    bool empty() const { return !list_ || list_->empty(); }
    std::size_t size() const { return list_ ? list_->size() : 0; }
    const Snippet& operator[](std::size_t index) const { return *(*list_)[index]; }
    const SnippetRef& ref(std::size_t index) const { return (*list_)[index]; }

    List::const_iterator begin() const { return list_ ? list_->begin() : emptyList().begin(); }
    List::const_iterator end() const { return list_ ? list_->end() : emptyList().end(); }

    /// A new bucket holding this one's snippets followed by `snippet`.
    SnippetBucket appending(SnippetRef snippet) const {
        auto list = list_ ? std::make_shared<List>(*list_) : std::make_shared<List>();
        list->push_back(std::move(snippet));
        return SnippetBucket(std::move(list));
    }

  private:
    static const List& emptyList() {
        static const List empty;
        return empty;
    }

    std::shared_ptr<const List> list_;
};

}  // namespace wordloom
