// The name prefixes a package manager's list file for one source may start with.
// A value; any thread.
#pragma once

#include <QString>
#include <QStringList>

struct ListKeys
{
    QString full;        // the converted link
    QString host;        // the link's first path piece, schemes removed
    QString hostAndPath; // host "_" first path segment; empty when the link has no path
    QStringList extra;   // canonical names of repositories users reach under other addresses

    // Whether a lower-cased list file name belongs to this source. Empty keys match nothing.
    [[nodiscard]] bool matches(const QString &lowerName) const;
};

// Builds the keys from a source link as stored.
[[nodiscard]] ListKeys listKeys(const QString &link);
