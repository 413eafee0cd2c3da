#include "sources/sourcelistimport.h"

#include "sources/sourceediting.h"
#include "sources/sourcelinks.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QStringList>

#include <algorithm>

namespace {

QStringList splitLines(QString text)
{
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    QStringList lines = text.split(QLatin1Char('\n'));
    for (QString &line : lines) {
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
    }
    return lines;
}

bool isComment(const QString &trimmed)
{
    return trimmed.startsWith(QLatin1Char('#'));
}

// "Field:" followed by white space or the end of the line. A link's "https:" is followed by "//", so
// a pasted link never reads as a field.
bool isFieldLine(const QString &line)
{
    static const QRegularExpression field(QStringLiteral("^[A-Za-z][A-Za-z0-9_-]*:(\\s|$)"));
    return field.match(line).hasMatch();
}

QStringList words(QStringView text)
{
    QStringList out;
    static const QRegularExpression blanks(QStringLiteral("\\s+"));
    for (const QStringView word : text.split(blanks, Qt::SkipEmptyParts))
        out.append(word.toString());
    return out;
}

// The entry type of a one-line entry: the text before the first blank or the options' "[".
QString entryType(const QString &trimmed)
{
    qsizetype end = 0;
    while (end < trimmed.size() && !trimmed.at(end).isSpace() && trimmed.at(end) != QLatin1Char('['))
        ++end;
    return trimmed.left(end);
}

// One line of a ".list" or of a paste: blank, comment, a `deb` / `deb-src` entry, or a link.
void parseOneLine(const QString &line, int number, SourceListParse &out)
{
    const QString trimmed = line.trimmed();
    if (trimmed.isEmpty() || isComment(trimmed))
        return;
    const QString type = entryType(trimmed);
    if (type == QLatin1String("deb-src"))
        return; // source packages: no Packages index to read
    if (type != QLatin1String("deb")) {
        out.entries.append({number, trimmed});
        return;
    }

    // apt ends an entry at the first '#', wherever it stands.
    QString rest = trimmed.mid(type.size()).section(QLatin1Char('#'), 0, 0).trimmed();
    if (rest.startsWith(QLatin1Char('['))) {
        const qsizetype close = rest.indexOf(QLatin1Char(']'));
        if (close < 0) {
            out.invalid.append({number, trimmed, QStringLiteral("options without a closing \"]\"")});
            return;
        }
        rest = rest.mid(close + 1);
    }
    const QStringList fields = words(rest);
    if (fields.size() < 2) {
        out.invalid.append({number, trimmed, QStringLiteral("a deb line needs a URI and a suite")});
        return;
    }
    // Components are not checked: "deb URI ./ main" is a common slip that still means the flat folder.
    if (const std::optional<QString> link = linkForAptEntry(fields.at(0), fields.at(1)))
        out.entries.append({number, *link});
    else
        out.invalid.append(
            {number, trimmed, QStringLiteral("the suite uses a variable only apt can fill in")});
}

struct Field
{
    int line = 0;
    QString value;
};

struct Stanza
{
    int line = 0;
    QString firstLine;
    QHash<QString, Field> fields; // keyed by the lower-cased name: deb822 names ignore case
};

void finishStanza(const Stanza &stanza, SourceListParse &out)
{
    if (stanza.fields.isEmpty())
        return;
    const auto field = [&](const char *name) { return stanza.fields.value(QString::fromLatin1(name)); };
    // apt reads the flag as a boolean, so each of its spellings of "no" turns the stanza off.
    static const QStringList off{QStringLiteral("no"), QStringLiteral("false"), QStringLiteral("off"),
                                 QStringLiteral("without"), QStringLiteral("disable")};
    if (off.contains(field("enabled").value, Qt::CaseInsensitive))
        return;
    const auto refuse = [&](const QString &reason) {
        out.invalid.append({stanza.line, stanza.firstLine, reason});
    };

    const Field types = field("types");
    if (types.value.isEmpty()) {
        refuse(QStringLiteral("the stanza has no Types"));
        return;
    }
    if (!words(types.value).contains(QLatin1String("deb")))
        return; // deb-src only
    const Field uris = field("uris");
    const QStringList suites = words(field("suites").value);
    if (uris.value.isEmpty() || suites.isEmpty()) {
        refuse(QStringLiteral("the stanza needs URIs and Suites"));
        return;
    }
    // Several suites of one dists repository are one source here, so repeats within a stanza are
    // dropped rather than counted as duplicates.
    QSet<QString> seen;
    for (const QString &uri : words(uris.value)) {
        for (const QString &suite : suites) {
            const std::optional<QString> link = linkForAptEntry(uri, suite);
            if (!link) {
                out.invalid.append({uris.line, uri + QLatin1Char(' ') + suite,
                                    QStringLiteral("the suite uses a variable only apt can fill in")});
            } else if (!seen.contains(*link)) {
                seen.insert(*link);
                out.entries.append({uris.line, *link});
            }
        }
    }
}

void parseDeb822(const QStringList &lines, SourceListParse &out)
{
    Stanza stanza;
    QString last;
    for (int i = 0; i < lines.size(); ++i) {
        const QString &line = lines.at(i);
        const int number = i + 1;
        if (line.startsWith(QLatin1Char('#')))
            continue; // a comment, even inside a stanza
        if (line.trimmed().isEmpty()) {
            finishStanza(stanza, out);
            stanza = {};
            last.clear();
            continue;
        }
        if (line.at(0).isSpace()) {
            // A continuation (an embedded Signed-By key, a long URIs list); " ." stands for an empty line.
            if (last.isEmpty())
                out.invalid.append({number, line.trimmed(), QStringLiteral("continuation of no field")});
            else if (line.trimmed() != QLatin1String("."))
                stanza.fields[last].value += QLatin1Char(' ') + line.trimmed();
            continue;
        }
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        if (colon <= 0) {
            out.invalid.append({number, line.trimmed(), QStringLiteral("not a \"Field: value\" line")});
            continue;
        }
        if (stanza.fields.isEmpty()) {
            stanza.line = number;
            stanza.firstLine = line.trimmed();
        }
        last = line.left(colon).trimmed().toLower();
        stanza.fields.insert(last, Field{number, line.mid(colon + 1).trimmed()});
    }
    finishStanza(stanza, out);
}

} // namespace

