#pragma once

#include "WarmWorkerClient.h"

namespace brindlet {

// The Claude program kept warm: its request is one stream-json line on an input it keeps open.
class ClaudeWarmWorkerClient : public WarmWorkerClient {
public:
    using StreamEvent = AgentStreamEvent;
    ClaudeWarmWorkerClient();

    static AgentStreamEvent parseLine(const QString& line);
    static CLIInvocation workerInvocation(const QString& executable);
};

} // namespace brindlet
