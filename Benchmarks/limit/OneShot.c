/* The least that a one-shot run can be: connect, one frame each way, one line.   usage: limit_oneshot SOCKET */
#include <unistd.h>

#include "Frame.h"

int main(int count, char** words) {
    if (count != 2) {
        return 2;
    }
    char reply[4096];
    exchange(connectTo(words[1]), reply, sizeof reply);
    static const char line[] = "Enabled: true\n";
    return write(STDOUT_FILENO, line, sizeof line - 1) == sizeof line - 1 ? 0 : 1;
}
