#include "device/listkeys.h"

#include "device/knownrepos.h"
#include "device/locallists.h"

bool ListKeys::matches(const QString &lowerName) const
{
    const auto startsWithKey = [&](const QString &key, bool needsSeparator) {
        if (key.isEmpty() || !lowerName.startsWith(key)) {
            return false;
        }
        return !needsSeparator ||
               (lowerName.size() > key.size() && lowerName.at(key.size()) == QLatin1Char('_'));
    };
    // The host key admits every list of the same host on purpose: a source entered as its host alone still
    // finds the list of a deeper distribution path, and the caller's ordering then picks the most specific.
    if (startsWithKey(full, false) || startsWithKey(hostAndPath, true) || startsWithKey(host, true)) {
        return true;
    }
    for (const QString &key : extra) {
        if (startsWithKey(key, false)) {
            return true;
        }
    }
    return false;
}

ListKeys listKeys(const QString &link)
{
    ListKeys keys;
    keys.full = convertedListLink(link);

    const QStringList pieces = strippedListLink(link).split(QLatin1Char('/'), Qt::SkipEmptyParts);
    keys.host = pieces.value(0);
    if (pieces.size() >= 2) {
        keys.hostAndPath = pieces.at(0) + QLatin1Char('_') + pieces.at(1);
    }

    // A package manager names a Procursus list after the repository's canonical address, whatever address
    // the user typed, so those sources also look for the canonical name.
    if (link.contains(KnownRepos::kRootHideProcursusHostPath)) {
        keys.extra.append(
            QString(KnownRepos::kRootHideProcursusHostPath).replace(QLatin1Char('/'), QLatin1Char('_')));
    }
    if (link.contains(KnownRepos::kProcursusHost)) {
        keys.extra.append(KnownRepos::kProcursusHost);
    }
    return keys;
}
