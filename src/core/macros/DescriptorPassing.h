#pragma once

// One open descriptor sent beside a small message over a Unix socket (SCM_RIGHTS): the
// application hands the helper zygote a new helper's channel, and the zygote answers with the
// helper's pidfd. Header-only because wordloom-jsrunner shares no compiled code with the
// application.

#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace wordloom::descriptor_passing {

/// Sends `size` bytes with `descriptor` attached (nothing attached when it is negative). True
/// when every byte went.
inline bool send(int socket, const void* data, std::size_t size, int descriptor) {
    iovec part{const_cast<void*>(data), size};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (descriptor >= 0) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr* header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof(int));
    }
    ssize_t sent;
    do {
        sent = ::sendmsg(socket, &message, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(size);
}

struct Received {
    /// What recvmsg returned: the bytes read, 0 when the peer has gone, negative on error.
    ssize_t bytes = -1;
    /// The descriptor that came with them (close-on-exec, owned by the caller), or -1.
    int descriptor = -1;
};

/// Receives at most `size` bytes and the descriptor sent with them. `flags` are added to
/// MSG_CMSG_CLOEXEC (MSG_DONTWAIT, for instance).
inline Received receive(int socket, void* data, std::size_t size, int flags = 0) {
    iovec part{data, size};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    Received received;
    do {
        received.bytes = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC | flags);
    } while (received.bytes < 0 && errno == EINTR);
    if (received.bytes < 0) {
        return received;
    }
    for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr;
         header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS &&
            header->cmsg_len == CMSG_LEN(sizeof(int)) && received.descriptor < 0) {
            std::memcpy(&received.descriptor, CMSG_DATA(header), sizeof(int));
        }
    }
    return received;
}

}  // namespace wordloom::descriptor_passing
