/* The least that a number of commands over one connection can cost.   usage: limit_pingpong SOCKET COUNT */
#include "Frame.h"

int main(int count, char** words) {
    if (count != 3) {
        return 2;
    }
    char reply[4096];
    const int connection = connectTo(words[1]);
    for (long left = atol(words[2]); left > 0; --left) {
        exchange(connection, reply, sizeof reply);
    }
    return 0;
}
