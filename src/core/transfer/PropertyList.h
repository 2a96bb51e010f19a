#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Executor.h"

namespace wordloom {

/// A read-only view of one value of a parsed property list (XML or binary, through libplist).
/// Views stay valid while the PropertyList they came from lives.
class PropertyListValue {
  public:
    explicit PropertyListValue(void* node = nullptr) : node_(node) {}

    bool exists() const { return node_ != nullptr; }
    bool isDictionary() const;
    bool isArray() const;

    /// The member `key` of a dictionary (an empty view otherwise).
    PropertyListValue operator[](const char* key) const;
    /// The elements of an array (nothing otherwise).
    std::vector<PropertyListValue> elements() const;
    /// The keys of a dictionary, in the document's order.
    std::vector<std::string> keys() const;

    std::optional<std::string> string() const;
    std::optional<std::int64_t> integer() const;
    std::optional<bool> boolean() const;
    std::optional<Timestamp> date() const;

  private:
    void* node_;
};

/// A parsed property list. Throws ImportError for bytes that are none.
class PropertyList {
  public:
    explicit PropertyList(std::string_view bytes, const std::string& fileName);
    PropertyList(const PropertyList&) = delete;
    PropertyList& operator=(const PropertyList&) = delete;

    PropertyListValue root() const { return PropertyListValue(root_.get()); }

  private:
    std::unique_ptr<void, void (*)(void*)> root_;
};

}  // namespace wordloom
