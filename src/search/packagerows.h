// What one package row shows, by role: the roles and their values, shared by every package list.
// Pure functions on values; main thread (the models call them from data()).
#pragma once

#include "index/packageinfo.h"

#include <QHash>
#include <QSet>
#include <QVariant>

#include <optional>

struct PackageRows
{
    enum Role {
        IdRole = Qt::UserRole + 1,
        PackageRole,
        NameRole,
        VersionRole,
        DescriptionRole,
        FilenameRole,
        IconUrlRole,
        ArchitectureRole,
        SourceLinkRole,
        InstalledRole,
        DebUrlRole,
    };

    // Absent fields are null, so a row can tell "N/A" from an empty value; texts are left raw.
    [[nodiscard]] static QVariant data(const PackageInfo &package, int role, const QSet<QString> &installed);
    [[nodiscard]] static QHash<int, QByteArray> roleNames();

    // The architecture pickers' value as QML sees it: null for "all architectures".
    [[nodiscard]] static QVariant architectureVariant(const std::optional<QString> &architecture)
    {
        return architecture ? QVariant(*architecture) : QVariant();
    }
    [[nodiscard]] static std::optional<QString> architectureFromVariant(const QVariant &architecture)
    {
        if (architecture.isNull() || !architecture.isValid())
            return std::nullopt;
        return architecture.toString();
    }
};
