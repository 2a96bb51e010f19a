#include "core/macros/OllamaMessages.h"

#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"
#include "core/macros/AIServiceError.h"

namespace wordloom {

std::string OllamaGenerateRequest::toJSON() const {
    JsonWriter w(false);
    w.beginObject();
    w.field("model", std::string_view(model));
    w.field("prompt", std::string_view(prompt));
    w.field("stream", stream);
    w.field("system", std::string_view(system));
    w.endObject();
    return w.take();
}

OllamaGenerateResponse OllamaGenerateResponse::decode(std::string_view body) {
    std::optional<OllamaGenerateResponse> decoded;
    try {
        JsonDocument document(body);
        const std::optional<JsonObject> object = json::asObject(document.root());
        if (object) {
            OllamaGenerateResponse response;
            bool wellFormed = true;
            // A member that is present must be a string (or null, which means absent).
            auto readText = [&](std::string_view key, std::optional<std::string>& into) {
                const auto member = json::member(*object, key);
                if (!member || member->is_null()) {
                    return;
                }
                if (auto text = json::asString(*member)) {
                    into = std::string(*text);
                } else {
                    wellFormed = false;
                }
            };
            readText("response", response.response);
            readText("error", response.error);
            if (wellFormed) {
                decoded = std::move(response);
            }
        }
    } catch (const JsonError&) {
    }
    if (!decoded) {
        throw OllamaDecodingError();
    }
    return *decoded;
}

std::vector<std::string> decodeOllamaModelNames(std::string_view body) {
    try {
        JsonDocument document(body);
        const auto object = json::asObject(document.root());
        const auto models = object ? json::member(*object, "models") : std::nullopt;
        const auto list = models ? json::asArray(*models) : std::nullopt;
        if (list) {
            std::vector<std::string> names;
            for (auto model : *list) {
                const auto entry = json::asObject(model);
                const auto name = entry ? json::member(*entry, "name") : std::nullopt;
                const auto text = name ? json::asString(*name) : std::nullopt;
                if (text) {
                    names.emplace_back(*text);
                }
            }
            return names;
        }
    } catch (const JsonError&) {
    }
    throw OllamaDecodingError();
}

}  // namespace wordloom
