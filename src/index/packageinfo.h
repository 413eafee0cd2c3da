// One package stanza of a source's index, as the package lists and rows show it.
// An immutable value; safe to copy and share between threads.
#pragma once

#include <QList>
#include <QMetaType>
#include <QString>
#include <QUuid>

#include <optional>

class PackageInfo
{
public:
    PackageInfo(std::optional<QString> package, std::optional<QString> name, std::optional<QString> version,
                std::optional<QString> description, std::optional<QString> filename,
                std::optional<QString> iconURL, std::optional<QString> architecture, QString sourceLink);

    [[nodiscard]] QUuid id() const { return m_id; }
    [[nodiscard]] const std::optional<QString> &package() const { return m_package; }
    [[nodiscard]] const std::optional<QString> &name() const { return m_name; }
    [[nodiscard]] const std::optional<QString> &version() const { return m_version; }
    [[nodiscard]] const std::optional<QString> &description() const { return m_description; }
    [[nodiscard]] const std::optional<QString> &filename() const { return m_filename; }
    [[nodiscard]] const std::optional<QString> &iconURL() const { return m_iconURL; }
    [[nodiscard]] const std::optional<QString> &architecture() const { return m_architecture; }
    [[nodiscard]] const QString &sourceLink() const { return m_sourceLink; }

private:
    QUuid m_id = QUuid::createUuid();
    std::optional<QString> m_package;
    std::optional<QString> m_name;
    std::optional<QString> m_version;
    std::optional<QString> m_description;
    std::optional<QString> m_filename;
    std::optional<QString> m_iconURL;
    std::optional<QString> m_architecture;
    QString m_sourceLink;
};

using PackageList = QList<PackageInfo>;
Q_DECLARE_METATYPE(PackageInfo)
