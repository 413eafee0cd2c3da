#include "ui/screenshotdriver.h"

#include "app/repoviewmodel.h"

#include <QDateTime>
#include <QQuickItem>
#include <QQuickWindow>
#include <QRegularExpression>
#include <QTimer>

namespace {

// Long enough for the search pause, a filter pass and a few frames of animation.
constexpr qint64 quietMilliseconds = 900;
// A source that never answers must not keep the screenshot from being taken.
constexpr qint64 giveUpMilliseconds = 60000;

qint64 now()
{
    return QDateTime::currentMSecsSinceEpoch();
}

} // namespace

ScreenshotDriver::ScreenshotDriver(QQuickWindow *window, ScreenshotRequest request, QObject *parent)
    : QObject(parent)
    , m_window(window)
    , m_request(std::move(request))
{}

std::optional<QSize> ScreenshotDriver::parseSize(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("^(\\d{2,5})x(\\d{2,5})$"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const QSize size(match.captured(1).toInt(), match.captured(2).toInt());
    if (size.width() < 200 || size.height() < 200 || size.width() > 8000 || size.height() > 8000)
        return std::nullopt;
    return size;
}

std::optional<int> ScreenshotDriver::parseMode(const QString &text)
{
    if (text == QLatin1String("favorites"))
        return RepoViewModel::Favorites;
    if (text == QLatin1String("allSources"))
        return RepoViewModel::AllSources;
    if (text == QLatin1String("allPackages"))
        return RepoViewModel::AllPackages;
    return std::nullopt;
}

void ScreenshotDriver::start()
{
    if (m_request.size)
        m_window->resize(*m_request.size);
    m_content = m_window->findChild<QQuickItem *>(QStringLiteral("contentView"));
    if (m_content)
        m_viewModel = m_content->property("viewModel").value<RepoViewModel *>();
    if (!m_viewModel) {
        qWarning("the main screen has no state object");
        Q_EMIT finished(false);
        return;
    }
    connect(m_viewModel, &RepoViewModel::allPackagesLoaded, this, [this] { m_allLoaded = true; });
    connect(m_viewModel, &RepoViewModel::sourcePackagesReady, this, [this] { m_sourceOpened = true; });
    m_startedAt = now();
    connect(
        m_window, &QQuickWindow::frameSwapped, this,
        [this] { QTimer::singleShot(0, this, &ScreenshotDriver::apply); }, Qt::SingleShotConnection);
    m_window->requestUpdate();
}

void ScreenshotDriver::apply()
{
    // Connected before the mode changes: the packages list starts its load as soon as it is built.
    if (m_request.duringLoad)
        connect(m_viewModel, &RepoViewModel::loadProgressChanged, this,
                &ScreenshotDriver::grabHalfwayThroughTheLoad);
    if (m_request.mode)
        m_viewModel->setSelectedMode(RepoViewModel::SelectionMode(*m_request.mode));
    if (!m_request.openSource.isEmpty())
        m_viewModel->showSourcePackages(m_request.openSource);
    else if (!m_request.searchText.isEmpty())
        m_viewModel->setSearchText(m_request.searchText);
    if (!m_request.addLink.isEmpty())
        m_viewModel->addNewSource(m_request.addLink);
    if (m_request.addSheet)
        m_viewModel->setAddSourcePresented(true);
    if (m_request.health)
        openHealthOnceLoaded();
    if (m_request.duringLoad) {
        // The bar follows a load of every source; a screen that does not start one gets one.
        if (!m_viewModel->loadInProgress())
            m_viewModel->loadAllPackages();
        return;
    }

    auto *timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &ScreenshotDriver::poll);
    timer->start(50);
}

void ScreenshotDriver::openHealthOnceLoaded()
{
    // The health screen has something to say only about sources that have been tried.
    const auto open = [this] {
        QMetaObject::invokeMethod(m_content, "openSourceHealth");
        m_healthOpened = true;
    };
    connect(m_viewModel, &RepoViewModel::allPackagesLoaded, this, open, Qt::SingleShotConnection);
    if (!m_viewModel->loadInProgress())
        m_viewModel->loadAllPackages();
}

void ScreenshotDriver::grabHalfwayThroughTheLoad()
{
    // Taken right here, before the next answer is counted: the picture is the load as it stands.
    const int total = m_viewModel->loadTotal();
    if (m_grabbed || total == 0 || m_viewModel->loadDone() * 2 < total)
        return;
    grab();
}

bool ScreenshotDriver::settled() const
{
    if (m_request.health && !m_healthOpened)
        return false;
    if (!m_viewModel->loadingLinks().isEmpty())
        return false;
    if (m_viewModel->selectedMode() == RepoViewModel::AllPackages && !m_allLoaded)
        return false;
    return m_request.openSource.isEmpty() || m_sourceOpened;
}

void ScreenshotDriver::poll()
{
    if (!m_request.openSource.isEmpty() && m_sourceOpened && !m_request.searchText.isEmpty()) {
        // The package screen's own search field, once that screen is on the stack.
        if (auto *field = m_window->contentItem()->findChild<QQuickItem *>(QStringLiteral("packageSearch"));
            field && field->property("text").toString() != m_request.searchText) {
            field->setProperty("text", m_request.searchText);
            m_quietSince = -1;
        }
    }
    if (!settled() && now() - m_startedAt < giveUpMilliseconds) {
        m_quietSince = -1;
        return;
    }
    if (m_quietSince < 0) {
        m_quietSince = now();
        return;
    }
    if (now() - m_quietSince >= quietMilliseconds)
        grab();
}

void ScreenshotDriver::grab()
{
    m_grabbed = true;
    if (auto *timer = findChild<QTimer *>())
        timer->stop();
    const bool saved = m_window->grabWindow().save(m_request.file);
    if (!saved)
        qWarning("could not save the screenshot to %s", qPrintable(m_request.file));
    Q_EMIT finished(saved);
}
