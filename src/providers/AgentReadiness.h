#pragma once

// Whether each agent program can be used and, if not, what to do next, without spending the
// user's quota: a local status command (Claude, Codex, Cursor) or the local settings file
// (Gemini). A check never fails; every outcome is a readiness with a sentence.

#include "CLIInvocation.h"
#include "domain/ProviderTypes.h"
#include "tasks/Task.h"

#include <QByteArray>

namespace brindlet {

// The sign-in status command of claude, codex or cursor: /bin/sh runs it with the executable
// as $1, so the path needs no quoting; the output of both streams is what counts.
CLIInvocation authStatusInvocation(ProviderKind kind, const QString& executable);

// Whether a status command's output says the program is signed in.
bool statusSaysSignedIn(ProviderKind kind, const QByteArray& output);

// Whether Gemini's settings (~/.gemini/settings.json) choose the personal Google sign-in.
bool geminiSettingsChooseGoogleSignIn(const QByteArray& settings);

// The path with the home directory shown as "~".
QString abbreviatedPath(const QString& path, const QString& homeDirectory);

// The readiness of claude, codex, cursor or gemini. Resolving and the status command run off
// the main thread and in a child of their own; cancelling the task ends the child.
Task<ProviderReadiness> agentReadiness(ProviderKind kind, QString homeDirectory);

} // namespace brindlet
