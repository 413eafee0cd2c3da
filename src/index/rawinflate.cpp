#include "index/rawinflate.h"

#include "index/indexlog.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <zlib.h>

#include <algorithm>
#include <limits>

namespace {

IndexError decompressError(int code, const QString &description = QString())
{
    return IndexError{kDecompressDomain, code, description};
}

IndexError fileError(const QFileDevice &file)
{
    return IndexError{kFileDomain, int(file.error()), file.errorString()};
}

// The size of the one output buffer, or 0 when even the first one would be over the limit.
qsizetype outputCapacity(qsizetype inputSize, qsizetype limit)
{
    constexpr qsizetype kInitialCapacity = 65536;
    if (inputSize > limit / 2)
        return 0;
    const qsizetype capacity = std::max(kInitialCapacity, 2 * inputSize);
    return capacity <= limit ? capacity : 0;
}

GunzipResult gunzipWith(const QString &inputPath, const QString &emptyInputText)
{
    QFile input(inputPath);
    if (!input.open(QIODevice::ReadOnly))
        return {QString(), fileError(input)};
    const QByteArray compressed = input.readAll();
    if (input.error() != QFileDevice::NoError)
        return {QString(), fileError(input)};
    input.close();

    if (compressed.isEmpty())
        return {QString(), decompressError(-1, emptyInputText)};
    InflateResult inflated = inflateRaw(compressed);
    if (inflated.error) {
        qCDebug(lcIndex) << "cannot decompress" << inputPath << inflated.error->message();
        return {QString(), inflated.error};
    }

    const QString outputPath = decompressedPath(inputPath);
    QSaveFile output(outputPath);
    if (!output.open(QIODevice::WriteOnly) || output.write(inflated.data) != inflated.data.size() ||
        !output.commit()) {
        return {QString(), fileError(output)};
    }
    return {outputPath, std::nullopt};
}

} // namespace

InflateResult inflateRaw(QByteArrayView input, qsizetype capacityLimit)
{
    if (input.isEmpty())
        return {QByteArray(), decompressError(-1)};
    const IndexError failed = decompressError(-2, QStringLiteral("Failed to decompress"));
    const qsizetype capacity = outputCapacity(input.size(), capacityLimit);
    // zlib counts in 32 bits; both sizes are far below that once the limit holds.
    if (capacity == 0 || input.size() > std::numeric_limits<uInt>::max())
        return {QByteArray(), failed};

    z_stream stream{};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK)
        return {QByteArray(), failed};
    // Not zero-filled: only the bytes the decoder writes are kept, so untouched pages are never paid for,
    // and a file that fails at its first bytes costs next to nothing.
    QByteArray output(capacity, Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(input.data()));
    stream.avail_in = uInt(input.size());
    stream.next_out = reinterpret_cast<Bytef *>(output.data());
    stream.avail_out = uInt(capacity);
    const int status = inflate(&stream, Z_FINISH);
    const qsizetype produced = qsizetype(stream.total_out);
    inflateEnd(&stream);

    // Complete output, or a full buffer (cut at the capacity, which counts as success). Anything else
    // (bad data, a stream cut short) fails at the same input byte with any bigger buffer, so there is
    // nothing to retry. A stream that decodes to nothing fails too, as the one-shot decoder it stands in
    // for cannot tell empty output from an error.
    const bool complete = status == Z_STREAM_END;
    const bool full = stream.avail_out == 0;
    if ((!complete && !full) || produced == 0)
        return {QByteArray(), failed};
    output.truncate(produced);
    return {output, std::nullopt};
}

QString decompressedPath(const QString &inputPath)
{
    const qsizetype slash = inputPath.lastIndexOf(QLatin1Char('/'));
    const qsizetype dot = inputPath.lastIndexOf(QLatin1Char('.'));
    // A leading dot starts a hidden name, not an extension.
    if (dot <= slash + 1)
        return inputPath;
    return inputPath.left(dot);
}

GunzipResult gunzip(const QString &inputPath)
{
    return gunzipWith(inputPath, QString());
}

GunzipResult gunzipFile(const QString &path)
{
    return gunzipWith(path, QStringLiteral("nil src"));
}
