#include "sources/sourcelinks.h"

#include <QSet>
#include <QStringList>

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

namespace {

// The host part of the link text exactly as typed: after "scheme://", before the path, query or
// fragment, without user information, port or the brackets of an IPv6 literal. Empty when the
// text has no authority.
QString typedHost(const QString &link)
{
    // "scheme://host…", or "//host…" without a scheme.
    qsizetype start = 0;
    if (link.startsWith(QLatin1String("//"))) {
        start = 2;
    } else {
        const qsizetype colon = link.indexOf(QLatin1Char(':'));
        if (colon <= 0 || !QStringView(link).mid(colon + 1).startsWith(QLatin1String("//")))
            return {};
        start = colon + 3;
    }
    qsizetype end = start;
    while (end < link.size() && link.at(end) != QLatin1Char('/') && link.at(end) != QLatin1Char('?') &&
           link.at(end) != QLatin1Char('#'))
        ++end;
    QString authority = link.mid(start, end - start);
    const qsizetype at = authority.lastIndexOf(QLatin1Char('@'));
    if (at >= 0)
        authority.remove(0, at + 1);
    if (authority.startsWith(QLatin1Char('['))) {
        const qsizetype close = authority.indexOf(QLatin1Char(']'));
        return close < 0 ? QString() : authority.mid(1, close - 1);
    }
    const qsizetype portColon = authority.lastIndexOf(QLatin1Char(':'));
    if (portColon >= 0)
        authority.truncate(portColon);
    if (authority.contains(QLatin1Char('%')))
        authority = QUrl::fromPercentEncoding(authority.toUtf8());
    return authority;
}

// Punycode labels ("xn--…") shown in Unicode, every other label left as typed.
QString readableHost(const QString &host)
{
    QStringList labels = host.split(QLatin1Char('.'));
    for (QString &label : labels) {
        if (label.startsWith(QLatin1String("xn--"), Qt::CaseInsensitive))
            label = QUrl::fromAce(label.toLatin1(), QUrl::IgnoreIDNWhitelist);
    }
    return labels.join(QLatin1Char('.'));
}

} // namespace

QString extractName(const QString &link)
{
    const QUrl url(link);
    // Qt lower-cases the host it parses; the name keeps the host as the user typed it, so the
    // case-sensitive "www." removal sees the same letters the user sees.
    const QString parsed = url.host(QUrl::EncodeUnicode);
    // An IPv6 literal is no domain name: fromAce() would refuse it.
    QString host = parsed.contains(QLatin1Char(':'))
                       ? parsed
                       : QUrl::fromAce(parsed.toLatin1(), QUrl::IgnoreIDNWhitelist);
    if (host.isEmpty())
        return QStringLiteral("Unknown Source");
    const QString typed = readableHost(typedHost(link));
    // Anything Qt read differently from the plain reading above keeps Qt's host.
    if (typed.compare(host, Qt::CaseInsensitive) == 0)
        host = typed;
    host.remove(QStringLiteral("www."), Qt::CaseSensitive);
    return capitalized(host);
}

bool canOpenSourceUrl(const QUrl &url)
{
    const QString scheme = url.scheme();
    return scheme == QLatin1String("https") || scheme == QLatin1String("http");
}
