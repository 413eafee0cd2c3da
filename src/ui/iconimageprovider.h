// The "icon" image provider: QML asks for "image://icon/<address>" and gets the decoded icon, or an
// error that the view answers with the "Tweaks" picture.
// Created on the main thread; requests arrive on the pixmap reader's thread.
#pragma once

#include <QQuickAsyncImageProvider>

class IconLoader;

class IconImageProvider : public QQuickAsyncImageProvider
{
public:
    // The loader must outlive the provider and every response it hands out; the engine that owns
    // the provider ends its reader thread before its children go.
    explicit IconImageProvider(IconLoader *loader);

    QQuickImageResponse *requestImageResponse(const QString &id, const QSize &requestedSize) override;

private:
    IconLoader *m_loader = nullptr;
};

// The image source for an icon address, with corners rounded to `radius` times the shorter side;
// "" when the address could never be fetched (not http or https, or no address at all).
[[nodiscard]] QString iconImageSource(const QString &address, double radius = 0);
