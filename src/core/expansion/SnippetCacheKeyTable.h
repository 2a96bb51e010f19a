#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace wordloom {

/// A hash table from keys to dense numbers 0, 1, 2... in order of first insertion, open
/// addressed in one array. The keys are views: their bytes must outlive the table (the cache
/// points them at the snippets' own abbreviations or at its key arena).
class SnippetCacheKeyTable {
  public:
    static constexpr std::uint32_t absent = UINT32_MAX;

    /// Room for `count` keys without growing.
    void reserve(std::size_t count) {
        std::size_t capacity = 16;
        while (capacity < count * 2) {
            capacity *= 2;
        }
        keys_.reserve(count);
        if (capacity > slots_.size()) {
            rehash(capacity);
        }
    }

    /// The number of `key`, giving it the next one when it is new.
    std::uint32_t intern(std::string_view key) {
        if ((keys_.size() + 1) * 2 > slots_.size()) {
            rehash(slots_.empty() ? 16 : slots_.size() * 2);
        }
        const auto mask = slots_.size() - 1;
        for (auto slot = hash(key) & mask;; slot = (slot + 1) & mask) {
            auto& id = slots_[slot];
            if (id == absent) {
                id = static_cast<std::uint32_t>(keys_.size());
                keys_.push_back(key);
                return id;
            }
            if (keys_[id] == key) {
                return id;
            }
        }
    }

    /// The number of `key`, or absent.
    std::uint32_t find(std::string_view key) const {
        if (slots_.empty()) {
            return absent;
        }
        const auto mask = slots_.size() - 1;
        for (auto slot = hash(key) & mask;; slot = (slot + 1) & mask) {
            const auto id = slots_[slot];
            if (id == absent || keys_[id] == key) {
                return id;
            }
        }
    }

    std::size_t size() const { return keys_.size(); }
    std::string_view key(std::uint32_t id) const { return keys_[id]; }
    std::size_t heapBytes() const {
        return slots_.capacity() * sizeof(std::uint32_t) +
               keys_.capacity() * sizeof(std::string_view);
    }

  private:
    static std::size_t hash(std::string_view key) { return std::hash<std::string_view>{}(key); }

    void rehash(std::size_t capacity) {
        slots_.assign(capacity, absent);
        const auto mask = capacity - 1;
        for (std::uint32_t id = 0; id < keys_.size(); ++id) {
            auto slot = hash(keys_[id]) & mask;
            while (slots_[slot] != absent) {
                slot = (slot + 1) & mask;
            }
            slots_[slot] = id;
        }
    }

    std::vector<std::uint32_t> slots_;  // capacity a power of two, at most half full
    std::vector<std::string_view> keys_;
};

}  // namespace wordloom
