// What the import and export screen needs around the list readers and writers: which sources an
// export takes, and the words that tell the user what an import did.
// Pure functions on values; any thread.
#pragma once

#include "sources/reposource.h"
#include "sources/sourcelistimport.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// Added: the sources the user added, the part of the list no catalogue brings back. Selected: the
// ticked sources the main list shows, as the copy button takes them. All: the whole list.
enum class SourceExportScope { Added, Selected, All };

// "added", "selected" and "all", the names the screen passes.
[[nodiscard]] std::optional<SourceExportScope> sourceExportScopeFromName(const QString &name);

// In the order of the list each comes from.
[[nodiscard]] QList<RepoSource> sourcesToExport(const QList<RepoSource> &sources,
                                                const QList<RepoSource> &filtered,
                                                const QSet<QString> &selected, SourceExportScope scope);

// One line of counts, then one line per invalid line with its number, reason and text.
[[nodiscard]] QStringList importSummaryLines(const SourceListImport &result);

// For the screen: "added", "skipped", "invalid" (counts), "format" (its name), "lines" (the summary)
// and an empty "error".
[[nodiscard]] QVariantMap importReport(const SourceListImport &result);
// The same keys for an import that read nothing, with the reason as "error" and as the only line.
[[nodiscard]] QVariantMap importFailure(const QString &error);
