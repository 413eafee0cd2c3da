#include "cli/clicommands.h"

#include "app/platform.h"
#include "app/repoviewmodel.h"
#include "common/jsontext.h"
#include "device/installedpackages.h"
#include "index/packagejson.h"
#include "search/packagefilter.h"

#include <QCoreApplication>

#include <unistd.h>

namespace {

// Loads every source as the app does, on this process's event loop. A forced run loads each source
// again, skipping memory and validators, as the source screen's reload does.
std::unique_ptr<RepoViewModel> loadAll(const Platform &platform, bool force,
                                       const std::function<void(const RepoViewModel &)> &progress = {})
{
    auto model = std::make_unique<RepoViewModel>(platform);
    if (progress) {
        QObject::connect(model.get(), &RepoViewModel::packagesByLinkChanged, model.get(),
                         [&progress, model = model.get()] { progress(*model); });
        progress(*model);
    }
    qsizetype pending = force ? model->sources().size() : 1;
    if (force) {
        for (const RepoSource &source : model->sources())
            model->loadPackages(source.link, true, [&pending](const PackageList &) { --pending; });
    } else {
        model->loadAllPackages([&pending] { --pending; });
    }
    while (pending > 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return model;
}

QString jsonString(const QString &text)
{
    QString quoted;
    appendJsonString(quoted, text);
    return quoted;
}

// "[#########...........]  37/144 sources  52318 packages", redrawn in place.
void drawProgress(QTextStream &err, const RepoViewModel &model)
{
    constexpr int kWidth = 30;
    const qsizetype total = model.sources().size();
    qsizetype done = 0;
    qsizetype packages = 0;
    for (auto it = model.packagesByLink().cbegin(); it != model.packagesByLink().cend(); ++it) {
        if (!model.loadingLinks().contains(it.key()))
            ++done;
        packages += it->size();
    }
    const int filled = total > 0 ? int(done * kWidth / total) : kWidth;
    err << "\r[" << QString(filled, QLatin1Char('#')) << QString(kWidth - filled, QLatin1Char('.')) << "]  "
        << done << '/' << total << " sources  " << packages << " packages\x1b[K";
    // The bar keeps its last state on screen; what follows starts on a line of its own.
    if (done == total)
        err << '\n';
    err.flush();
}

} // namespace

int loadCommand(const CliContext &context)
{
    if (!context.args.isEmpty()) {
        context.err << commandUsage(QStringLiteral("load"));
        return 1;
    }
    const std::optional<Platform> platform = cliPlatform(context);
    if (!platform)
        return 1;
    const bool json = context.isSet(QStringLiteral("json"));
    // Only for a person watching: a bar in a log file or a pipe is noise.
    const bool progress = context.isSet(QStringLiteral("progress")) && isatty(STDERR_FILENO);
    auto model = loadAll(*platform, context.isSet(QStringLiteral("force")),
                         progress ? [&context](const RepoViewModel &m) { drawProgress(context.err, m); }
                                  : std::function<void(const RepoViewModel &)>());
    const SourceHealthModel &health = *model->sourceHealthModel();

    qsizetype total = 0;
    QHash<ServedFrom, qsizetype> bySource;
    for (const RepoSource &source : model->sources()) {
        const qsizetype count = model->packages(source.link).size();
        const ServedFrom served = model->loader().lastServedFrom(source.link);
        total += count;
        ++bySource[served];
        const LoadHealth h = health.health(source.link) ? *health.health(source.link) : LoadHealth{};
        if (json) {
            context.out << "{\"link\":" << jsonString(source.link) << ",\"served\":\""
                        << servedFromName(served) << "\",\"packages\":" << count << ",\"outcome\":\""
                        << healthOutcomeName(h.outcome) << "\",\"status\":" << h.httpStatus
                        << ",\"bytes\":" << h.bytes << ",\"ms\":" << h.milliseconds
                        << ",\"cacheUpdatedAt\":" << qint64(h.cacheUpdatedAt)
                        << ",\"problem\":" << jsonString(h.problem) << "}\n";
        } else {
            context.out << source.link << '\t' << servedFromName(served) << '\t' << count << '\t'
                        << healthOutcomeName(h.outcome) << '\t' << h.httpStatus << '\t' << h.bytes << '\t'
                        << h.milliseconds << '\t' << (h.problem.isEmpty() ? QStringLiteral("-") : h.problem)
                        << '\n';
        }
    }
    if (json) {
        context.out << "{\"sources\":" << model->sources().size() << ",\"packages\":" << total << "}\n";
    } else {
        context.out << "total\t" << model->sources().size() << " sources\t" << total << " packages";
        for (const ServedFrom served : {ServedFrom::Network, ServedFrom::NotModified, ServedFrom::Cache,
                                        ServedFrom::Lists, ServedFrom::Nothing})
            context.out << '\t' << servedFromName(served) << ' ' << bySource.value(served);
        context.out << '\n';
    }
    return 0;
}

int searchCommand(const CliContext &context)
{
    std::optional<qsizetype> limit;
    if (context.isSet(QStringLiteral("limit"))) {
        bool ok = false;
        limit = context.value(QStringLiteral("limit")).toLongLong(&ok);
        if (!ok || *limit < 0) {
            context.err << "--limit takes a whole number of packages\n"
                        << commandUsage(QStringLiteral("search"));
            return 1;
        }
    }
    if (context.args.size() != 1) {
        context.err << commandUsage(QStringLiteral("search"));
        return 1;
    }
    const std::optional<Platform> platform = cliPlatform(context);
    if (!platform)
        return 1;
    // Read here rather than waiting for the model's background read: the same file, the same rules.
    std::optional<QSet<QString>> installed;
    if (context.isSet(QStringLiteral("installed")))
        installed = loadInstalledPackages(platform->deviceRoot).value_or(QSet<QString>());
    auto model = loadAll(*platform, false);
    std::optional<QString> architecture;
    if (context.isSet(QStringLiteral("arch")))
        architecture = context.value(QStringLiteral("arch"));
    // The same step the app runs for its "All Packages" list, over the same pool.
    const PackageList found = filterPackages(
        model->allPackages().toList(), PackageQuery{context.args.first().trimmed(), architecture, true});
    const bool json = context.isSet(QStringLiteral("json"));
    qsizetype printed = 0;
    for (const PackageInfo &package : found) {
        if (limit && printed == *limit)
            break;
        const QString identifier = package.package().value_or(QString());
        if (installed && (identifier.isEmpty() || !installed->contains(identifier)))
            continue;
        ++printed;
        if (json) {
            context.out << packageJsonLine(package, {PackageInfo::Package, PackageInfo::Name,
                                                     PackageInfo::Version, PackageInfo::Architecture});
        } else {
            context.out << identifier << '\t' << package.name().value_or(QString()) << '\t'
                        << package.version().value_or(QString()) << '\t'
                        << package.architecture().value_or(QString()) << '\t' << package.sourceLink() << '\n';
        }
    }
    return 0;
}
