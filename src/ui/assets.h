// What QML asks about pictures: which assets exist and the image source to show for an asset, a
// source icon or a package icon address.
// Main thread, as a QML singleton (Assets).
#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

class Assets : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    // `radius` in each source rounds the corners, as a fraction of the shorter side; 0.5 is a circle.
    Q_INVOKABLE bool hasAsset(const QString &name) const;
    // "" when no asset has that name.
    Q_INVOKABLE QString assetSource(const QString &name, double radius = 0) const;
    // The asset, else the bundle's Tweaks.png, else "" for the view's own placeholder.
    Q_INVOKABLE QString repoImageSource(const QString &imageName, double radius = 0) const;
    // "" when the address is not one that would ever be fetched: the view shows "Tweaks" at once.
    Q_INVOKABLE QString iconSource(const QString &urlString, double radius = 0) const;
    // The QR code of a link, for a phone to scan; "" for no link.
    Q_INVOKABLE QString qrSource(const QString &text) const;
};
