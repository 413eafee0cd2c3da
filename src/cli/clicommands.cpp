#include "cli/clicommands.h"

#include "app/platform.h"
#include "app/repoviewmodel.h"
#include "sources/sourcestore.h"

#include <QCommandLineParser>

namespace {

const QString usage = QStringLiteral("usage: tallowpine-cli [--settings FILE] <command>\n"
                                     "\n"
                                     "commands:\n"
                                     "  sources [--json]       list the sources as the app loads them\n"
                                     "  sources add LINK       add a source\n"
                                     "  sources remove LINK    remove a source you added\n");

int listSources(const RepoViewModel &model, bool json, QTextStream &out)
{
    if (json) {
        out << encodeSourceList(model.sources()) << '\n';
        return 0;
    }
    for (const RepoSource &source : model.sources()) {
        out << source.name << '\t' << source.link << '\t'
            << (source.isDefault ? QLatin1String("default") : QLatin1String("user")) << '\n';
    }
    return 0;
}

int finishEdit(const RepoViewModel &model, bool changed, QTextStream &out, QTextStream &err)
{
    if (!changed) {
        err << model.alertMessage() << '\n';
        return 1;
    }
    out << model.alertMessage() << '\n';
    return 0;
}

} // namespace

int runCli(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QCommandLineParser parser;
    const QCommandLineOption settingsOption(QStringLiteral("settings"), QStringLiteral("INI settings file."),
                                            QStringLiteral("file"));
    const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Print JSON."));
    const QCommandLineOption helpOption({QStringLiteral("h"), QStringLiteral("help")},
                                        QStringLiteral("Help."));
    parser.addOptions({settingsOption, jsonOption, helpOption});
    if (!parser.parse(arguments)) {
        err << parser.errorText() << '\n' << usage;
        return 1;
    }
    if (parser.isSet(helpOption)) {
        out << usage;
        return 0;
    }

    const QStringList args = parser.positionalArguments();
    if (args.isEmpty() || args.first() != QLatin1String("sources")) {
        err << usage;
        return 1;
    }

    Platform platform = Platform::defaultPlatform();
    platform.settings = openSettings(parser.value(settingsOption));
    RepoViewModel model(platform);

    int status = 1;
    if (args.size() == 1) {
        status = listSources(model, parser.isSet(jsonOption), out);
    } else if (args.size() == 3 && args.at(1) == QLatin1String("add")) {
        const qsizetype before = model.sources().size();
        model.addNewSource(args.at(2));
        status = finishEdit(model, model.sources().size() != before, out, err);
    } else if (args.size() == 3 && args.at(1) == QLatin1String("remove")) {
        const QVariant source = model.sourceForLink(args.at(2));
        if (!source.isValid()) {
            err << "no source has the link " << args.at(2) << '\n';
            return 1;
        }
        const qsizetype before = model.sources().size();
        model.deleteSource(source.value<RepoSource>());
        status = finishEdit(model, model.sources().size() != before, out, err);
    } else {
        err << usage;
        return 1;
    }

    platform.settings->sync();
    if (platform.settings->status() != QSettings::NoError) {
        err << "could not write the settings store " << platform.settings->fileName() << '\n';
        return 1;
    }
    return status;
}
