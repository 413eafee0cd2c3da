#include "sources/sourcelisttransfer.h"

#include "sources/sourceselection.h"

std::optional<SourceExportScope> sourceExportScopeFromName(const QString &name)
{
    if (name == QLatin1String("added"))
        return SourceExportScope::Added;
    if (name == QLatin1String("selected"))
        return SourceExportScope::Selected;
    if (name == QLatin1String("all"))
        return SourceExportScope::All;
    return std::nullopt;
}

QList<RepoSource> sourcesToExport(const QList<RepoSource> &sources, const QList<RepoSource> &filtered,
                                  const QSet<QString> &selected, SourceExportScope scope)
{
    QList<RepoSource> out;
    switch (scope) {
    case SourceExportScope::All:
        return sources;
    case SourceExportScope::Added:
        for (const RepoSource &source : sources) {
            if (!source.isDefault)
                out.append(source);
        }
        break;
    case SourceExportScope::Selected: {
        // Through the same rule as the copy button, so both take exactly the same sources.
        const QStringList links = selectedLinks(filtered, selected);
        for (const RepoSource &source : filtered) {
            if (links.contains(source.link))
                out.append(source);
        }
        break;
    }
    }
    return out;
}

QStringList importSummaryLines(const SourceListImport &result)
{
    if (result.added.isEmpty() && result.skipped.isEmpty() && result.invalid.isEmpty())
        return {QStringLiteral("No links found in the text.")};
    QStringList lines{QStringLiteral("Added %1, skipped %2, invalid %3.")
                          .arg(result.added.size())
                          .arg(result.skipped.size())
                          .arg(result.invalid.size())};
    // Reasons may be Arabic and the refused text anything: each is isolated, so its direction neither
    // takes over the English around it nor turns its own punctuation round.
    const auto isolated = [](const QString &text) { return QChar(0x2068) + text + QChar(0x2069); };
    for (const SourceListProblem &problem : result.invalid) {
        lines.append(
            QStringLiteral("Line %1: %2 (%3)")
                .arg(QString::number(problem.line), isolated(problem.reason), isolated(problem.text)));
    }
    return lines;
}

QVariantMap importReport(const SourceListImport &result)
{
    return {{QStringLiteral("added"), int(result.added.size())},
            {QStringLiteral("skipped"), int(result.skipped.size())},
            {QStringLiteral("invalid"), int(result.invalid.size())},
            {QStringLiteral("format"), sourceListFormatName(result.format)},
            {QStringLiteral("lines"), importSummaryLines(result)},
            {QStringLiteral("error"), QString()}};
}

QVariantMap importFailure(const QString &error)
{
    return {{QStringLiteral("added"), 0},
            {QStringLiteral("skipped"), 0},
            {QStringLiteral("invalid"), 0},
            {QStringLiteral("format"), QString()},
            {QStringLiteral("lines"), QStringList{error}},
            {QStringLiteral("error"), error}};
}
