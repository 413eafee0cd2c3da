#include "sources/sourcelinks.h"

#include <QSet>

QString normalizeLink(const QString &link)
{
    QString normalized = link.trimmed().toLower();
    if (normalized.endsWith(QLatin1Char('/')))
        normalized.chop(1);
    return normalized;
}

QList<RepoSource> dedupeByLink(const QList<RepoSource> &list)
{
    QSet<QString> seen;
    seen.reserve(list.size());
    QList<RepoSource> kept;
    kept.reserve(list.size());
    for (const RepoSource &source : list) {
        const QString key = normalizeLink(source.link);
        if (seen.contains(key))
            continue;
        seen.insert(key);
        kept.append(source);
    }
    return kept;
}

QString capitalized(const QString &text)
{
    QString out;
    out.reserve(text.size());
    bool wordStart = true;
    for (qsizetype i = 0; i < text.size();) {
        const char32_t ucs = text.at(i).isHighSurrogate() && i + 1 < text.size()
                                 ? QChar::surrogateToUcs4(text.at(i), text.at(i + 1))
                                 : text.at(i).unicode();
        const qsizetype width = QChar::requiresSurrogates(ucs) ? 2 : 1;
        const QString piece = text.mid(i, width);
        if (QChar::isSpace(ucs)) {
            out += piece;
            wordStart = true;
        } else {
            out += wordStart ? piece.toUpper() : piece.toLower();
            wordStart = false;
        }
        i += width;
    }
    return out;
}

QString extractName(const QUrl &url)
{
    // Qt shows international hosts in Unicode only for some top-level domains; a display name
    // should always be readable.
    QString host = QUrl::fromAce(url.host(QUrl::EncodeUnicode).toLatin1(), QUrl::IgnoreIDNWhitelist);
    if (host.isEmpty())
        return QStringLiteral("Unknown Source");
    host.remove(QStringLiteral("www."), Qt::CaseSensitive);
    return capitalized(host);
}

bool canOpenSourceUrl(const QUrl &url)
{
    const QString scheme = url.scheme();
    return scheme == QLatin1String("https") || scheme == QLatin1String("http");
}
