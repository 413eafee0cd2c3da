// The built-in catalogue: repositories that every source list contains and that cannot be deleted.
// Immutable data built once; safe to read from any thread.
#pragma once
#include "sources/reposource.h"
#include <QList>
[[nodiscard]] const QList<RepoSource> &defaultSources();
