#include "sources/sourcestore.h"

#include "sources/sourcelinks.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcSources, "tallowpine.sources")

SourceStore::SourceStore(QSettings &settings)
    : m_settings(settings)
{}

QList<RepoSource> SourceStore::loadSources(const QList<RepoSource> &catalogue)
{
    const QVariant stored = m_settings.value(sourcesKey);
    if (stored.isValid()) {
        // INI stores bytes as @ByteArray(...), but a hand-edited file holds plain text; read both.
        const bool textual =
            stored.typeId() == QMetaType::QByteArray || stored.typeId() == QMetaType::QString;
        const auto saved = textual ? decodeSourceList(stored.toByteArray()) : std::nullopt;
        if (saved)
            return dedupeByLink(*saved + catalogue);
        setAside(sourcesKey, stored);
    }
    return dedupeByLink(catalogue);
}

void SourceStore::saveSources(const QList<RepoSource> &sources)
{
    write(sourcesKey, encodeSourceList(sources));
}

std::optional<QSet<QString>> SourceStore::loadFavorites()
{
    const QVariant stored = m_settings.value(favoriteSourcesKey);
    if (!stored.isValid())
        return std::nullopt;

    QSet<QString> links;
    switch (stored.typeId()) {
    case QMetaType::QStringList:
        for (const QString &link : stored.toStringList())
            links.insert(link);
        return links;
    case QMetaType::QString:
        // INI writes a one-entry list as a bare string.
        if (!stored.toString().isEmpty())
            links.insert(stored.toString());
        return links;
    case QMetaType::QVariantList:
        for (const QVariant &entry : stored.toList()) {
            if (entry.typeId() != QMetaType::QString) {
                setAside(favoriteSourcesKey, stored);
                return std::nullopt;
            }
            links.insert(entry.toString());
        }
        return links;
    default:
        setAside(favoriteSourcesKey, stored);
        return std::nullopt;
    }
}

void SourceStore::saveFavorites(const QSet<QString> &links)
{
    QStringList list(links.cbegin(), links.cend());
    // Sorted only so the stored file does not churn between runs; the order means nothing.
    list.sort();
    write(favoriteSourcesKey, list);
}

void SourceStore::write(const QString &key, const QVariant &value)
{
    // Any write makes the settings file be rewritten (and flushed to disk) on the next turn of the
    // event loop; the same value again is not worth that pause.
    if (m_settings.value(key) == value)
        return;
    m_settings.setValue(key, value);
}

void SourceStore::setAside(const QString &key, const QVariant &value)
{
    QString asideKey = key + unreadableSuffix;
    for (int n = 2; m_settings.contains(asideKey); ++n) {
        if (m_settings.value(asideKey) == value)
            return;
        asideKey = key + unreadableSuffix + QLatin1Char('.') + QString::number(n);
    }
    m_settings.setValue(asideKey, value);
    qCWarning(lcSources) << "could not read the saved value of" << key << "- kept it under" << asideKey;
}

std::unique_ptr<QSettings> openSettings(const QString &iniFile)
{
    if (!iniFile.isEmpty())
        return std::make_unique<QSettings>(iniFile, QSettings::IniFormat);
    return std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                       QStringLiteral("TallowPine"), QStringLiteral("TallowPine"));
}
