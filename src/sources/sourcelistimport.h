// Reading a pasted or saved list of sources (plain links, an APT ".list" or a deb822 ".sources" file)
// and adding every link in it through the same rules as one typed link.
// Pure functions on values; any thread.
#pragma once

#include "sources/reposource.h"
#include "sources/sourcelistformat.h"

#include <QList>
#include <QString>

#include <optional>

// One link found in the text, with the 1-based line it came from.
struct SourceListEntry
{
    int line = 0;
    QString link;

    friend bool operator==(const SourceListEntry &, const SourceListEntry &) = default;
};

// A line that gives no usable source, and why.
struct SourceListProblem
{
    int line = 0;
    QString text;
    QString reason;
};

struct SourceListParse
{
    SourceListFormat format = SourceListFormat::Links;
    QList<SourceListEntry> entries;
    QList<SourceListProblem> invalid;
};

struct SourceListImport
{
    SourceListFormat format = SourceListFormat::Links;
    // The source list after the import; the list given when nothing was added.
    QList<RepoSource> sources;
    QList<SourceListEntry> added;
    // Already in the list, or earlier in the same text.
    QList<SourceListEntry> skipped;
    // In line order.
    QList<SourceListProblem> invalid;
};

// Told by the first line that is not blank or a comment: a "Field: value" line makes deb822, a `deb`
// or `deb-src` entry a ".list", anything else links. Outside deb822 each line is read for what it is,
// so a paste of links may hold `deb` lines too.
[[nodiscard]] SourceListFormat detectSourceListFormat(const QString &text);

// The links the text names, in order; `deb-src` entries, disabled stanzas and comments give none.
[[nodiscard]] SourceListParse parseSourceList(const QString &text);

// The source link of an APT entry. Repositories of device tweaks are flat: "deb URI ./" has its index
// right under URI, and a suite that ends in "/" (apt's exact path) is a folder below URI. A suite
// without the "/" names a dists layout (BigBoss, Procursus); the app has no place for suite and
// components, and the package managers and the built-in catalogue name such a repository by its root,
// so the link is URI itself: that is what they de-duplicate against and hand on. No link for an exact
// path that uses an apt variable such as "$(ARCH)", which only apt can expand.
[[nodiscard]] std::optional<QString> linkForAptEntry(const QString &uri, const QString &suite);

// Every link goes through addSource(), as if typed one after another, so each lands at the top of
// the list and the last one of the text ends up first. A link whose normalised form is already
// present counts as skipped too, since the next start-up would drop it anyway.
[[nodiscard]] SourceListImport importSourceList(const QList<RepoSource> &sources, const QString &text);
