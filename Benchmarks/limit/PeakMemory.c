/*
 * Prints the most memory that a program ever had resident, as {"peak_kib": 1024}; what the program prints is dropped.
 * A program inherits the peak of the process that started it, so that one must be small: this one.
 * usage: limit_peakmemory PROGRAM [WORDS...]
 */
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int count, char** words) {
    if (count < 2) {
        return 2;
    }
    const pid_t child = vfork();
    if (child == 0) {
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        execv(words[1], words + 1);
        _exit(127);
    }
    int status = 0;
    struct rusage usage;
    if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) {
        fprintf(stderr, "%s: did not run\n", words[1]);
        return 1;
    }
    printf("{\"peak_kib\": %ld}\n", usage.ru_maxrss);
    return 0;
}
