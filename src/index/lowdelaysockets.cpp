#include "index/lowdelaysockets.h"

#include <atomic>
#include <cerrno>

#include <dlfcn.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {

std::atomic<bool> lowDelay{false};

} // namespace

void enableLowDelaySockets()
{
    lowDelay.store(true, std::memory_order_relaxed);
}

// Qt opens its sockets deep inside its HTTP thread, out of our reach; the C library's connect() is
// the one place every one of them passes through. This definition takes its place for the whole
// process (the executable's symbols come first), does its part, and hands on to the next one: the
// C library's, or a sanitizer's in front of it.
extern "C" int connect(int fd, const sockaddr *address, socklen_t length)
{
    using Connect = int (*)(int, const sockaddr *, socklen_t);
    static const auto next = reinterpret_cast<Connect>(dlsym(RTLD_NEXT, "connect"));
    if (!next) {
        errno = ENOSYS;
        return -1;
    }
    if (lowDelay.load(std::memory_order_relaxed) && address &&
        (address->sa_family == AF_INET || address->sa_family == AF_INET6)) {
        int type = 0;
        socklen_t size = sizeof(type);
        if (getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM) {
            const int on = 1;
            setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        }
    }
    return next(fd, address, length);
}
