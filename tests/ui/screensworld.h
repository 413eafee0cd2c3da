// A small offline world for the screen tests: four made-up sources (two cached, one served by the
// device's package-manager list, one with nothing), a dpkg database, and recorders for the clipboard
// and URL opening that the tests read back.
// Main thread; exposed to the QML tests as the TestWorld singleton.
#pragma once

#include "../testplatform.h"

#include <QObject>
#include <QStringList>

class ScreensWorld : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QStringList links READ links CONSTANT)
    Q_PROPERTY(QStringList clipboardTexts READ clipboardTexts)
    Q_PROPERTY(QStringList openedUrls READ openedUrls)

public:
    explicit ScreensWorld(QObject *parent = nullptr);

    // Makes the world's platform the one every new state object takes.
    void install();

    [[nodiscard]] QStringList links() const { return m_links; }
    [[nodiscard]] QStringList clipboardTexts() const;
    [[nodiscard]] QStringList openedUrls() const;

    // Every test starts from a fresh settings store and empty recorders.
    Q_INVOKABLE void reset();

private:
    TestPlatform m_platform;
    QStringList m_links;
};
