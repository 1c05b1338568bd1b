#pragma once

// brindlet-cli presets: the user's custom presets in the settings file, for scripts and version
// control. Every change is checked whole before anything is stored: bad input changes nothing.

#include <QCommandLineParser>
#include <QString>

namespace brindlet {

class SettingsStore;

struct PresetCommandOutcome {
    int exitCode = 0;
    QString output; // for standard output
    QString error; // for standard error, without the program's name
};

// `arguments` are the positional arguments after "presets"; options come from the parser.
PresetCommandOutcome runPresetsCommand(
    const QStringList& arguments, const QCommandLineParser& parser, SettingsStore& settings);

} // namespace brindlet
