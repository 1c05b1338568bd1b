#pragma once

#include "WarmWorkerClient.h"

#include <optional>

namespace brindlet {

// Cursor Agent kept warm: its request is the whole of its standard input, with the fastest model
// the user's account offers (asked once for the client's life), every tool denied by a
// permission file in its working directory, and no API key from the environment.
class CursorWarmWorkerClient : public WarmWorkerClient {
public:
    CursorWarmWorkerClient();

    static AgentStreamEvent parseLine(const QString& line);
    // The fastest model of a --list-models listing, or none.
    static std::optional<QString> selectFastModel(const QString& listing);
    static CLIInvocation workerInvocation(
        const QString& executable, const std::optional<QString>& model, const QString& workingDirectory);
    // Writes .cursor/cli.json, which denies every tool, into the working directory.
    static void writePermissionFile(const QString& workingDirectory);
};

} // namespace brindlet
