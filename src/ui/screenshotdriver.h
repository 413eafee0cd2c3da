// Puts the app's screens into one state, waits for loading to settle, and saves the window as a PNG.
// Main thread; used by the app's --screenshot option and by the render checks.
#pragma once

#include <QObject>
#include <QSize>
#include <QString>

#include <optional>

class QQuickItem;
class QQuickWindow;
class RepoViewModel;

struct ScreenshotRequest
{
    QString file;
    std::optional<int> mode; // a RepoViewModel::SelectionMode value
    QString openSource;      // a source link whose package screen is opened
    QString searchText;      // typed into the search field of whichever screen is shown
    QString addLink;         // added as the sheet would add it, so its alert shows
    bool addSheet = false;
    bool health = false;     // the source health screen, once every source has been loaded
    bool duringLoad = false; // taken when half of a load of every source has answered
    std::optional<QSize> size;
};

class ScreenshotDriver : public QObject
{
    Q_OBJECT

public:
    ScreenshotDriver(QQuickWindow *window, ScreenshotRequest request, QObject *parent = nullptr);

    // Starts once the window has drawn its first frame; ends with finished(saved).
    void start();

    // Parses "390x844"; nothing for anything else.
    [[nodiscard]] static std::optional<QSize> parseSize(const QString &text);
    [[nodiscard]] static std::optional<int> parseMode(const QString &text);

Q_SIGNALS:
    void finished(bool saved);

private:
    void apply();
    void poll();
    [[nodiscard]] bool settled() const;
    void grab();
    void openHealthOnceLoaded();
    void grabHalfwayThroughTheLoad();

    QQuickWindow *m_window = nullptr;
    ScreenshotRequest m_request;
    RepoViewModel *m_viewModel = nullptr;
    QQuickItem *m_content = nullptr;
    bool m_allLoaded = false;
    bool m_sourceOpened = false;
    bool m_healthOpened = false;
    bool m_grabbed = false;
    qint64 m_quietSince = -1;
    qint64 m_startedAt = 0;
};
