/*
 * The least that a server can do: answers every request with a canned reply. Any request but the one of Frame.h also sends an event
 * to every connection that has switched events on. A client's greeting gets no answer.   usage: limit_server SOCKET
 */
#include <sys/epoll.h>
#include <unistd.h>

#include "Frame.h"

enum { kMaxConnections = 4096, kRequestKind = 1, kEventsKind = 3 };

/* [4, "BasebandOperatingModeChangeNotification", {"KeyBasebandOperatingMode": 1}] */
static const char kEvent[] =
    "\x83\x04\x78\x27"
    "BasebandOperatingModeChangeNotification"
    "\xA1\x78\x18"
    "KeyBasebandOperatingMode"
    "\x01";

static int watchers[kMaxConnections];
static int watcherCount = 0;

static void watch(int connection) {
    if (watcherCount < kMaxConnections) {
        watchers[watcherCount++] = connection;
    }
}

static void forget(int connection) {
    for (int index = 0; index < watcherCount; ++index) {
        if (watchers[index] == connection) {
            watchers[index] = watchers[--watcherCount];
        }
    }
    close(connection);
}

static void serve(int connection) {
    char frame[4096];
    const ssize_t size = recv(connection, frame, sizeof frame, 0);
    if (size <= 0) {
        forget(connection);
    } else if (size > 1 && frame[1] == kRequestKind) {
        send(connection, kReply, kReplySize, MSG_NOSIGNAL | MSG_DONTWAIT);
        for (int index = 0; index < watcherCount && size != kRequestSize; ++index) {
            send(watchers[index], kEvent, sizeof kEvent - 1, MSG_NOSIGNAL | MSG_DONTWAIT);
        }
    } else if (size > 1 && frame[1] == kEventsKind) {
        watch(connection);
    }
}

int main(int count, char** words) {
    if (count != 2) {
        return 2;
    }
    const struct sockaddr_un address = addressOf(words[1]);
    const int listener = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    if (listener < 0 || bind(listener, (const struct sockaddr*)&address, sizeof address) < 0 || listen(listener, 4096) < 0) {
        die(words[1]);
    }
    const int poller = epoll_create1(0);
    struct epoll_event interest = {.events = EPOLLIN, .data.fd = listener};
    epoll_ctl(poller, EPOLL_CTL_ADD, listener, &interest);
    for (;;) {
        struct epoll_event ready[64];
        const int readyCount = epoll_wait(poller, ready, 64, -1);
        for (int index = 0; index < readyCount; ++index) {
            if (ready[index].data.fd != listener) {
                serve(ready[index].data.fd);
                continue;
            }
            interest.data.fd = accept(listener, NULL, NULL);
            if (interest.data.fd >= 0) {
                epoll_ctl(poller, EPOLL_CTL_ADD, interest.data.fd, &interest);
            }
        }
    }
}
