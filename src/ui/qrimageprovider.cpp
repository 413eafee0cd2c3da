#include "ui/qrimageprovider.h"

#include <QPainter>
#include <QUrl>

#include <algorithm>

namespace {

constexpr int kQuietZone = 4;
constexpr int kDefaultModulePixels = 8;
// A screen-filling code is far below this; a larger request would only cost memory.
constexpr int kLargestSide = 4096;

} // namespace

QrImageProvider::QrImageProvider()
    : QQuickImageProvider(QQuickImageProvider::Image)
{}

QImage QrImageProvider::requestImage(const QString &id, QSize *size, const QSize &requestedSize)
{
    // The engine may hand the id over partly decoded already; decoding once more only touches what is
    // still escaped, and a literal '%' always stays escaped as "%25".
    const QString text = QUrl::fromPercentEncoding(id.toUtf8());
    const std::optional<QrMatrix> matrix = encodeQr(text);
    QImage image = matrix ? renderQr(*matrix, requestedSize) : QImage();
    if (size)
        *size = image.size();
    return image;
}

QImage renderQr(const QrMatrix &matrix, const QSize &requested)
{
    const int modules = matrix.size + 2 * kQuietZone;
    int side = 0;
    if (requested.width() > 0 && requested.height() > 0)
        side = std::min(requested.width(), requested.height());
    else
        side = std::max(requested.width(), requested.height());
    side = std::min(side, kLargestSide);
    const int scale = side > 0 ? std::max(1, side / modules) : kDefaultModulePixels;
    side = std::max(side, scale * modules);

    QImage image(side, side, QImage::Format_Grayscale8);
    image.fill(Qt::white);
    const int origin = (side - scale * matrix.size) / 2;
    QPainter painter(&image);
    for (int y = 0; y < matrix.size; ++y) {
        for (int x = 0; x < matrix.size; ++x) {
            if (matrix.isDark(x, y))
                painter.fillRect(origin + x * scale, origin + y * scale, scale, scale, Qt::black);
        }
    }
    return image;
}

QString qrImageSource(const QString &text)
{
    if (text.isEmpty())
        return {};
    return QStringLiteral("image://qr/") + QString::fromLatin1(QUrl::toPercentEncoding(text));
}
