// SPDX-License-Identifier: MIT
// A later start's hand-over to the running instance, before anything else is loaded.
#include "TWFastHandOver.h"

#include "TWBaseDirectories.h"
#include "TWInstanceProtocol.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr size_t kMaximumPayload = TWInstanceProtocol::maximumPayloadSize;

// Closes the descriptor when it goes out of scope.
struct TWDescriptor {
    int fd;
    ~TWDescriptor() {
        if (fd >= 0)
            ::close(fd);
    }
};

bool writeAll(int fd, const std::string& bytes) {
    size_t written = 0;
    while (written < bytes.size()) {
        ssize_t n = ::send(fd, bytes.data() + written, bytes.size() - written, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        written += size_t(n);
    }
    return true;
}

// The reply frame's payload, or none when it does not come whole in time.
std::optional<std::string> readReply(int fd) {
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(TWInstanceProtocol::handOverTimeoutMs);
    std::string buffer;
    for (;;) {
        if (buffer.size() >= 4) {
            const auto* header = reinterpret_cast<const unsigned char*>(buffer.data());
            const uint32_t length = uint32_t(header[0]) << 24 | uint32_t(header[1]) << 16 |
                                    uint32_t(header[2]) << 8 | uint32_t(header[3]);
            if (length > kMaximumPayload)
                return std::nullopt;
            if (buffer.size() >= 4 + length)
                return buffer.substr(4, length);
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd readable{fd, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&readable, 1, int(left.count())) <= 0) {
            if (errno == EINTR && left.count() > 0)
                continue;
            return std::nullopt;
        }
        char chunk[4096];
        ssize_t n = ::recv(fd, chunk, sizeof chunk, 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return std::nullopt;
        buffer.append(chunk, size_t(n));
    }
}

} // namespace

std::optional<std::string> TWFastHandOver::messageFor(const std::vector<std::string>& arguments) {
    if (arguments.empty())
        return "reopen";
    if (arguments.size() > 1)
        return std::nullopt;
    const std::string& only = arguments.front();
    if (only == "--hide-all" || only == "--show-all" || only == "--status")
        return only.substr(2);
    // Only the request the instance carries out (x-tidewell-action:preferences, with any
    // slashes): any other URL is for the full program to refuse, in the user's language.
    if (only.rfind("x-tidewell-action:", 0) == 0 && only.size() + 4 <= kMaximumPayload) {
        const std::string request = only.substr(only.find(':') + 1);
        const size_t first = request.find_first_not_of('/');
        if (first != std::string::npos &&
            request.substr(first, request.find_last_not_of('/') + 1 - first) == "preferences")
            return "url " + only;
    }
    return std::nullopt;
}

namespace {

enum class Exchange { NoInstance, NoAnswer, Answered };

// Sends `message` to the instance listening in Tidewell's runtime directory and reads its reply.
// NoInstance when none of this user listens there or anything is unusual (the directory, the
// peer). The connection is made without blocking: an instance that is stopped, its queue full,
// does not answer, and holds no one up for longer than the hand-over's bound.
Exchange exchangeWithInstance(const std::string& message, std::string& reply) {
    // Only a directory of ours alone, as the instance keeps it; anything else is for the full
    // program to report.
    const std::string directory = TWBaseDirectories::runtimeDirectory();
    struct stat status {};
    if (::lstat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) ||
        status.st_uid != ::geteuid() || (status.st_mode & 077) != 0)
        return Exchange::NoInstance;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = directory + "/" + TWInstanceProtocol::socketName;
    if (path.size() >= sizeof address.sun_path)
        return Exchange::NoInstance;
    path.copy(address.sun_path, path.size());
    TWDescriptor socket{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
    if (socket.fd < 0)
        return Exchange::NoInstance;
    if (::connect(socket.fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        // EAGAIN: the queue is full, nobody takes the connection. Otherwise nobody listens:
        // this start may become the instance.
        return errno == EAGAIN ? Exchange::NoAnswer : Exchange::NoInstance;
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket.fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 ||
        peer.uid != ::geteuid())
        return Exchange::NoInstance;

    const auto length = uint32_t(message.size());
    const std::string frame = std::string{char(length >> 24), char(length >> 16 & 0xff),
                                          char(length >> 8 & 0xff), char(length & 0xff)} +
                              message;
    // (A frame is far smaller than a fresh socket's buffer: it is written at once.)
    const std::optional<std::string> answer =
        writeAll(socket.fd, frame) ? readReply(socket.fd) : std::nullopt;
    if (!answer)
        return Exchange::NoAnswer;
    reply = *answer;
    return Exchange::Answered;
}

} // namespace

std::optional<std::string> TWFastHandOver::request(const std::string& message) {
    if (message.empty() || message.size() > kMaximumPayload)
        return std::nullopt;
    std::string reply;
    if (exchangeWithInstance(message, reply) != Exchange::Answered)
        return std::nullopt;
    return reply;
}

std::optional<int> TWFastHandOver::run(int argc, char** argv) {
    const std::optional<std::string> message =
        messageFor(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
    if (!message)
        return std::nullopt;
    std::string reply;
    switch (exchangeWithInstance(*message, reply)) {
    case Exchange::NoInstance:
        return std::nullopt;
    case Exchange::NoAnswer:
        std::fputs("tidewell: Tidewell is running but did not answer\n", stderr);
        return 1;
    case Exchange::Answered:
        break;
    }
    // Refused (the instance is ending): the full program asks again and says so in the user's
    // language.
    if (reply == "refused")
        return std::nullopt;
    if (*message == "status")
        std::fwrite(reply.data(), 1, reply.size(), stdout);
    return 0;
}
