#include "index/indexfile.h"

#include "index/indexlog.h"
#include "index/packagesparser.h"
#include "index/rawinflate.h"

#include <QFile>
#include <QFileInfo>

namespace {

std::optional<QByteArray> fail(QString *error, const QString &message)
{
    qCDebug(lcIndex).noquote() << message;
    if (error)
        *error = message;
    return std::nullopt;
}

} // namespace

std::optional<QByteArray> readIndexFile(const QString &path, QString *error)
{
    QFile file(path);
    if (QFileInfo(file).isDir())
        return fail(error, QStringLiteral("%1 is a folder").arg(path));
    if (!file.open(QIODevice::ReadOnly))
        return fail(error, QStringLiteral("cannot open %1: %2").arg(path, file.errorString()));
    if (file.size() > kMaxIndexBytes)
        return fail(error, QStringLiteral("%1 is too large to be an index").arg(path));
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return fail(error, QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));

    const bool named = path.endsWith(QLatin1String(".gz"), Qt::CaseInsensitive);
    if (!named && bytes.isEmpty())
        return bytes;
    InflateResult inflated = inflateRaw(bytes);
    if (!inflated.error)
        return std::move(inflated.data);
    if (named)
        return fail(error, QStringLiteral("cannot decompress %1: %2").arg(path, inflated.error->message()));
    return bytes;
}

std::optional<PackageList> loadIndexFile(const QString &path, const QString &sourceLink, QString *error)
{
    const std::optional<QByteArray> bytes = readIndexFile(path, error);
    if (!bytes)
        return std::nullopt;
    return parsePackagesData(*bytes, sourceLink);
}

std::optional<qsizetype> countIndexFile(const QString &path, QString *error)
{
    const std::optional<QByteArray> bytes = readIndexFile(path, error);
    if (!bytes)
        return std::nullopt;
    return countPackages(decodeIndexBytes(*bytes));
}
