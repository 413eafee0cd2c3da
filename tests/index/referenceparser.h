// A deliberately plain second reading of the index format, on decoded strings and one character at a
// time, for differential tests of the byte-level parser. Written for clarity, never for speed.
// Test helper; any thread.
#pragma once

#include "index/packageinfo.h"

#include <QByteArrayView>
#include <QHash>
#include <QString>
#include <QStringList>

namespace reference {

// Qt's own decoders and validator, not the ones under test.
inline QString decode(QByteArrayView bytes)
{
    if (!bytes.isValidUtf8())
        return QString::fromLatin1(bytes);
    // fromUtf8() drops one leading byte order mark itself; a second one is text.
    return QString::fromUtf8(bytes);
}

inline bool isLineSeparator(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 0x0A && u <= 0x0D) || u == 0x85 || u == 0x2028 || u == 0x2029;
}

inline QStringList splitLines(const QString &text)
{
    QStringList lines;
    QString line;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!isLineSeparator(text[i])) {
            line += text[i];
            continue;
        }
        if (text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n')
            ++i;
        lines.append(line);
        line.clear();
    }
    lines.append(line);
    return lines;
}

inline bool isBlank(QChar c)
{
    return c == u'\t' || c.category() == QChar::Separator_Space;
}

inline QString trimBlanks(QString text)
{
    while (!text.isEmpty() && isBlank(text.front()))
        text.remove(0, 1);
    while (!text.isEmpty() && isBlank(text.back()))
        text.chop(1);
    return text;
}

inline PackageList parse(const QString &content, const QString &sourceLink)
{
    PackageList records;
    QHash<QString, QString> stanza;
    QString last;
    bool haveLast = false;
    const auto field = [&stanza](const char *name) -> std::optional<QString> {
        const auto found = stanza.constFind(QString::fromLatin1(name));
        return found == stanza.cend() ? std::nullopt : std::optional<QString>(*found);
    };
    const auto flush = [&] {
        if (stanza.isEmpty())
            return;
        std::optional<QString> architecture = field("Architecture");
        if (architecture)
            architecture = architecture->split(u'-').last();
        records.append(PackageInfo(
            field("Package"), field("Name"), field("Version"), field("Description"), field("Filename"),
            field("Icon").value_or(QStringLiteral("Resources/Tweaks.png")), architecture, sourceLink));
        stanza.clear();
        haveLast = false;
    };
    for (const QString &line : splitLines(content)) {
        if (line.isEmpty()) {
            flush();
        } else if ((line.front() == u' ' || line.front() == u'\t') && haveLast) {
            stanza[last] = stanza.value(last) + u'\n' + trimBlanks(line);
        } else if (const qsizetype colon = line.indexOf(u':'); colon >= 0) {
            last = line.left(colon);
            haveLast = true;
            stanza[last] = trimBlanks(line.mid(colon + 1));
        }
    }
    flush();
    return records;
}

} // namespace reference
