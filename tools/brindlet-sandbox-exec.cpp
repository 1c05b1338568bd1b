// brindlet-sandbox-exec -p PROFILE PATH [ARGS...]
//
// Runs PATH under a restriction equivalent to the sandbox profile the providers build:
//
//   (version 1)
//   (allow default)
//   (deny process-exec)
//   (allow process-exec (literal "PATH"))
//
// Everything is allowed except starting programs. Two kernel mechanisms work together:
//
// - Landlock lets the restricted process tree open for execution only PATH and its ELF
//   interpreter (the kernel must load the interpreter on behalf of PATH).
// - A seccomp filter hands every execve and execveat of the tree to this helper, which stays
//   behind as a supervisor and lets a call through only when it names PATH itself (same device
//   and inode). Naming the interpreter directly ("ld.so /bin/true"), a script or anything else
//   fails with EACCES.
//
// no_new_privs is set. Any other profile text is refused, and so is a kernel that cannot enforce
// both mechanisms: the program never runs unrestricted. The supervisor ends with the program and
// exits with its status; signals that ask it to stop are passed on to the program.

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <csignal>
#include <cstddef>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <string>
#include <unistd.h>

namespace {

constexpr int exitUsage = 64;
constexpr int exitUnavailable = 69;
constexpr int exitCannotExecute = 126;

[[noreturn]] void refuse(int code, const std::string& message)
{
    std::fprintf(stderr, "brindlet-sandbox-exec: %s\n", message.c_str());
    std::exit(code);
}

// The path inside (literal "…"), unescaped: \\ is a backslash and \" a double quote.
std::optional<std::string> unescapeLiteral(const std::string& text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"')
            return std::nullopt; // an unescaped quote would end the literal early
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        if (++i == text.size() || (text[i] != '\\' && text[i] != '"'))
            return std::nullopt;
        out += text[i];
    }
    return out;
}

// The one allowed executable of a profile of exactly the known form.
std::optional<std::string> allowedExecutable(const std::string& profile)
{
    static const std::string lines[] = { "(version 1)\n", "(allow default)\n", "(deny process-exec)\n" };
    static const std::string open = "(allow process-exec (literal \"", close = "\"))";
    size_t at = 0;
    for (const std::string& line : lines) {
        if (profile.compare(at, line.size(), line) != 0)
            return std::nullopt;
        at += line.size();
    }
    if (profile.compare(at, open.size(), open) != 0 || profile.size() < at + open.size() + close.size()
        || profile.compare(profile.size() - close.size(), close.size(), close) != 0)
        return std::nullopt;
    return unescapeLiteral(profile.substr(at + open.size(), profile.size() - at - open.size() - close.size()));
}

// The ELF interpreter named by the executable, if it has one.
template <class Header, class ProgramHeader> std::optional<std::string> interpreterOf(std::ifstream& file)
{
    Header header {};
    file.seekg(0);
    if (!file.read(reinterpret_cast<char*>(&header), sizeof header))
        return std::nullopt;
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ProgramHeader ph {};
        file.seekg(std::streamoff(header.e_phoff + i * header.e_phentsize));
        if (!file.read(reinterpret_cast<char*>(&ph), sizeof ph))
            return std::nullopt;
        if (ph.p_type != PT_INTERP || ph.p_filesz == 0 || ph.p_filesz > 4096)
            continue;
        std::string path(ph.p_filesz, '\0');
        file.seekg(std::streamoff(ph.p_offset));
        if (!file.read(path.data(), std::streamsize(path.size())))
            return std::nullopt;
        path.resize(std::strlen(path.c_str()));
        return path;
    }
    return std::nullopt;
}

