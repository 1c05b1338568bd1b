// A stand-in for the agent programs (claude, codex, cursor-agent, gemini: by the name it is
// started under). It records how it was started and what it read, then plays a script.
//
//   FAKE_AGENT_RECORD_DIR  where to write <pid>.start (name, arguments, directory, environment),
//                          and <pid>.stdin (what it read)
//   FAKE_AGENT_SCRIPT      a file of commands, one a line:
//       if-arg VALUE COMMAND            the command, only when VALUE is one of the arguments
//       read-line | read-all            read one line, or all, of standard input
//       out TEXT | raw TEXT | err TEXT  write a line to stdout, text to stdout, a line to stderr
//       reply JSON                      a JSON-RPC answer to the last line read: JSON is an object
//                                       without its braces, to which the line's "id" is added
//       hex 0d 0a ...                  write raw bytes to stdout
//       exit CODE | crash | hang | ignore-term
//       fork-grandchild                 fork a child that ignores SIGTERM, keeps the pipes and
//                                       waits forever; it records <pid>.grandchild
//       flood-out BYTES | flood-err BYTES

#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <unistd.h>

extern char** environ;

namespace {

std::string recordPath(const char* suffix)
{
    const char* dir = std::getenv("FAKE_AGENT_RECORD_DIR");
    return dir ? std::string(dir) + "/" + std::to_string(getpid()) + suffix : std::string();
}

std::string jsonString(const std::string& text)
{
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\')
            out += '\\', out += char(c);
        else if (c == '\n')
            out += "\\n";
        else if (c < 0x20)
            out += "\\u00" + std::string(1, "0123456789abcdef"[c >> 4]) + "0123456789abcdef"[c & 15];
        else
            out += char(c);
    }
    return out + "\"";
}

void recordStart(int argc, char** argv)
{
    const std::string path = recordPath(".start");
    if (path.empty())
        return;
    std::ofstream file(path);
    std::string name = argv[0];
    name = name.substr(name.rfind('/') + 1);
    char cwd[4096] = {};
    file << "{\"name\":" << jsonString(name) << ",\"cwd\":" << jsonString(getcwd(cwd, sizeof cwd) ? cwd : "")
         << ",\"arguments\":[";
    for (int i = 1; i < argc; ++i)
        file << (i > 1 ? "," : "") << jsonString(argv[i]);
    file << "],\"environment\":{";
    for (char** entry = environ; *entry; ++entry) {
        const std::string pair = *entry;
        const size_t equals = pair.find('=');
        file << (entry == environ ? "" : ",") << jsonString(pair.substr(0, equals)) << ":"
             << jsonString(equals == std::string::npos ? "" : pair.substr(equals + 1));
    }
    file << "}}\n";
}

void recordInput(const std::string& text)
{
    const std::string path = recordPath(".stdin");
    if (!path.empty())
        std::ofstream(path, std::ios::app) << text;
}

void flood(FILE* stream, long bytes)
{
    const std::string block(65536, 'x');
    while (bytes > 0) {
        const long n = std::min<long>(bytes, long(block.size()));
        std::fwrite(block.data(), 1, size_t(n), stream);
        bytes -= n;
    }
    std::fflush(stream);
}

} // namespace

int main(int argc, char** argv)
{
    recordStart(argc, argv);
    const char* scriptPath = std::getenv("FAKE_AGENT_SCRIPT");
    std::ifstream script(scriptPath ? scriptPath : "");
    std::string line;
    std::string lastLine; // the last line read, which a reply answers
    while (std::getline(script, line)) {
        // "if-arg VALUE COMMAND": the command runs only when VALUE is one of the arguments.
        while (line.rfind("if-arg ", 0) == 0) {
            const size_t valueEnd = line.find(' ', 7);
            const std::string value = line.substr(7, valueEnd - 7);
            bool present = false;
            for (int i = 1; i < argc; ++i)
                present = present || value == argv[i];
            line = present && valueEnd != std::string::npos ? line.substr(valueEnd + 1) : std::string();
        }
        const size_t space = line.find(' ');
        const std::string command = line.substr(0, space);
        const std::string argument = space == std::string::npos ? std::string() : line.substr(space + 1);
        if (command == "read-line") {
            std::string input;
            if (!std::getline(std::cin, input))
                break;
            recordInput(input + "\n");
            lastLine = input;
        } else if (command == "read-all") {
            std::string all((std::istreambuf_iterator<char>(std::cin)), std::istreambuf_iterator<char>());
            recordInput(all);
        } else if (command == "reply") {
            // The id as the request gave it, digits only: the client's ids are integers.
            const std::size_t key = lastLine.find("\"id\":");
            std::string id = "null";
            if (key != std::string::npos) {
                std::size_t end = key + 5;
                while (end < lastLine.size()
                    && (std::isdigit(static_cast<unsigned char>(lastLine[end])) || lastLine[end] == ' '))
                    ++end;
                id = lastLine.substr(key + 5, end - key - 5);
            }
            std::printf("{%s,\"id\":%s}\n", argument.c_str(), id.c_str());
            std::fflush(stdout);
        } else if (command == "out") {
            std::printf("%s\n", argument.c_str());
            std::fflush(stdout);
        } else if (command == "raw") {
            std::printf("%s", argument.c_str());
            std::fflush(stdout);
        } else if (command == "hex") {
            for (size_t at = 0; at + 1 < argument.size(); at += 3)
                std::fputc(std::stoi(argument.substr(at, 2), nullptr, 16), stdout);
            std::fflush(stdout);
        } else if (command == "err") {
            std::fprintf(stderr, "%s\n", argument.c_str());
            std::fflush(stderr);
        } else if (command == "exit") {
            return std::stoi(argument);
        } else if (command == "crash") {
            std::abort();
        } else if (command == "hang") {
            for (;;)
                pause();
        } else if (command == "fork-grandchild") {
            if (fork() == 0) {
                std::signal(SIGTERM, SIG_IGN);
                if (const std::string path = recordPath(".grandchild"); !path.empty())
                    std::ofstream(path) << "\n";
                for (;;)
                    pause();
            }
        } else if (command == "ignore-term") {
            std::signal(SIGTERM, SIG_IGN);
        } else if (command == "flood-out") {
            flood(stdout, std::stol(argument));
        } else if (command == "flood-err") {
            flood(stderr, std::stol(argument));
        }
    }
    return 0;
}
