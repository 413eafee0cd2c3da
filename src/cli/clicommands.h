// tallowpine-cli's commands: the app's own operations driven from a terminal or a script.
// Main thread of the command-line process.
#pragma once

#include <QCommandLineParser>
#include <QStringList>
#include <QTextStream>

#include <optional>

// Returns the process exit status: 0 done, 1 refused, unusable arguments or a local I/O error.
int runCli(const QStringList &arguments, QTextStream &out, QTextStream &err);

// What every command gets: the parsed options and its own positional arguments (after its name).
struct CliContext
{
    const QCommandLineParser &parser;
    QStringList args;
    QTextStream &out;
    QTextStream &err;

    [[nodiscard]] bool isSet(const QString &option) const { return parser.isSet(option); }
    [[nodiscard]] QString value(const QString &option) const { return parser.value(option); }
};

// One function per command, each in a file of its own.
int sourcesCommand(const CliContext &context);
int parseCommand(const CliContext &context);
int installedCommand(const CliContext &context);
int listsCommand(const CliContext &context);
int loadCommand(const CliContext &context);
int searchCommand(const CliContext &context);

// The synopsis lines of one command, printed when its arguments are unusable.
[[nodiscard]] QString commandUsage(const QString &command);

struct Platform;
// The app's platform as the shared options (--settings, --data-dir, --root, --ca-file) set it up;
// no value, after a message on stderr, when one of them cannot be used.
[[nodiscard]] std::optional<Platform> cliPlatform(const CliContext &context);
