#include "sources/reposource.h"

#include "common/jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>

QByteArray encodeSourceList(const QList<RepoSource> &sources)
{
    QString out;
    out.reserve(sources.size() * 160);
    out += u'[';
    for (qsizetype i = 0; i < sources.size(); ++i) {
        const RepoSource &s = sources.at(i);
        if (i > 0)
            out += u',';
        out += u"{\"id\":";
        appendJsonString(out, s.id);
        out += u",\"name\":";
        appendJsonString(out, s.name);
        out += u",\"link\":";
        appendJsonString(out, s.link);
        out += u",\"imageName\":";
        appendJsonString(out, s.imageName);
        out += u",\"isDefault\":";
        out += s.isDefault ? u"true" : u"false";
        out += u'}';
    }
    out += u']';
    return out.toUtf8();
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
