#include "cli/clicommands.h"

#include "app/sharedoptions.h"

#include <QHash>

#include <functional>

namespace {

const QString usage =
    QStringLiteral("usage: tallowpine-cli [options] <command>\n"
                   "\n"
                   "commands:\n"
                   "  sources [--json]       list the sources as the app loads them\n"
                   "  sources add LINK       add a source\n"
                   "  sources remove LINK    remove a source you added\n"
                   "  parse FILE [--source LINK] [--count | --json]\n"
                   "                         records of a Packages file (raw DEFLATE or text)\n"
                   "  installed [--root DIR] installed package identifiers, sorted, one a line\n"
                   "  lists [--root DIR] LINK  the package manager's list file that would serve LINK\n"
                   "  load [--json] [--force]  load every source as the app does; how each was served\n"
                   "  search TEXT [--arch A] [--json]\n"
                   "                         the packages the app's search keeps, after loading\n"
                   "\n"
                   "options shared by every command:\n"
                   "  --settings FILE        use this INI file as the settings store\n"
                   "  --data-dir DIR         keep the index cache (RepoPackages) in DIR\n"
                   "  --root DIR             treat DIR as the device's root folder\n"
                   "  --ca-file FILE         also trust the certificate authorities in FILE\n");

using Command = std::function<int(const CliContext &)>;

const QHash<QString, Command> &commands()
{
    static const QHash<QString, Command> table{
        {QStringLiteral("sources"), sourcesCommand},     {QStringLiteral("parse"), parseCommand},
        {QStringLiteral("installed"), installedCommand}, {QStringLiteral("lists"), listsCommand},
        {QStringLiteral("load"), loadCommand},           {QStringLiteral("search"), searchCommand},
    };
    return table;
}

} // namespace

int runCli(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QCommandLineParser parser;
    const auto valued = [](const char *name, const char *help, const char *value) {
        return QCommandLineOption(QString::fromLatin1(name), QString::fromLatin1(help),
                                  QString::fromLatin1(value));
    };
    const auto flag = [](const char *name, const char *help) {
        return QCommandLineOption(QString::fromLatin1(name), QString::fromLatin1(help));
    };
    addSharedOptions(parser);
    parser.addOptions({
        valued("source", "Source link the records belong to.", "link"),
        valued("arch", "Architecture filter.", "arch"),
        flag("json", "Print JSON."),
        flag("count", "Print only the number of records."),
        flag("force", "Ignore cached validators."),
        QCommandLineOption({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show help.")),
    });
    if (!parser.parse(arguments)) {
        err << parser.errorText() << '\n' << usage;
        return 1;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        out << usage;
        return 0;
    }

    QStringList args = parser.positionalArguments();
    const auto command = args.isEmpty() ? commands().cend() : commands().constFind(args.takeFirst());
    if (command == commands().cend()) {
        err << usage;
        return 1;
    }
    return (*command)(CliContext{parser, args, out, err});
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
