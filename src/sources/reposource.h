// One APT repository the user can browse: the record stored in settings and shown in the source list.
// A plain value; safe to copy between threads.
#pragma once

#include <QJsonObject>
#include <QList>
#include <QMetaType>
#include <QString>

#include <optional>

struct RepoSource
{
    Q_GADGET
    Q_PROPERTY(QString id MEMBER id)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QString link MEMBER link)
    Q_PROPERTY(QString imageName MEMBER imageName)
    Q_PROPERTY(bool isDefault MEMBER isDefault)

public:
    QString id;
    QString name;
    QString link;
    QString imageName;
    bool isDefault = false;

    friend bool operator==(const RepoSource &, const RepoSource &) = default;
};

Q_DECLARE_METATYPE(RepoSource)

// The stored form keeps the keys in the order id, name, link, imageName, isDefault; QJsonDocument
// would sort them, so the list is written by hand.
[[nodiscard]] QByteArray encodeSourceList(const QList<RepoSource> &sources);

// All five keys must be present with the right types; one bad record rejects the whole list,
// because a half-read list silently drops what the user saved.
[[nodiscard]] std::optional<RepoSource> decodeSource(const QJsonObject &object);
[[nodiscard]] std::optional<QList<RepoSource>> decodeSourceList(const QByteArray &json);
