// Keeps the source list and the favourite links in the settings store, and never loses what the
// user saved: a value that cannot be read is copied aside before anything overwrites it.
// Main thread (QSettings is not shared between threads here).
#pragma once

#include "sources/reposource.h"

#include <QList>
#include <QSet>
#include <QSettings>
#include <QString>

#include <memory>
#include <optional>

class SourceStore
{
public:
    static inline const QString sourcesKey = QStringLiteral("sourcesKey_v2");
    static inline const QString favoriteSourcesKey = QStringLiteral("favoriteSourceLinks");
    static inline const QString unreadableSuffix = QStringLiteral(".unreadable");

    explicit SourceStore(QSettings &settings);

    // Saved records first, then catalogue rows the saved list lacks, de-duplicated by normalised
    // link so a saved record wins over the catalogue row it shadows. Without a readable saved list
    // the catalogue alone is returned.
    [[nodiscard]] QList<RepoSource> loadSources(const QList<RepoSource> &catalogue);
    void saveSources(const QList<RepoSource> &sources);

    // nullopt when nothing usable is stored: the caller keeps what it has.
    [[nodiscard]] std::optional<QSet<QString>> loadFavorites();
    void saveFavorites(const QSet<QString> &links);

private:
    void write(const QString &key, const QVariant &value);
    void setAside(const QString &key, const QVariant &value);

    QSettings &m_settings;
};

// The app's settings store, or an INI file when one is named (the CLI's and tests' --settings).
[[nodiscard]] std::unique_ptr<QSettings> openSettings(const QString &iniFile = {});
