#pragma once

// How a person signs in to an agent program: its own sign-in command, run in a terminal they
// can see and type in, since each program asks in its own way (a browser, a code, a menu).

#include "domain/Enums.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace brindlet {

struct TerminalCommand {
    QString program;
    QStringList arguments;
    friend bool operator==(const TerminalCommand&, const TerminalCommand&) = default;
};

// The program's name and its sign-in arguments; nothing for Ollama, which has no sign-in.
std::optional<std::pair<QString, QStringList>> signInCommand(ProviderKind kind);
// The terminal to use: $TERMINAL if set, else the first of the usual ones that is installed.
std::optional<QString> findTerminal();
// The terminal running a command: most take it after -e (Debian's x-terminal-emulator always
// does); GNOME's after --, Xfce's after -x.
TerminalCommand inTerminal(const QString& terminal, const QString& executable, const QStringList& arguments);

} // namespace brindlet
