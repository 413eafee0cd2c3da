// Compressed fixtures made with zlib at test time: bare raw DEFLATE, as sources publish their
// "Packages.gz" for the app, and real gzip files, which the app's decoder refuses.
// Test helper; any thread.
#pragma once

#include <QByteArray>

#include <zlib.h>

inline QByteArray deflateWithWindowBits(const QByteArray &input, int windowBits)
{
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return {};
    QByteArray out(qsizetype(deflateBound(&stream, uLong(input.size()))) + 32, Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(input.data()));
    stream.avail_in = uInt(input.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = uInt(out.size());
    const int status = deflate(&stream, Z_FINISH);
    out.resize(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return status == Z_STREAM_END ? out : QByteArray();
}

inline QByteArray rawDeflate(const QByteArray &input) { return deflateWithWindowBits(input, -15); }
inline QByteArray gzipFramed(const QByteArray &input) { return deflateWithWindowBits(input, 31); }
