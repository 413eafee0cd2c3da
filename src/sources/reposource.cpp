#include "sources/reposource.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

void appendJsonString(QByteArray &out, const QString &text)
{
    // Same escaping as QJsonDocument: only what JSON requires. Plain runs are converted whole so
    // that surrogate pairs (emoji in names) stay together.
    static constexpr char hex[] = "0123456789abcdef";
    out += '"';
    qsizetype runStart = 0;
    const auto flushRun = [&](qsizetype end) {
        if (end > runStart)
            out += QStringView(text).sliced(runStart, end - runStart).toUtf8();
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t u = text.at(i).unicode();
        const char *escape = nullptr;
        switch (u) {
        case u'"':
            escape = "\\\"";
            break;
        case u'\\':
            escape = "\\\\";
            break;
        case u'\b':
            escape = "\\b";
            break;
        case u'\f':
            escape = "\\f";
            break;
        case u'\n':
            escape = "\\n";
            break;
        case u'\r':
            escape = "\\r";
            break;
        case u'\t':
            escape = "\\t";
            break;
        default:
            if (u >= 0x20)
                continue;
        }
        flushRun(i);
        runStart = i + 1;
        if (escape) {
            out += escape;
        } else {
            out += "\\u00";
            out += hex[u >> 4];
            out += hex[u & 0xF];
        }
    }
    flushRun(text.size());
    out += '"';
}

} // namespace

QByteArray encodeSourceList(const QList<RepoSource> &sources)
{
    QByteArray out;
    out.reserve(sources.size() * 160);
    out += '[';
    for (qsizetype i = 0; i < sources.size(); ++i) {
        const RepoSource &s = sources.at(i);
        if (i > 0)
            out += ',';
        out += "{\"id\":";
        appendJsonString(out, s.id);
        out += ",\"name\":";
        appendJsonString(out, s.name);
        out += ",\"link\":";
        appendJsonString(out, s.link);
        out += ",\"imageName\":";
        appendJsonString(out, s.imageName);
        out += ",\"isDefault\":";
        out += s.isDefault ? "true" : "false";
        out += '}';
    }
    out += ']';
    return out;
}

std::optional<RepoSource> decodeSource(const QJsonObject &object)
{
    const QJsonValue id = object.value(QLatin1String("id"));
    const QJsonValue name = object.value(QLatin1String("name"));
    const QJsonValue link = object.value(QLatin1String("link"));
    const QJsonValue imageName = object.value(QLatin1String("imageName"));
    const QJsonValue isDefault = object.value(QLatin1String("isDefault"));
    if (!id.isString() || !name.isString() || !link.isString() || !imageName.isString() ||
        !isDefault.isBool())
        return std::nullopt;
    return RepoSource{id.toString(), name.toString(), link.toString(), imageName.toString(),
                      isDefault.toBool()};
}

std::optional<QList<RepoSource>> decodeSourceList(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray())
        return std::nullopt;
    const QJsonArray array = document.array();
    QList<RepoSource> sources;
    sources.reserve(array.size());
    for (const QJsonValue &value : array) {
        if (!value.isObject())
            return std::nullopt;
        auto source = decodeSource(value.toObject());
        if (!source)
            return std::nullopt;
        sources.append(std::move(*source));
    }
    return sources;
}
