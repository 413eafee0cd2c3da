#include "index/loadhealth.h"

#include "common/regularfile.h"
#include "index/cachefiles.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

namespace {

constexpr qint64 kMaxRecordsFileBytes = qint64(1024) * 1024;

const HealthOutcome kOutcomes[] = {HealthOutcome::Failed, HealthOutcome::FromLists, HealthOutcome::FromCache,
                                   HealthOutcome::NotModified, HealthOutcome::Downloaded};

QString age(double seconds)
{
    const qint64 s = qint64(seconds);
    if (s < 120)
        return QStringLiteral("%1 seconds").arg(std::max<qint64>(s, 0));
    if (s < 2 * 3600)
        return QStringLiteral("%1 minutes").arg(s / 60);
    if (s < 2 * 86400)
        return QStringLiteral("%1 hours").arg(s / 3600);
    return QStringLiteral("%1 days").arg(s / 86400);
}

QString size(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

} // namespace

QString healthOutcomeName(HealthOutcome outcome)
{
    switch (outcome) {
    case HealthOutcome::Failed:
        return QStringLiteral("failed");
    case HealthOutcome::FromLists:
        return QStringLiteral("lists");
    case HealthOutcome::FromCache:
        return QStringLiteral("cache");
    case HealthOutcome::NotModified:
        return QStringLiteral("not-modified");
    case HealthOutcome::Downloaded:
        return QStringLiteral("downloaded");
    }
    return {};
}

int healthRank(const LoadHealth *health)
{
    if (!health)
        return 2;
    if (health->outcome == HealthOutcome::Failed)
        return 0;
    if (!health->problem.isEmpty())
        return 1;
    return 3 + int(health->outcome) - int(HealthOutcome::FromLists);
}

QString healthSummary(const LoadHealth &health, double now)
{
    QString line;
    switch (health.outcome) {
    case HealthOutcome::Failed:
        line = QStringLiteral("Failed");
        break;
    case HealthOutcome::FromLists:
        line = QStringLiteral("From the package manager's lists");
        break;
    case HealthOutcome::FromCache:
    case HealthOutcome::NotModified:
        line = health.outcome == HealthOutcome::NotModified ? QStringLiteral("Not modified (304), from cache")
                                                            : QStringLiteral("From cache");
        if (health.cacheUpdatedAt > 0)
            line += QStringLiteral(", %1 old").arg(age(now - health.cacheUpdatedAt));
        break;
    case HealthOutcome::Downloaded:
        line = QStringLiteral("Downloaded: HTTP %1, %2 in %3 ms")
                   .arg(health.httpStatus)
                   .arg(size(health.bytes))
                   .arg(health.milliseconds);
        break;
    }
    if (!health.problem.isEmpty())
        line += QStringLiteral(": ") + health.problem;
    return line;
}

QString healthDiagnostics(const QString &name, const QString &link, const LoadHealth *health, double now)
{
    QStringList lines{QStringLiteral("Source: %1").arg(name), QStringLiteral("Link: %1").arg(link)};
    if (!health) {
        lines.append(QStringLiteral("Not loaded yet"));
        return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
    }
    lines.append(QStringLiteral("Outcome: %1").arg(healthOutcomeName(health->outcome)));
    lines.append(QStringLiteral("Summary: %1").arg(healthSummary(*health, now)));
    if (!health->problem.isEmpty())
        lines.append(QStringLiteral("Problem: %1").arg(health->problem));
    lines.append(QStringLiteral("HTTP status: %1")
                     .arg(health->httpStatus ? QString::number(health->httpStatus) : QStringLiteral("none")));
    lines.append(QStringLiteral("Bytes: %1").arg(health->bytes));
    lines.append(QStringLiteral("Network time: %1 ms").arg(health->milliseconds));
    lines.append(QStringLiteral("Packages: %1").arg(health->packages));
    if (health->cacheUpdatedAt > 0)
        lines.append(QStringLiteral("Cache downloaded: %1")
                         .arg(QDateTime::fromSecsSinceEpoch(qint64(health->cacheUpdatedAt), Qt::UTC)
                                  .toString(Qt::ISODate)));
    lines.append(
        QStringLiteral("Checked: %1")
            .arg(QDateTime::fromSecsSinceEpoch(qint64(health->checkedAt), Qt::UTC).toString(Qt::ISODate)));
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}

QByteArray encodeHealthRecords(const HealthRecords &records)
{
    QJsonObject sources;
    for (auto it = records.cbegin(); it != records.cend(); ++it) {
        const LoadHealth &h = it.value();
        sources.insert(it.key(), QJsonObject{{QStringLiteral("outcome"), healthOutcomeName(h.outcome)},
                                             {QStringLiteral("status"), h.httpStatus},
                                             {QStringLiteral("bytes"), h.bytes},
                                             {QStringLiteral("ms"), h.milliseconds},
                                             {QStringLiteral("cacheUpdatedAt"), h.cacheUpdatedAt},
                                             {QStringLiteral("packages"), h.packages},
                                             {QStringLiteral("checkedAt"), h.checkedAt},
                                             {QStringLiteral("problem"), h.problem}});
    }
    const QJsonObject root{{QStringLiteral("version"), 1}, {QStringLiteral("sources"), sources}};
    return QJsonDocument(root).toJson(QJsonDocument::Compact);
}

HealthRecords decodeHealthRecords(QByteArrayView json)
{
    const QJsonDocument document = QJsonDocument::fromJson(json.toByteArray());
    const QJsonObject root = document.object();
    if (root.value(QStringLiteral("version")).toInt() != 1)
        return {};
    HealthRecords records;
    const QJsonObject sources = root.value(QStringLiteral("sources")).toObject();
    for (auto it = sources.constBegin(); it != sources.constEnd(); ++it) {
        const QJsonObject entry = it.value().toObject();
        const QString outcome = entry.value(QStringLiteral("outcome")).toString();
        const auto known = std::find_if(std::begin(kOutcomes), std::end(kOutcomes),
                                        [&](HealthOutcome o) { return healthOutcomeName(o) == outcome; });
        // A record that does not say how the load ended says nothing.
        if (known == std::end(kOutcomes))
            continue;
        LoadHealth h;
        h.outcome = *known;
        h.httpStatus = entry.value(QStringLiteral("status")).toInt();
        h.bytes = qint64(entry.value(QStringLiteral("bytes")).toDouble());
        h.milliseconds = qint64(entry.value(QStringLiteral("ms")).toDouble());
        h.cacheUpdatedAt = entry.value(QStringLiteral("cacheUpdatedAt")).toDouble();
        h.packages = qint64(entry.value(QStringLiteral("packages")).toDouble());
        h.checkedAt = entry.value(QStringLiteral("checkedAt")).toDouble();
        h.problem = entry.value(QStringLiteral("problem")).toString();
        records.insert(it.key(), h);
    }
    return records;
}

HealthRecords readHealthRecords(const QString &path)
{
    QFile file;
    if (!openRegularFile(file, path) || file.size() > kMaxRecordsFileBytes)
        return {};
    return decodeHealthRecords(file.read(kMaxRecordsFileBytes));
}

bool writeHealthRecords(const QString &path, const HealthRecords &records)
{
    const QByteArray bytes = encodeHealthRecords(records);
    return replaceCacheFiles(QFileInfo(path).path(), {{path, bytes}});
}
