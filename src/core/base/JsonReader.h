#pragma once

#include <simdjson.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "core/base/Base64.h"
#include "core/base/Executor.h"
#include "core/base/Uuid.h"

namespace wordloom {

/// Text that is not JSON, or JSON of the wrong shape for what was asked.
class JsonError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

using JsonElement = simdjson::dom::element;
using JsonObject = simdjson::dom::object;
using JsonArray = simdjson::dom::array;

/// A parsed JSON document. Elements handed out live as long as the document.
class JsonDocument {
  public:
    /// Parses `text`; throws JsonError with the parser's reason.
    explicit JsonDocument(std::string_view text);
    JsonDocument(const JsonDocument&) = delete;
    JsonDocument& operator=(const JsonDocument&) = delete;

    JsonElement root() const { return root_; }

  private:
    simdjson::dom::parser parser_;
    JsonElement root_;
};

/// Forgiving readers: a value that is missing or of the wrong type gives nothing.
namespace json {
std::optional<std::string_view> asString(JsonElement element);
std::optional<bool> asBool(JsonElement element);
std::optional<std::int64_t> asInt(JsonElement element);
std::optional<double> asDouble(JsonElement element);
std::optional<JsonObject> asObject(JsonElement element);
std::optional<JsonArray> asArray(JsonElement element);
std::optional<Uuid> asUuid(JsonElement element);
/// ISO 8601 text (with or without fraction or offset), or seconds since 2001-01-01.
std::optional<Timestamp> asDate(JsonElement element);
/// Base64 text.
std::optional<Bytes> asBytes(JsonElement element);

/// The member `key` of `object`, if present.
std::optional<JsonElement> member(JsonObject object, std::string_view key);
}  // namespace json

}  // namespace wordloom
