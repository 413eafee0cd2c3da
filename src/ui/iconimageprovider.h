// The "icon" image provider: QML asks for "image://icon/<address>" and gets the decoded icon, or an
// error that the view answers with the "Tweaks" picture.
// Created on the main thread; requests arrive on the pixmap reader's thread.
#pragma once

#include <QQuickAsyncImageProvider>

#include <memory>

class IconLoader;
class IconLoaderHandle;

class IconImageProvider : public QQuickAsyncImageProvider
{
public:
    // Responses reach the loader through its handle, so they may outlive it: the engine's reader
    // thread can still cancel them after the engine's children are gone.
    explicit IconImageProvider(IconLoader *loader);

    QQuickImageResponse *requestImageResponse(const QString &id, const QSize &requestedSize) override;

private:
    std::shared_ptr<IconLoaderHandle> m_loader;
};

// The image source for an icon address, with corners rounded to `radius` times the shorter side;
// "" when the address could never be fetched (not http or https, or no address at all).
[[nodiscard]] QString iconImageSource(const QString &address, double radius = 0);
