#include "cli/clicommands.h"

#include "app/platform.h"
#include "app/repoviewmodel.h"
#include "sources/sourcestore.h"

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

} // namespace

int sourcesCommand(const CliContext &context)
{
    const std::optional<Platform> configured = cliPlatform(context);
    if (!configured)
        return 1;
    const Platform &platform = *configured;
    RepoViewModel model(platform);

    const QStringList &args = context.args;
    const QString verb = args.value(0);
    int status = 0;
    if (args.isEmpty()) {
        status = listSources(model, context);
    } else if (args.size() == 2 && verb == QLatin1String("add")) {
        const qsizetype before = model.sources().size();
        model.addNewSource(args.at(1));
        status = report(model, model.sources().size() != before, context);
    } else if (args.size() == 2 && verb == QLatin1String("remove")) {
        const QVariant source = model.sourceForLink(args.at(1));
        if (!source.isValid()) {
            context.err << "no source has the link " << args.at(1) << '\n';
            return 1;
        }
        const qsizetype before = model.sources().size();
        model.deleteSource(source.value<RepoSource>());
        status = report(model, model.sources().size() != before, context);
    } else {
        context.err << "usage: tallowpine-cli sources [--json] | sources add LINK | sources remove LINK\n";
        return 1;
    }

    platform.settings->sync();
    if (platform.settings->status() != QSettings::NoError) {
        context.err << "could not write the settings store " << platform.settings->fileName() << '\n';
        return 1;
    }
    return status;
}
