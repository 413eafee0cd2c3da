#include "index/sourceloader.h"

#include <QPointer>

SourceLoader::SourceLoader(LoadEnvironment environment, QObject *parent)
    : QObject(parent)
    , m_environment(std::move(environment))
{
    m_environment.cancelled = m_cancelled;
    // Loads mostly wait on the network; threads are cheap next to a source that cannot start.
    m_pool.setMaxThreadCount(1024);
    m_pool.setObjectName(QStringLiteral("tallowpine.load"));
}

SourceLoader::~SourceLoader()
{
    *m_cancelled = true;
    m_pool.waitForDone();
}

void SourceLoader::load(const QString &link, bool force, std::function<void(const LoadResult &)> done)
{
    m_pool.start([this, link, force, done = std::move(done), environment = m_environment] {
        LoadResult result = loadSourceIndex(link, force, environment);
        // The destructor waits for this task, so `this` is alive here; a result still queued when
        // the loader goes away is dropped with its pending events.
        QMetaObject::invokeMethod(
            this,
            [this, link, done, result = std::move(result)] {
                m_servedFrom.insert(link, result.servedFrom);
                done(result);
            },
            Qt::QueuedConnection);
    });
}
