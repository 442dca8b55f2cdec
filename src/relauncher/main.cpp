// relauncher APPLICATION PID: waits until the process PID has ended, then
// starts APPLICATION again. Used to restart the editor after a setting that
// takes effect only at launch.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <unistd.h>

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: relauncher APPLICATION PID\n");
        return 2;
    }
    char *end = nullptr;
    const long pid = std::strtol(argv[2], &end, 10);
    if (!end || *end != '\0' || pid <= 0) {
        std::fprintf(stderr, "relauncher: not a process id: %s\n", argv[2]);
        return 2;
    }
    // Wait at most two minutes for the old process to go.
    const timespec step{0, 100 * 1000 * 1000};
    for (int i = 0; i < 1200; ++i) {
        if (::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH)
            break;
        ::nanosleep(&step, nullptr);
    }
    char *const arguments[] = {argv[1], nullptr};
    ::execv(argv[1], arguments);
    std::perror("relauncher");
    return 1;
}
