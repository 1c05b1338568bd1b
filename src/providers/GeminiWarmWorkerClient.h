#pragma once

#include "WarmWorkerClient.h"

namespace brindlet {

// The Gemini program, given one request as the whole of its standard input, every tool denied
// by an admin policy in its working directory, and only the user's personal Google sign-in.
//
// It is not kept warm: with --prompt given, Gemini does not wait for its standard input, so a
// program started ahead would send the instructions alone as a request. It starts when the
// request comes, and the request is on its input at once.
class GeminiWarmWorkerClient : public WarmWorkerClient {
public:
    GeminiWarmWorkerClient();

    static AgentStreamEvent parseLine(const QString& line);
    static CLIInvocation workerInvocation(const QString& executable, const QString& workingDirectory);
    // Writes brindlet-deny-tools.toml into the working directory; returns its path.
    static QString writePolicyFile(const QString& workingDirectory);
};

} // namespace brindlet
