#include "ui/handoffaddresses.h"

#include "handoff/handofflinks.h"

QString HandoffAddresses::sileoPackage(const QString &identifier) const
{
    if (identifier.isEmpty())
        return {};
    return Handoff::sileoPackage(identifier);
}
