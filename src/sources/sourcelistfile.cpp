#include "sources/sourcelistfile.h"

#include "common/regularfile.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringDecoder>
#include <QUrl>

#include <cerrno>
#include <cstring>

namespace {

QString displayName(const QString &path)
{
    const QString name = QFileInfo(path).fileName();
    return name.isEmpty() ? path : name;
}

SourceListFileText failure(const QString &message)
{
    return {QString(), message};
}

} // namespace

QString sourceListLocalPath(const QString &pathOrUrl)
{
    if (pathOrUrl.startsWith(QLatin1String("file:")))
        return QUrl(pathOrUrl).toLocalFile();
    return pathOrUrl;
}

SourceListFileText readSourceListFile(const QString &pathOrUrl)
{
    const QString path = sourceListLocalPath(pathOrUrl);
    if (path.isEmpty())
        return failure(QStringLiteral("No file was chosen."));
    const QString name = displayName(path);

    QFile file;
    if (!openRegularFile(file, path)) {
        const int error = errno;
        const QFileInfo info(path);
        if (info.exists() && !info.isFile())
            return failure(QStringLiteral("%1 is not a regular file.").arg(name));
        return failure(
            QStringLiteral("Cannot open %1: %2.").arg(name, QString::fromLocal8Bit(std::strerror(error))));
    }
    const QString tooLarge =
        QStringLiteral("%1 is larger than 1 MiB; a list of sources is much smaller.").arg(name);
    if (file.size() > maxSourceListFileSize)
        return failure(tooLarge);

    // The file may grow after the check: read one byte past the limit to notice.
    const QByteArray bytes = file.read(maxSourceListFileSize + 1);
    if (file.error() != QFileDevice::NoError)
        return failure(QStringLiteral("Cannot read %1: %2.").arg(name, file.errorString()));
    if (bytes.size() > maxSourceListFileSize)
        return failure(tooLarge);

    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder(bytes);
    if (decoder.hasError())
        return failure(QStringLiteral("%1 is not UTF-8 text.").arg(name));
    return {std::move(text), QString()};
}

QString writeSourceListFile(const QString &pathOrUrl, const QString &text)
{
    const QString path = sourceListLocalPath(pathOrUrl);
    if (path.isEmpty())
        return QStringLiteral("No file was chosen.");
    QSaveFile file(path);
    const QByteArray bytes = text.toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        return QStringLiteral("Cannot write %1: %2.").arg(displayName(path), file.errorString());
    return QString();
}
