// Which sources the main list shows, which are favourites or ticked, and what copying them says.
// Pure functions on values; any thread.
#pragma once

#include "sources/reposource.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

// Favourites in the order of the source list; links of deleted sources simply find nothing.
[[nodiscard]] QList<RepoSource> favoriteSources(const QList<RepoSource> &sources,
                                                const QSet<QString> &favorites);

// Case-insensitive substring match on the name only. The text is not trimmed, and invisible
// characters in names take part like any other, so a name is found by exactly what it holds.
[[nodiscard]] QList<RepoSource> searchSources(const QList<RepoSource> &base, const QString &text);

// Compares counts only, so ticks on sources the search hides still count towards "all".
[[nodiscard]] bool isAllSelected(qsizetype selectedCount, qsizetype filteredCount);

// Links of the shown sources that are ticked, in list order; hidden ticks are not exported.
[[nodiscard]] QStringList selectedLinks(const QList<RepoSource> &filtered, const QSet<QString> &selected);

namespace SelectionAlerts {
[[nodiscard]] QString favoriteAdded(const QString &name);
[[nodiscard]] QString favoriteRemoved(const QString &name);
[[nodiscard]] QString sourcesCopied(qsizetype count);
[[nodiscard]] QString linkCopied(const QString &link);
} // namespace SelectionAlerts
