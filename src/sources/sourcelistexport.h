// Writing sources out as plain links, an APT ".list" or a deb822 ".sources" file, each of which
// reads back through importSourceList() as the same links.
// Pure functions on values; any thread.
#pragma once

#include "sources/reposource.h"
#include "sources/sourcelistformat.h"

#include <QList>
#include <QString>

// One source a line (a stanza for deb822), in the order given, each line ending in a line feed. A
// source is written as a flat repository ("deb LINK ./"), since the link is all the app knows of it.
[[nodiscard]] QString exportSourceList(const QList<RepoSource> &sources, SourceListFormat format);
