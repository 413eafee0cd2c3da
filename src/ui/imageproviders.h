// Installs the image providers that the views' image sources name: "assets" for the app's own
// pictures, "icon" for package icons from the network and "qr" for QR codes of hand-off links.
// Main thread, once per engine, before any QML that shows images is loaded.
#pragma once

class QQmlEngine;

// Offline, package icons are never downloaded and show the default picture.
void installImageProviders(QQmlEngine &engine, bool offline = false);
