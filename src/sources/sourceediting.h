// Adding and deleting sources: the decisions and the texts the user sees, without touching any state.
// Pure functions on values; any thread.
#pragma once

#include "sources/reposource.h"

#include <QList>
#include <QString>

#include <optional>

struct SourceEdit
{
    // The list after the edit; empty when the edit was refused or found nothing to change.
    std::optional<QList<RepoSource>> sources;
    // What to tell the user; empty when there is nothing to say.
    QString alert;
};

// A typed link is kept exactly as typed (no trimming), so that what the user sees in the list is
// what they entered; the duplicate check is a plain case-insensitive comparison for the same reason.
[[nodiscard]] SourceEdit addSource(const QList<RepoSource> &sources, const QString &link);

// Catalogue rows are refused; a record that is not in the list (already deleted elsewhere) is ignored.
[[nodiscard]] SourceEdit deleteSource(const QList<RepoSource> &sources, const RepoSource &source);

namespace SourceAlerts {
inline const QString emptyLink = QStringLiteral("يرجى إدخال رابط السورس.");
inline const QString invalidLink = QStringLiteral("رابط السورس غير صالح.");
inline const QString duplicate = QStringLiteral("هذا السورس موجود بالفعل.");
inline const QString added = QStringLiteral("تمت إضافة السورس بنجاح.");
inline const QString cannotDeleteDefault = QStringLiteral("لا يمكن حذف السورس الافتراضي.");
[[nodiscard]] QString deleted(const QString &name);
} // namespace SourceAlerts
