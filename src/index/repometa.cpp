#include "index/repometa.h"

#include "common/regularfile.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QLocale>
#include <QSaveFile>

#include <cmath>

namespace {

void appendJsonString(QByteArray &out, const QString &text)
{
    static constexpr char hex[] = "0123456789abcdef";
    out += '"';
    for (const char c : text.toUtf8()) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '/':
            out += "\\/";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (uchar(c) < 0x20) {
                out += "\\u00";
                out += hex[uchar(c) >> 4];
                out += hex[uchar(c) & 0xF];
            } else {
                out += c;
            }
        }
    }
    out += '"';
}

void appendMember(QByteArray &out, const char *key, const std::optional<QString> &value)
{
    if (!value)
        return;
    out += '"';
    out += key;
    out += "\":";
    appendJsonString(out, *value);
    out += ',';
}

// Missing or null is no value; any other non-string makes the whole record unreadable.
bool readOptional(const QJsonObject &object, QLatin1String key, std::optional<QString> &into)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined() || value.isNull())
        return true;
    if (!value.isString())
        return false;
    into = value.toString();
    return true;
}

} // namespace

QByteArray encodeRepoMeta(const RepoMeta &meta)
{
    QByteArray out("{");
    appendMember(out, "etag", meta.etag);
    appendMember(out, "lastModified", meta.lastModified);
    appendMember(out, "lastURL", meta.lastURL);
    out += "\"updatedAt\":";
    // Plain decimals ("1700000000.25", never "1.7e+09") for any time this side of year 300 million.
    const double seconds = std::isfinite(meta.updatedAt) ? meta.updatedAt : 0.0;
    out += QByteArray::number(seconds, std::abs(seconds) < 1e16 ? 'f' : 'g', QLocale::FloatingPointShortest);
    out += '}';
    return out;
}

std::optional<RepoMeta> decodeRepoMeta(QByteArrayView json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json.toByteArray(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    const QJsonValue updatedAt = object.value(QLatin1String("updatedAt"));
    if (!updatedAt.isDouble())
        return std::nullopt;
    RepoMeta meta;
    meta.updatedAt = updatedAt.toDouble();
    if (!readOptional(object, QLatin1String("etag"), meta.etag) ||
        !readOptional(object, QLatin1String("lastModified"), meta.lastModified) ||
        !readOptional(object, QLatin1String("lastURL"), meta.lastURL)) {
        return std::nullopt;
    }
    return meta;
}

std::optional<RepoMeta> readRepoMeta(const QString &path)
{
    // A record is a few hundred bytes; a huge file is no record of ours and is not read into memory.
    constexpr qint64 maxRecordBytes = 256 * 1024;
    QFile file;
    if (!openRegularFile(file, path) || file.size() > maxRecordBytes)
        return std::nullopt;
    const QByteArray json = file.read(maxRecordBytes + 1);
    if (json.size() > maxRecordBytes)
        return std::nullopt;
    return decodeRepoMeta(json);
}

bool saveRepoMeta(const QString &path, const RepoMeta &meta)
{
    QSaveFile file(path);
    const QByteArray json = encodeRepoMeta(meta);
    return file.open(QIODevice::WriteOnly) && file.write(json) == json.size() && file.commit();
}
