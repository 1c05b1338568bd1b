// A compiled child for the restricted-session tests: it tries to start a program in one of the
// ways a hostile child could, and says what happened.
//
//   sandbox_probe say TEXT                 prints TEXT (what a started probe does)
//   sandbox_probe execve PATH ARGS...      execve(PATH)
//   sandbox_probe execveat-fd PATH ARGS... execveat on an O_PATH descriptor with AT_EMPTY_PATH
//   sandbox_probe execveat-dir PATH ARGS...execveat relative to a descriptor of PATH's folder
//   sandbox_probe fork MODE PATH ARGS...   the same from a forked grandchild
//
// A refused start prints "refused: <reason>" and exits 126.

#include <sys/syscall.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

extern char** environ;

namespace {

int attempt(const std::string& mode, char** argv)
{
    const char* path = argv[0];
    if (mode == "execve") {
        execve(path, argv, environ);
    } else if (mode == "execveat-fd") {
        const int fd = open(path, O_PATH | O_CLOEXEC);
        syscall(SYS_execveat, fd, "", argv, environ, AT_EMPTY_PATH);
    } else if (mode == "execveat-dir") {
        const std::string full = path;
        const size_t slash = full.rfind('/');
        const int dir = open(full.substr(0, slash + 1).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        syscall(SYS_execveat, dir, full.c_str() + slash + 1, argv, environ, 0);
    } else {
        std::printf("unknown mode %s\n", mode.c_str());
        return 64;
    }
    std::printf("refused: %s\n", std::strerror(errno));
    return 126;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc >= 3 && std::strcmp(argv[1], "say") == 0) {
        std::printf("%s\n", argv[2]);
        return 0;
    }
    if (argc >= 4 && std::strcmp(argv[1], "fork") == 0) {
        std::fflush(stdout);
        const pid_t pid = fork();
        if (pid == 0)
            return attempt(argv[2], argv + 3);
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    }
    if (argc < 3)
        return 64;
    return attempt(argv[1], argv + 2);
}
