#include "helpers/jsrunner/HelperChannel.h"

#include <unistd.h>

#include <cerrno>

#include "core/macros/JSRunnerProtocol.h"

namespace wordloom::jsrunner {

std::optional<std::string> HelperChannel::receive() {
    unsigned char header[kFrameHeaderSize];
    if (!readFully(reinterpret_cast<char*>(header), sizeof header)) {
        return std::nullopt;
    }
    const std::size_t size = decodeFrameHeader(header);
    if (size > kMaxFrameSize) {
        return std::nullopt;
    }
    std::string payload(size, '\0');
    if (!readFully(payload.data(), size)) {
        return std::nullopt;
    }
    return payload;
}

bool HelperChannel::send(std::string_view payload) {
    if (payload.size() > kMaxFrameSize) {
        return false;
    }
    unsigned char header[kFrameHeaderSize];
    encodeFrameHeader(payload.size(), header);
    return writeFully(reinterpret_cast<const char*>(header), sizeof header) &&
           writeFully(payload.data(), payload.size());
}

bool HelperChannel::readFully(char* buffer, std::size_t size) {
    while (size > 0) {
        const ssize_t got = ::read(descriptor_, buffer, size);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        buffer += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

bool HelperChannel::writeFully(const char* buffer, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(descriptor_, buffer, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        buffer += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

}  // namespace wordloom::jsrunner