SourceListFormat detectSourceListFormat(const QString &text)
{
    for (const QString &line : splitLines(text)) {
        const QString trimmed = line.trimmed();
        if (trimmed.isEmpty() || isComment(trimmed))
            continue;
        if (isFieldLine(line))
            return SourceListFormat::Deb822;
        const QString type = entryType(trimmed);
        const bool apt = type == QLatin1String("deb") || type == QLatin1String("deb-src");
        return apt ? SourceListFormat::OneLine : SourceListFormat::Links;
    }
    return SourceListFormat::Links;
}

std::optional<QString> linkForAptEntry(const QString &uri, const QString &suite)
{
    QString base = uri;
    if (!base.endsWith(QLatin1Char('/')))
        base += QLatin1Char('/');
    if (!suite.endsWith(QLatin1Char('/')))
        return base;
    if (suite.contains(QLatin1String("$(")))
        return std::nullopt;
    QString path = suite;
    while (path.startsWith(QLatin1String("./")) || path.startsWith(QLatin1Char('/')))
        path.remove(0, path.startsWith(QLatin1Char('/')) ? 1 : 2);
    return base + path;
}

SourceListParse parseSourceList(const QString &text)
{
    SourceListParse out;
    out.format = detectSourceListFormat(text);
    const QStringList lines = splitLines(text);
    if (out.format == SourceListFormat::Deb822) {
        parseDeb822(lines, out);
    } else {
        for (int i = 0; i < lines.size(); ++i)
            parseOneLine(lines.at(i), i + 1, out);
    }
    return out;
}

SourceListImport importSourceList(const QList<RepoSource> &sources, const QString &text)
{
    SourceListParse parsed = parseSourceList(text);
    SourceListImport out{parsed.format, sources, {}, {}, std::move(parsed.invalid)};
    QSet<QString> present;
    for (const RepoSource &source : sources)
        present.insert(normalizeLink(source.link));

    for (const SourceListEntry &entry : std::as_const(parsed.entries)) {
        const QString key = normalizeLink(entry.link);
        if (present.contains(key)) {
            out.skipped.append(entry);
            continue;
        }
        SourceEdit edit = addSource(out.sources, entry.link);
        if (edit.sources) {
            out.sources = std::move(*edit.sources);
            out.added.append(entry);
            present.insert(key);
        } else if (edit.alert == SourceAlerts::duplicate) {
            out.skipped.append(entry);
        } else {
            out.invalid.append({entry.line, entry.link, edit.alert});
        }
    }
    std::stable_sort(out.invalid.begin(), out.invalid.end(),
                     [](const SourceListProblem &a, const SourceListProblem &b) { return a.line < b.line; });
    return out;
}