std::optional<std::string> elfInterpreter(const std::string& executable)
{
    std::ifstream file(executable, std::ios::binary);
    char ident[EI_NIDENT] = {};
    if (!file.read(ident, EI_NIDENT))
        return std::nullopt;
    if (ident[0] == '#' && ident[1] == '!')
        refuse(exitCannotExecute,
            executable + " is a script; a restricted session can only start a native program, not its interpreter.");
    if (std::memcmp(ident, ELFMAG, SELFMAG) != 0)
        return std::nullopt;
    return ident[EI_CLASS] == ELFCLASS64 ? interpreterOf<Elf64_Ehdr, Elf64_Phdr>(file)
                                         : interpreterOf<Elf32_Ehdr, Elf32_Phdr>(file);
}

void allowExecution(int ruleset, const std::string& path)
{
    const int fd = open(path.c_str(), O_PATH | O_CLOEXEC);
    if (fd < 0)
        refuse(exitCannotExecute, "cannot open " + path + ": " + std::strerror(errno));
    landlock_path_beneath_attr rule {};
    rule.allowed_access = LANDLOCK_ACCESS_FS_EXECUTE;
    rule.parent_fd = fd;
    if (syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) != 0)
        refuse(exitUnavailable, "cannot allow " + path + ": " + std::strerror(errno));
    close(fd);
}

// Landlock: execution of the executable and its interpreter only; everything else stays allowed.
void restrictExecution(const std::string& executable)
{
    landlock_ruleset_attr attributes {};
    attributes.handled_access_fs = LANDLOCK_ACCESS_FS_EXECUTE;
    const int ruleset = int(syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0));
    if (ruleset < 0)
        refuse(exitUnavailable, std::string("cannot create a Landlock ruleset: ") + std::strerror(errno));
    allowExecution(ruleset, executable);
    if (const auto interpreter = elfInterpreter(executable))
        allowExecution(ruleset, *interpreter);
    if (syscall(SYS_landlock_restrict_self, ruleset, 0) != 0)
        refuse(exitUnavailable, std::string("cannot enforce the Landlock ruleset: ") + std::strerror(errno));
    close(ruleset);
}

#if defined(__x86_64__)
constexpr unsigned nativeArch = AUDIT_ARCH_X86_64;
constexpr unsigned foreignSyscallBit = 0x40000000; // the x32 ABI shares the architecture value
#elif defined(__aarch64__)
constexpr unsigned nativeArch = AUDIT_ARCH_AARCH64;
constexpr unsigned foreignSyscallBit = 0;
#else
#error "brindlet-sandbox-exec knows the system call ABI of x86_64 and aarch64 only"
#endif

// Every execve and execveat goes to the supervisor; system calls of another ABI (int 0x80, x32)
// are refused outright, since they would reach execve under other numbers.
int installExecFilter()
{
    constexpr unsigned denied = SECCOMP_RET_ERRNO | (EACCES & SECCOMP_RET_DATA);
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, nativeArch, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, denied),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, foreignSyscallBit ? foreignSyscallBit : 0xffffffffu, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, denied),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_execve, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_execveat, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
    };
    sock_fprog filter { static_cast<unsigned short>(std::size(program)), program };
    const int listener = int(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter));
    if (listener < 0)
        refuse(exitUnavailable, std::string("cannot install the execution filter: ") + std::strerror(errno));
    return listener;
}

void sendDescriptor(int socket, int fd)
{
    char byte = 0;
    iovec data { &byte, 1 };
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof fd)] = {};
    msghdr message {};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof fd);
    std::memcpy(CMSG_DATA(header), &fd, sizeof fd);
    if (sendmsg(socket, &message, 0) != 1)
        refuse(exitUnavailable, std::string("cannot hand the filter to the supervisor: ") + std::strerror(errno));
}

int receiveDescriptor(int socket)
{
    char byte = 0;
    iovec data { &byte, 1 };
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message {};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    if (recvmsg(socket, &message, MSG_CMSG_CLOEXEC) != 1)
        return -1;
    const cmsghdr* header = CMSG_FIRSTHDR(&message);
    if (!header || header->cmsg_type != SCM_RIGHTS || header->cmsg_len != CMSG_LEN(sizeof(int)))
        return -1;
    int fd = -1;
    std::memcpy(&fd, CMSG_DATA(header), sizeof fd);
    return fd;
}

