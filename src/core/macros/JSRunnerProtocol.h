#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

// The conversation between JavaScriptRunner and the wordloom-jsrunner helper.
//
// Both ends exchange frames over one stream socket: a 4-byte big-endian payload length, then
// that many bytes of UTF-8 JSON. The helper speaks first with a hello naming the service, then
// answers each request with exactly one reply, in order.
//
// The helper runs without the sanitizers and without our JSON library (it parses and writes
// JSON with its own engine), so everything it shares with the application is in this header.

namespace wordloom::jsrunner {

inline constexpr std::string_view kServiceName = "com.corvelindahl.Wordloom.JSRunner";
inline constexpr int kProtocolVersion = 1;

/// The helper finds its end of the channel at this descriptor.
inline constexpr int kChannelDescriptor = 3;

/// Starts the helper as a zygote: it loads the engine's libraries, creates no engine, and forks
/// a fresh helper for every channel the application hands it.
///
/// The zygote's channel is a sequenced-packet socket at kChannelDescriptor. Each request is one
/// byte carrying the new helper's channel as SCM_RIGHTS; each answer is a ZygoteForkReply carrying
/// a pidfd of the new helper as SCM_RIGHTS when `error` is 0. The new helper then speaks the
/// framed protocol below on its channel, exactly like a helper started directly.
inline constexpr std::string_view kZygoteArgument = "--zygote";

struct ZygoteForkReply {
    std::int32_t pid = -1;
    /// 0, or the errno of what failed.
    std::int32_t error = 0;
};

inline constexpr std::size_t kFrameHeaderSize = 4;
/// Larger frames are refused by both ends: a script's text, its context and its output stay far
/// below this, and a corrupt length must not make either side allocate gigabytes.
inline constexpr std::size_t kMaxFrameSize = 32 * 1024 * 1024;

namespace key {
inline constexpr std::string_view hello = "hello";
inline constexpr std::string_view protocolVersion = "protocolVersion";
inline constexpr std::string_view script = "script";
inline constexpr std::string_view context = "context";
inline constexpr std::string_view clipboardContents = "clipboardContents";
inline constexpr std::string_view timeLimit = "timeLimit";
inline constexpr std::string_view output = "output";
inline constexpr std::string_view executionTime = "executionTime";
inline constexpr std::string_view errorMessage = "errorMessage";
inline constexpr std::string_view errorKind = "errorKind";
}  // namespace key

/// How the helper classifies a failure, so the application need not guess from message text.
namespace errorKind {
inline constexpr std::string_view executionFailed = "executionFailed";
inline constexpr std::string_view invalidScript = "invalidScript";
inline constexpr std::string_view securityViolation = "securityViolation";
inline constexpr std::string_view timeout = "timeout";
}  // namespace errorKind

inline void encodeFrameHeader(std::size_t payloadSize, unsigned char* out) {
    const auto size = static_cast<std::uint32_t>(payloadSize);
    out[0] = static_cast<unsigned char>(size >> 24);
    out[1] = static_cast<unsigned char>(size >> 16);
    out[2] = static_cast<unsigned char>(size >> 8);
    out[3] = static_cast<unsigned char>(size);
}

inline std::size_t decodeFrameHeader(const unsigned char* header) {
    return (std::size_t{header[0]} << 24) | (std::size_t{header[1]} << 16) |
           (std::size_t{header[2]} << 8) | std::size_t{header[3]};
}

}  // namespace wordloom::jsrunner

namespace wordloom {

/// The arguments of one evaluation: the script (a function body), the named text values it sees
/// as `context`, the clipboard text it sees as `clipboard`, and the helper's own time limit.
struct JSRunnerRequest {
    std::string script;
    std::map<std::string, std::string> context;
    std::string clipboardContents;
    double timeLimit = 0;
};

/// The helper's answer: the output, the helper's own measure of the run, and on failure a message
/// and its kind (one of jsrunner::errorKind).
struct JSRunnerReply {
    std::optional<std::string> output;
    double executionTime = 0;
    std::optional<std::string> errorMessage;
    std::string errorKind;
};

/// The JSON payload of a request frame.
std::string encodeJSRunnerRequest(const JSRunnerRequest& request);

/// Reads a reply payload; nothing when it is not a reply.
std::optional<JSRunnerReply> decodeJSRunnerReply(std::string_view payload);

/// Whether `payload` is the helper's hello for this service and protocol version.
bool isJSRunnerHello(std::string_view payload);

/// Header and payload as one buffer, ready to write.
std::string makeJSRunnerFrame(std::string_view payload);

}  // namespace wordloom
