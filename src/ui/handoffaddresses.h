// The package-manager addresses that the screens show as QR codes, built by the same rules that open
// them, so a phone scans exactly what the desktop would have opened.
// Main thread, as a QML singleton (HandoffAddresses).
#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

class HandoffAddresses : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    // "" for no identifier, as nothing is opened for one.
    Q_INVOKABLE [[nodiscard]] QString sileoPackage(const QString &identifier) const;
};
