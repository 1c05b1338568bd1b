// brindlet-sandbox-exec -p PROFILE PATH [ARGS...]
//
// Runs PATH under a restriction equivalent to the sandbox profile the providers build:
//
//   (version 1)
//   (allow default)
//   (deny process-exec)
//   (allow process-exec (literal "PATH"))
//
// Everything is allowed except starting programs: Linux Landlock lets the child execute exactly
// PATH and its ELF interpreter, and no_new_privs is set. Any other profile text is refused, and
// so is a kernel without Landlock: the program never runs unrestricted.

#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

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
    if (access(executable.c_str(), X_OK) != 0)
        refuse(exitCannotExecute, executable + ": " + std::strerror(errno));

    const long abi = syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (abi < 1)
        refuse(exitUnavailable,
            "this kernel offers no Landlock (" + std::string(std::strerror(errno))
                + "), so the program cannot be restricted; it is not run unrestricted.");
    landlock_ruleset_attr attributes {};
    attributes.handled_access_fs = LANDLOCK_ACCESS_FS_EXECUTE;
    const int ruleset = int(syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0));
    if (ruleset < 0)
        refuse(exitUnavailable, std::string("cannot create a Landlock ruleset: ") + std::strerror(errno));
    allowExecution(ruleset, executable);
    if (const auto interpreter = elfInterpreter(executable))
        allowExecution(ruleset, *interpreter);
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        refuse(exitUnavailable, std::string("cannot set no_new_privs: ") + std::strerror(errno));
    if (syscall(SYS_landlock_restrict_self, ruleset, 0) != 0)
        refuse(exitUnavailable, std::string("cannot enforce the Landlock ruleset: ") + std::strerror(errno));
    close(ruleset);

    execv(executable.c_str(), argv + 3);
    refuse(exitCannotExecute, "cannot start " + executable + ": " + std::strerror(errno));
}
