// Recorders standing in for the clipboard and URL opening, and a throw-away settings file.
// Test helpers; main thread.
#pragma once

#include "app/platform.h"

#include <QSettings>
#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>

class RecordingClipboard : public Clipboard
{
public:
    void setText(const QString &text) override { texts.append(text); }
    QStringList texts;
};

class RecordingUrlOpener : public UrlOpener
{
public:
    void open(const QUrl &url) override { opened.append(url); }
    QList<QUrl> opened;
};

// A platform over an INI file in its own temporary folder; reopen() simulates the next launch.
struct TestPlatform
{
    QTemporaryDir dir;
    std::shared_ptr<RecordingClipboard> clipboard = std::make_shared<RecordingClipboard>();
    std::shared_ptr<RecordingUrlOpener> opener = std::make_shared<RecordingUrlOpener>();
    std::shared_ptr<QSettings> settings = openStore();

    [[nodiscard]] QString settingsPath() const { return dir.filePath(QStringLiteral("settings.ini")); }
    [[nodiscard]] std::shared_ptr<QSettings> openStore() const
    {
        return std::make_shared<QSettings>(settingsPath(), QSettings::IniFormat);
    }
    void reopen()
    {
        settings->sync();
        settings = openStore();
    }
    // Caches and device files stay inside the temporary folder; the device tree starts empty.
    [[nodiscard]] Platform platform() const
    {
        return Platform{
            settings, clipboard,    opener, dir.path(), DeviceRoot(dir.filePath(QStringLiteral("device"))),
            {},       std::nullopt, stdout, false,      {}};
    }
};
