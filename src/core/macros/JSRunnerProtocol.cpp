#include "core/macros/JSRunnerProtocol.h"

#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"

namespace wordloom {

std::string encodeJSRunnerRequest(const JSRunnerRequest& request) {
    JsonWriter w(false);
    w.beginObject();
    w.field(jsrunner::key::clipboardContents, std::string_view(request.clipboardContents));
    w.key(jsrunner::key::context);
    w.beginObject();
    for (const auto& [name, value] : request.context) {
        w.field(name, std::string_view(value));
    }
    w.endObject();
    w.field(jsrunner::key::script, std::string_view(request.script));
    w.field(jsrunner::key::timeLimit, request.timeLimit);
    w.endObject();
    return w.take();
}

std::optional<JSRunnerReply> decodeJSRunnerReply(std::string_view payload) {
    try {
        JsonDocument document(payload);
        const std::optional<JsonObject> object = json::asObject(document.root());
        if (!object) {
            return std::nullopt;
        }
        JSRunnerReply reply;
        if (auto value = json::member(*object, jsrunner::key::output)) {
            if (auto text = json::asString(*value)) {
                reply.output = std::string(*text);
            }
        }
        if (auto value = json::member(*object, jsrunner::key::executionTime)) {
            reply.executionTime = json::asDouble(*value).value_or(0);
        }
        if (auto value = json::member(*object, jsrunner::key::errorMessage)) {
            if (auto text = json::asString(*value)) {
                reply.errorMessage = std::string(*text);
            }
        }
        if (auto value = json::member(*object, jsrunner::key::errorKind)) {
            reply.errorKind = std::string(json::asString(*value).value_or(""));
        }
        // A hello or any other object without a result is not a reply.
        if (!reply.output && !reply.errorMessage) {
            return std::nullopt;
        }
        return reply;
    } catch (const JsonError&) {
        return std::nullopt;
    }
}

bool isJSRunnerHello(std::string_view payload) {
    try {
        JsonDocument document(payload);
        const std::optional<JsonObject> object = json::asObject(document.root());
        if (!object) {
            return false;
        }
        const auto hello = json::member(*object, jsrunner::key::hello);
        const auto version = json::member(*object, jsrunner::key::protocolVersion);
        return hello && version && json::asString(*hello) == jsrunner::kServiceName &&
               json::asInt(*version) == jsrunner::kProtocolVersion;
    } catch (const JsonError&) {
        return false;
    }
}

std::string makeJSRunnerFrame(std::string_view payload) {
    std::string frame(jsrunner::kFrameHeaderSize, '\0');
    jsrunner::encodeFrameHeader(payload.size(), reinterpret_cast<unsigned char*>(frame.data()));
    frame.append(payload);
    return frame;
}

}  // namespace wordloom
