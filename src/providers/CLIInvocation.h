#pragma once

#include "domain/ProviderKind.h"

#include <QDir>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

namespace brindlet {

// How an agent program is started. The prompt never travels as an argument.
struct CLIInvocation {
    QString executable;
    QStringList arguments;
    QString workingDirectory; // created before the start, removed after the end
    std::optional<QProcessEnvironment> environment; // absent: the application's own
};

// A fresh directory name under the system's temporary directory: prefix plus a UUID.
inline QString temporaryWorkingDirectory(const QString& prefix)
{
    return QDir::temp().filePath(prefix + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
}

// The sandbox profile that allows everything but starting programs other than path.
QString restrictedProfile(const QString& path);

// The program that enforces such a profile. On the Mac it is the system's sandbox-exec; here it
// is brindlet-sandbox-exec beside this program (or BRINDLET_SANDBOX_EXEC), which enforces the
// same meaning with Landlock. This is the one place that knows the difference.
QString sandboxExecutable();

// The system prompt every Claude run gets.
QString claudeSystemPrompt();

// The application's environment with Claude's non-essential traffic switched off: otherwise every
// answer costs a second model request, which sends the whole prompt to name the "session".
QProcessEnvironment claudeEnvironment();

// The one-shot command line a failed warm request may fall back to. Resolves the executable;
// fails with ProviderError::cliNotFound or unavailable.
CLIInvocation oneShotInvocation(ProviderKind provider);

} // namespace brindlet
