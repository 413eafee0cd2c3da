#include "handoff/qrmatrix.h"

#include <qrencode.h>

#include <memory>

std::optional<QrMatrix> encodeQr(const QString &text)
{
    if (text.isEmpty() || text.contains(QChar(0)))
        return std::nullopt;
    const QByteArray bytes = text.toUtf8();
    // Version 0 lets the encoder pick the smallest one; case-sensitive, so a link's letters stay as typed.
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeString(bytes.constData(), 0, QR_ECLEVEL_M, QR_MODE_8, 1), &QRcode_free);
    if (!code)
        return std::nullopt;
    QrMatrix matrix;
    matrix.version = code->version;
    matrix.size = code->width;
    const std::size_t count = std::size_t(code->width) * std::size_t(code->width);
    matrix.modules.resize(count);
    // Each byte carries the module's colour in its lowest bit; the others say what the module is for.
    for (std::size_t i = 0; i < count; ++i)
        matrix.modules[i] = (code->data[i] & 1) != 0;
    return matrix;
}
