#include "core/base/JsonReader.h"

#include <cmath>

#include "core/base/Iso8601.h"

namespace wordloom {

JsonDocument::JsonDocument(std::string_view text) {
    auto result = parser_.parse(text.data(), text.size(), true);
    if (result.error() != simdjson::SUCCESS) {
        throw JsonError(std::string("The data isn't valid JSON (") +
                        simdjson::error_message(result.error()) + ")");
    }
    root_ = result.value_unsafe();
}

namespace json {

std::optional<std::string_view> asString(JsonElement element) {
    std::string_view value;
    if (element.get_string().get(value) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    return value;
}

std::optional<bool> asBool(JsonElement element) {
    bool value = false;
    if (element.get_bool().get(value) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::int64_t> asInt(JsonElement element) {
    std::int64_t value = 0;
    if (element.get_int64().get(value) == simdjson::SUCCESS) {
        return value;
    }
    // 3.0 is a whole number to any JSON writer that prints doubles.
    double d = 0;
    if (element.get_double().get(d) == simdjson::SUCCESS && std::isfinite(d) &&
        std::trunc(d) == d && std::fabs(d) < 9.0e18) {
        return static_cast<std::int64_t>(d);
    }
    return std::nullopt;
}

std::optional<double> asDouble(JsonElement element) {
    double value = 0;
    if (element.get_double().get(value) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    return value;
}

std::optional<JsonObject> asObject(JsonElement element) {
    JsonObject value;
    if (element.get_object().get(value) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    return value;
}

std::optional<JsonArray> asArray(JsonElement element) {
    JsonArray value;
    if (element.get_array().get(value) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    return value;
}

std::optional<Uuid> asUuid(JsonElement element) {
    auto text = asString(element);
    return text ? Uuid::parse(*text) : std::nullopt;
}

std::optional<Timestamp> asDate(JsonElement element) {
    if (auto text = asString(element)) {
        return parseIso8601(*text);
    }
    // Seconds since 2001, as some writers store dates. Checked in doubles first so that the
    // casts below cannot overflow.
    if (auto seconds = asDouble(element); seconds && std::isfinite(*seconds)) {
        const std::chrono::duration<double> sinceEpoch =  // in seconds
            std::chrono::duration<double>(*seconds) + referenceDate2001().time_since_epoch();
        if (std::fabs(sinceEpoch.count()) < 9.0e9 &&
            fitsInTimestamp(std::chrono::duration_cast<std::chrono::seconds>(sinceEpoch))) {
            return Timestamp(std::chrono::duration_cast<Timestamp::duration>(sinceEpoch));
        }
    }
    return std::nullopt;
}

std::optional<Bytes> asBytes(JsonElement element) {
    auto text = asString(element);
    return text ? decodeBase64(*text) : std::nullopt;
}

std::optional<JsonElement> member(JsonObject object, std::string_view key) {
    JsonElement value;
    if (object.at_key(key).get(value) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    return value;
}

}  // namespace json
}  // namespace wordloom
