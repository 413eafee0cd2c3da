// The "qr" image provider: "image://qr/<percent-encoded text>" draws the text's QR code black on white,
// with whole pixels per module and the four-module quiet zone that scanners need around it.
// Created on the main thread; requests arrive on whichever thread loads the image.
#pragma once

#include "handoff/qrmatrix.h"

#include <QImage>
#include <QQuickImageProvider>

class QrImageProvider : public QQuickImageProvider
{
public:
    QrImageProvider();

    // A null image when the text has no QR code (empty, or too long): the Image's status says Error.
    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;
};

// The largest whole number of pixels per module that fits the code and its quiet zone into the shorter
// side of `requested`, centred on a white square of that side; modules that were scaled by a fraction
// would blur into their neighbours. Too small a size, or none, still draws every module: at one pixel
// each, or at eight when no size is asked for. Sides beyond 4096 pixels are drawn at 4096.
[[nodiscard]] QImage renderQr(const QrMatrix &matrix, const QSize &requested);

// The image source that shows the text as a QR code; "" for an empty text.
[[nodiscard]] QString qrImageSource(const QString &text);
