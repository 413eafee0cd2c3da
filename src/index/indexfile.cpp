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

namespace {

// Hands the index bytes of a file to `use`. A plain index is used straight from the page cache:
// copying it into a fresh buffer first costs as much as parsing it (every page of the copy faults).
template<typename Use>
auto withIndexBytes(const QString &path, QString *error, Use use) -> std::optional<decltype(use(QByteArrayView()))>
{
    if (!path.endsWith(QLatin1String(".gz"), Qt::CaseInsensitive)) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly) && file.size() > 0 && file.size() <= kMaxIndexBytes) {
            if (uchar *mapped = file.map(0, file.size())) {
                const QByteArrayView bytes(reinterpret_cast<const char *>(mapped), file.size());
                // Index text never starts a valid DEFLATE block; a bare stream under another name does.
                InflateResult inflated = inflateRaw(bytes);
                auto result = inflated.error ? use(bytes) : use(QByteArrayView(inflated.data));
                file.unmap(mapped);
                return result;
            }
        }
    }
    const std::optional<QByteArray> bytes = readIndexFile(path, error);
    if (!bytes)
        return std::nullopt;
    return use(QByteArrayView(*bytes));
}

} // namespace

std::optional<PackageList> loadIndexFile(const QString &path, const QString &sourceLink, QString *error)
{
    return withIndexBytes(path, error, [&](QByteArrayView bytes) { return parsePackagesData(bytes, sourceLink); });
}

std::optional<qsizetype> countIndexFile(const QString &path, QString *error)
{
    return withIndexBytes(path, error, [](QByteArrayView bytes) { return countPackages(decodeIndexBytes(bytes)); });
}
