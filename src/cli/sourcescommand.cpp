#include "cli/clicommands.h"

#include "app/platform.h"
#include "app/repoviewmodel.h"
#include "sources/sourcelistexport.h"
#include "sources/sourcelistimport.h"
#include "sources/sourcestore.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

int listSources(const RepoViewModel &model, const CliContext &context)
{
    if (context.isSet(QStringLiteral("json"))) {
        context.out << encodeSourceList(model.sources()) << '\n';
        return 0;
    }
    for (const RepoSource &source : model.sources()) {
        context.out << source.name << '\t' << source.link << '\t'
                    << (source.isDefault ? QLatin1String("default") : QLatin1String("user")) << '\n';
    }
    return 0;
}

// The model tells the outcome only through its alert, so success is read off the list itself.
int report(const RepoViewModel &model, bool changed, const CliContext &context)
{
    (changed ? context.out : context.err) << model.alertMessage() << '\n';
    return changed ? 0 : 1;
}

// The app keeps its ticks in memory only, so from a terminal "selected" means the sources you added:
// the part of the list that no catalogue brings back.
int exportSources(const RepoViewModel &model, const CliContext &context)
{
    const QString name = context.isSet(QStringLiteral("format")) ? context.value(QStringLiteral("format"))
                                                                 : QStringLiteral("list");
    const std::optional<SourceListFormat> format = sourceListFormatFromName(name);
    if (!format) {
        context.err << "unknown format: " << name << '\n' << commandUsage(QStringLiteral("sources"));
        return 1;
    }
    QList<RepoSource> sources = model.sources();
    if (context.isSet(QStringLiteral("selected")))
        sources.removeIf([](const RepoSource &source) { return source.isDefault; });
    context.out << exportSourceList(sources, *format);
    return 0;
}

std::optional<QString> readText(const QString &path, const CliContext &context)
{
    QFile file;
    const bool opened = path == QLatin1String("-") ? file.open(stdin, QIODevice::ReadOnly)
                                                   : (file.setFileName(path), file.open(QIODevice::ReadOnly));
    if (!opened) {
        context.err << "cannot read " << path << ": " << file.errorString() << '\n';
        return std::nullopt;
    }
    return QString::fromUtf8(file.readAll());
}

QJsonArray entriesJson(const QList<SourceListEntry> &entries)
{
    QJsonArray array;
    for (const SourceListEntry &entry : entries)
        array.append(QJsonObject{{QStringLiteral("line"), entry.line}, {QStringLiteral("link"), entry.link}});
    return array;
}

void printImport(const SourceListImport &result, const CliContext &context)
{
    if (context.isSet(QStringLiteral("json"))) {
        QJsonArray invalid;
        for (const SourceListProblem &problem : result.invalid) {
            invalid.append(QJsonObject{{QStringLiteral("line"), problem.line},
                                       {QStringLiteral("text"), problem.text},
                                       {QStringLiteral("reason"), problem.reason}});
        }
        const QJsonObject object{{QStringLiteral("format"), sourceListFormatName(result.format)},
                                 {QStringLiteral("added"), entriesJson(result.added)},
                                 {QStringLiteral("skipped"), entriesJson(result.skipped)},
                                 {QStringLiteral("invalid"), invalid}};
        context.out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
        return;
    }
    for (const SourceListEntry &entry : result.added)
        context.out << "added\t" << entry.line << '\t' << entry.link << '\n';
    for (const SourceListEntry &entry : result.skipped)
        context.out << "skipped\t" << entry.line << '\t' << entry.link << '\n';
    for (const SourceListProblem &problem : result.invalid)
        context.err << "invalid\t" << problem.line << '\t' << problem.text << '\t' << problem.reason << '\n';
    context.out << sourceListFormatName(result.format) << ": " << result.added.size() << " added, "
                << result.skipped.size() << " skipped, " << result.invalid.size() << " invalid\n";
}

} // namespace

int sourcesCommand(const CliContext &context)
{
    const QStringList &args = context.args;
    const QString verb = args.value(0);
    const bool known =
        args.isEmpty() || (args.size() == 1 && verb == QLatin1String("export")) ||
        (args.size() == 2 && (verb == QLatin1String("add") || verb == QLatin1String("remove") ||
                              verb == QLatin1String("import")));
    if (!known) {
        context.err << commandUsage(QStringLiteral("sources"));
        return 1;
    }
    const std::optional<Platform> configured = cliPlatform(context);
    if (!configured)
        return 1;
    const Platform &platform = *configured;
    RepoViewModel model(platform);

    int status = 0;
    if (args.isEmpty()) {
        status = listSources(model, context);
    } else if (verb == QLatin1String("export")) {
        status = exportSources(model, context);
    } else if (verb == QLatin1String("add")) {
        const qsizetype before = model.sources().size();
        model.addNewSource(args.at(1));
        status = report(model, model.sources().size() != before, context);
    } else if (verb == QLatin1String("remove")) {
        const QVariant source = model.sourceForLink(args.at(1));
        if (!source.isValid()) {
            context.err << "no source has the link " << args.at(1) << '\n';
            return 1;
        }
        const qsizetype before = model.sources().size();
        model.deleteSource(source.value<RepoSource>());
        status = report(model, model.sources().size() != before, context);
    } else {
        const std::optional<QString> text = readText(args.at(1), context);
        if (!text)
            return 1;
        const SourceListImport result = importSourceList(model.sources(), *text);
        if (!result.added.isEmpty())
            model.setSources(result.sources);
        printImport(result, context);
        status = result.invalid.isEmpty() ? 0 : 1;
    }

    platform.settings->sync();
    if (platform.settings->status() != QSettings::NoError) {
        context.err << "could not write the settings store " << platform.settings->fileName() << '\n';
        return 1;
    }
    return status;
}
