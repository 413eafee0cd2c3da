#include "cli/clicommands.h"

#include "app/sharedoptions.h"

#include <functional>

namespace {

using Command = std::function<int(const CliContext &)>;

struct Usage
{
    const char *synopsis;
    const char *summary;
};

struct CommandEntry
{
    const char *name;
    Command run;
    QList<Usage> usages;
    // The command's own options, shown in its help; every command also takes the shared ones.
    QStringList options;
};

QCommandLineOption valued(const char *name, const char *help, const char *value)
{
    return QCommandLineOption(QString::fromLatin1(name), QString::fromLatin1(help),
                              QString::fromLatin1(value));
}

QCommandLineOption flag(const char *name, const char *help)
{
    return QCommandLineOption(QString::fromLatin1(name), QString::fromLatin1(help));
}

const QList<QCommandLineOption> &commandOptions()
{
    static const QList<QCommandLineOption> options{
        valued("source", "Source link the records belong to.", "link"),
        valued("arch", "Only packages of this architecture.", "arch"),
        flag("json", "Print JSON."),
        flag("count", "Print only the number of records."),
        flag("force", "Ignore cached validators."),
        flag("progress", "Show a progress bar on standard error while loading, when it is a terminal."),
        valued("limit", "Print at most this many packages.", "n"),
        flag("installed", "Only packages that dpkg lists as installed."),
        valued("format", "list (APT one-line), sources (deb822) or links; list when not given.", "format"),
        flag("selected", "Only the sources you added, without the built-in catalogue."),
        QCommandLineOption({QStringLiteral("h"), QStringLiteral("help")},
                           QStringLiteral("Show help; after a command, that command's help.")),
    };
    return options;
}

const QList<CommandEntry> &commands()
{
    static const QList<CommandEntry> table{
        {"sources",
         sourcesCommand,
         {{"sources [--json]", "list the sources as the app loads them"},
          {"sources add LINK", "add a source"},
          {"sources remove LINK", "remove a source you added"},
          {"sources export [--format list|sources|links] [--selected]",
           "write the sources as an APT .list, a deb822 .sources or links"},
          {"sources import FILE|- [--json]",
           "add every source of a .list, a .sources or a list of links (- reads stdin)"}},
         {QStringLiteral("json"), QStringLiteral("format"), QStringLiteral("selected")}},
        {"parse",
         parseCommand,
         {{"parse FILE [--source LINK] [--count | --json]",
           "records of a Packages file (raw DEFLATE or text)"}},
         {QStringLiteral("source"), QStringLiteral("count"), QStringLiteral("json")}},
        {"installed",
         installedCommand,
         {{"installed [--root DIR]", "installed package identifiers, sorted"}},
         {}},
        {"lists",
         listsCommand,
         {{"lists [--root DIR] LINK", "the package manager's list file that would serve LINK"}},
         {}},
        {"load",
         loadCommand,
         {{"load [--json] [--force] [--progress]",
           "load every source as the app does; how each was served and how its load went"}},
         {QStringLiteral("json"), QStringLiteral("force"), QStringLiteral("progress")}},
        {"search",
         searchCommand,
         {{"search TEXT [--arch A] [--installed] [--limit N] [--json]",
           "the packages the app's search keeps, after loading"}},
         {QStringLiteral("arch"), QStringLiteral("installed"), QStringLiteral("limit"),
          QStringLiteral("json")}},
    };
    return table;
}

const CommandEntry *findCommand(const QString &name)
{
    for (const CommandEntry &entry : commands()) {
        if (name == QLatin1String(entry.name))
            return &entry;
    }
    return nullptr;
}

QString padded(const QString &text)
{
    constexpr qsizetype column = 25;
    return text.size() < column ? text.leftJustified(column)
                                : text + QLatin1String("\n") + QString(column + 2, u' ');
}

QString usageLines(const CommandEntry &entry)
{
    QString text;
    for (const Usage &usage : entry.usages)
        text += QLatin1String("  ") + padded(QLatin1String(usage.synopsis)) + QLatin1String("  ") +
                QLatin1String(usage.summary) + QLatin1Char('\n');
    return text;
}

QString optionLine(const QCommandLineOption &option)
{
    QStringList names;
    for (const QString &name : option.names())
        names.append((name.size() == 1 ? QLatin1String("-") : QLatin1String("--")) + name);
    QString left = names.join(QLatin1String(", "));
    if (!option.valueName().isEmpty())
        left += QLatin1String(" <") + option.valueName() + QLatin1Char('>');
    return QLatin1String("  ") + padded(left) + QLatin1String("  ") + option.description() +
           QLatin1Char('\n');
}

QString generalUsage()
{
    QString text = QStringLiteral("usage: tallowpine-cli [options] <command>\n\ncommands:\n");
    for (const CommandEntry &entry : commands())
        text += usageLines(entry);
    return text +
           QStringLiteral("\n"
                          "options shared by every command:\n"
                          "  --settings FILE            use this INI file as the settings store\n"
                          "  --data-dir DIR             keep the index cache (RepoPackages) in DIR\n"
                          "  --root DIR                 treat DIR as the device's root folder\n"
                          "  --ca-file FILE             also trust the certificate authorities in FILE\n"
                          "  --offline                  never use the network\n"
                          "\n"
                          "tallowpine-cli <command> --help shows one command's options.\n");
}

// One synopsis a line with its summary under it, for reading one command at a time.
QString synopses(const CommandEntry &entry)
{
    QString text = QStringLiteral("usage:\n");
    for (const Usage &usage : entry.usages)
        text += QLatin1String("  tallowpine-cli ") + QLatin1String(usage.synopsis) +
                QLatin1String("\n      ") + QLatin1String(usage.summary) + QLatin1Char('\n');
    return text;
}

QString commandHelp(const CommandEntry &entry)
{
    QString text = synopses(entry) + QStringLiteral("\noptions:\n");
    for (const QCommandLineOption &option : commandOptions()) {
        if (entry.options.contains(option.names().constLast()) ||
            option.names().contains(QLatin1String("help")))
            text += optionLine(option);
    }
    return text +
           QStringLiteral("\nThe shared options (--settings, --data-dir, --root, --ca-file, --offline): "
                          "tallowpine-cli --help.\n");
}

} // namespace

QString commandUsage(const QString &command)
{
    const CommandEntry *entry = findCommand(command);
    return entry ? synopses(*entry) : generalUsage();
}

int runCli(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QCommandLineParser parser;
    addSharedOptions(parser);
    parser.addOptions(commandOptions());
    if (!parser.parse(arguments)) {
        err << parser.errorText() << '\n' << generalUsage();
        return 1;
    }

    QStringList args = parser.positionalArguments();
    const QString name = args.isEmpty() ? QString() : args.takeFirst();
    const CommandEntry *command = findCommand(name);
    if (!command && !name.isEmpty()) {
        err << "unknown command: " << name << '\n' << generalUsage();
        return 1;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        out << (command ? commandHelp(*command) : generalUsage());
        return 0;
    }
    if (!command) {
        err << generalUsage();
        return 1;
    }
    return command->run(CliContext{parser, args, out, err});
}

std::optional<Platform> cliPlatform(const CliContext &context)
{
    Platform platform = Platform::defaultPlatform();
    platform.diagnostics = stderr;
    if (const std::optional<QString> problem = applySharedOptions(context.parser, platform)) {
        context.err << *problem << '\n';
        return std::nullopt;
    }
    return platform;
}