// The NUL-terminated string at address in the process's memory, read page by page so that a
// string ending just before an unmapped page is still found.
std::optional<std::string> readString(pid_t pid, std::uint64_t address)
{
    const std::string memPath = "/proc/" + std::to_string(pid) + "/mem";
    const int mem = open(memPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (mem < 0)
        return std::nullopt;
    const std::uint64_t page = std::uint64_t(sysconf(_SC_PAGESIZE));
    std::string text;
    char buffer[4096];
    while (text.size() < PATH_MAX) {
        const std::uint64_t want = std::min<std::uint64_t>(sizeof buffer, page - address % page);
        const ssize_t got = pread(mem, buffer, want, off_t(address));
        if (got <= 0)
            break;
        if (const void* end = std::memchr(buffer, '\0', size_t(got))) {
            text.append(buffer, size_t(static_cast<const char*>(end) - buffer));
            close(mem);
            return text;
        }
        text.append(buffer, size_t(got));
        address += std::uint64_t(got);
    }
    close(mem);
    return std::nullopt;
}

struct FileIdentity {
    dev_t device;
    ino_t inode;
};

// Whether the file an execve/execveat of the notified process names is the allowed one. The
// path is resolved as the kernel would, relative to the process's root, working directory or
// directory descriptor, through /proc.
bool namesAllowedFile(const seccomp_notif& request, const FileIdentity& allowed)
{
    const pid_t pid = pid_t(request.pid);
    const std::string proc = "/proc/" + std::to_string(pid);
    const bool isExecveat = request.data.nr == SYS_execveat;
    const int dirfd = isExecveat ? int(request.data.args[0]) : AT_FDCWD;
    const std::uint64_t flags = isExecveat ? request.data.args[4] : 0;
    const auto path = readString(pid, isExecveat ? request.data.args[1] : request.data.args[0]);
    if (!path)
        return false;
    const std::string base = dirfd == AT_FDCWD ? proc + "/cwd" : proc + "/fd/" + std::to_string(dirfd);
    std::string resolved;
    if (path->empty())
        resolved = (flags & AT_EMPTY_PATH) ? base : std::string();
    else
        resolved = (*path)[0] == '/' ? proc + "/root" + *path : base + "/" + *path;
    struct stat status { };
    if (resolved.empty()
        || fstatat(AT_FDCWD, resolved.c_str(), &status, (flags & AT_SYMLINK_NOFOLLOW) ? AT_SYMLINK_NOFOLLOW : 0) != 0)
        return false;
    return S_ISREG(status.st_mode) && status.st_dev == allowed.device && status.st_ino == allowed.inode;
}

pid_t child = 0;

void passOn(int signal)
{
    if (child > 0)
        kill(child, signal);
}

// Answers the filter's questions until the program ends, then exits as it did.
[[noreturn]] void supervise(int listener, const FileIdentity& allowed)
{
    for (int signal : { SIGTERM, SIGINT, SIGHUP, SIGQUIT }) {
        struct sigaction action { };
        action.sa_handler = passOn;
        sigaction(signal, &action, nullptr);
    }
    const int pidfd = int(syscall(SYS_pidfd_open, child, 0));
    seccomp_notif_sizes sizes {};
    if (pidfd < 0 || syscall(SYS_seccomp, SECCOMP_GET_NOTIF_SIZES, 0, &sizes) != 0) {
        kill(child, SIGKILL);
        refuse(exitUnavailable, std::string("cannot supervise the program: ") + std::strerror(errno));
    }
    std::string requestBuffer(std::max<size_t>(sizes.seccomp_notif, sizeof(seccomp_notif)), '\0');
    std::string responseBuffer(std::max<size_t>(sizes.seccomp_notif_resp, sizeof(seccomp_notif_resp)), '\0');
    auto* request = reinterpret_cast<seccomp_notif*>(requestBuffer.data());
    auto* response = reinterpret_cast<seccomp_notif_resp*>(responseBuffer.data());
    pollfd watched[] = { { listener, POLLIN, 0 }, { pidfd, POLLIN, 0 } };
    for (;;) {
        if (poll(watched, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        if (watched[1].revents)
            break;
        if (!(watched[0].revents & POLLIN))
            continue;
        std::fill(requestBuffer.begin(), requestBuffer.end(), '\0');
        if (ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, request) != 0)
            continue; // the caller died meanwhile, or a signal interrupted the wait
        bool allow = namesAllowedFile(*request, allowed);
        // The caller must still be the one that asked while its memory was read.
        if (ioctl(listener, SECCOMP_IOCTL_NOTIF_ID_VALID, &request->id) != 0)
            allow = false;
        std::fill(responseBuffer.begin(), responseBuffer.end(), '\0');
        response->id = request->id;
        response->flags = allow ? SECCOMP_USER_NOTIF_FLAG_CONTINUE : 0;
        response->error = allow ? 0 : -EACCES;
        ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, response);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) { }
    if (WIFSIGNALED(status)) {
        signal(WTERMSIG(status), SIG_DFL);
        raise(WTERMSIG(status));
        std::exit(128 + WTERMSIG(status));
    }
    std::exit(WIFEXITED(status) ? WEXITSTATUS(status) : exitUnavailable);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4 || std::strcmp(argv[1], "-p") != 0)
        refuse(exitUsage, "usage: brindlet-sandbox-exec -p PROFILE PATH [ARGS...]");
    const auto allowed = allowedExecutable(argv[2]);
    if (!allowed)
        refuse(exitUsage, "the profile is not one this helper understands; it runs nothing under an unknown profile.");
    const std::string executable = argv[3];
    if (executable != *allowed)
        refuse(exitCannotExecute, "the profile allows only " + *allowed + ", not " + executable + ".");
    struct stat status { };
    if (access(executable.c_str(), X_OK) != 0 || stat(executable.c_str(), &status) != 0)
        refuse(exitCannotExecute, executable + ": " + std::strerror(errno));
    (void)elfInterpreter(executable); // refuses a script before anything starts

    const long abi = syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (abi < 1)
        refuse(exitUnavailable,
            "this kernel offers no Landlock (" + std::string(std::strerror(errno))
                + "), so the program cannot be restricted; it is not run unrestricted.");
    std::uint32_t notify = SECCOMP_RET_USER_NOTIF;
    if (syscall(SYS_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &notify) != 0)
        refuse(exitUnavailable,
            "this kernel cannot hand execution requests to a supervisor (" + std::string(std::strerror(errno))
                + "), so the program cannot be restricted; it is not run unrestricted.");

    int channel[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, channel) != 0)
        refuse(exitUnavailable, std::string("cannot create a socket pair: ") + std::strerror(errno));
    child = fork();
    if (child < 0)
        refuse(exitUnavailable, std::string("cannot fork: ") + std::strerror(errno));
    if (child == 0) {
        close(channel[0]);
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
            refuse(exitUnavailable, std::string("cannot set no_new_privs: ") + std::strerror(errno));
        prctl(PR_SET_PDEATHSIG, SIGKILL); // without its supervisor the program must not go on
        restrictExecution(executable);
        const int listener = installExecFilter();
        sendDescriptor(channel[1], listener);
        close(listener); // only the supervisor may answer
        close(channel[1]);
        execv(executable.c_str(), argv + 3);
        refuse(exitCannotExecute, "cannot start " + executable + ": " + std::strerror(errno));
    }
    close(channel[1]);
    const int listener = receiveDescriptor(channel[0]);
    close(channel[0]);
    if (listener < 0) {
        int childStatus = 0;
        waitpid(child, &childStatus, 0); // the child has said why on standard error
        std::exit(WIFEXITED(childStatus) && WEXITSTATUS(childStatus) ? WEXITSTATUS(childStatus) : exitUnavailable);
    }
    // The supervisor keeps no copy of the program's input and output, so their ends see the
    // program's alone.
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(nothing, STDOUT_FILENO);
    supervise(listener, { status.st_dev, status.st_ino });
}
