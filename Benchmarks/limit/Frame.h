#pragma once

/* The frames of one question and its answer, as the manager protocol has them: constants, so that nothing is computed. */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>

/* [1, 1, "GetTracePropertyCommand", {"KeyTraceName": "CoreDump", "KeyTracePropertyName": "Enabled"}] */
static const char kRequest[] =
    "\x84\x01\x01\x77"
    "GetTracePropertyCommand"
    "\xA2\x6C"
    "KeyTraceName"
    "\x68"
    "CoreDump"
    "\x74"
    "KeyTracePropertyName"
    "\x67"
    "Enabled";
enum { kRequestSize = sizeof kRequest - 1 };

/* [2, 1, 0, {"KeyTracePropertyValue": "true"}] */
static const char kReply[] =
    "\x84\x02\x01\x00\xA1\x75"
    "KeyTracePropertyValue"
    "\x64"
    "true";
enum { kReplySize = sizeof kReply - 1 };

static inline void die(const char* what) {
    perror(what);
    exit(1);
}

static inline struct sockaddr_un addressOf(const char* path) {
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    if (strlen(path) >= sizeof address.sun_path) {
        fprintf(stderr, "%s: too long for a socket\n", path);
        exit(1);
    }
    strcpy(address.sun_path, path);
    return address;
}

static inline int connectTo(const char* path) {
    const struct sockaddr_un address = addressOf(path);
    const int connection = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (connection < 0 || connect(connection, (const struct sockaddr*)&address, sizeof address) < 0) {
        die(path);
    }
    return connection;
}

static inline void exchange(int connection, char* buffer, size_t size) {
    if (send(connection, kRequest, kRequestSize, MSG_NOSIGNAL) != kRequestSize || recv(connection, buffer, size, 0) <= 0) {
        die("exchange");
    }
}
