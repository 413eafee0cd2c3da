#include "search/filterpipeline.h"

FilterPipeline::FilterPipeline(std::unique_ptr<DebounceTimer> textTimer, QObject *parent)
    : QObject(parent)
    , m_textTimer(textTimer ? std::move(textTimer) : std::make_unique<QtDebounceTimer>(textPauseMilliseconds))
{
    m_worker.setMaxThreadCount(1);
    m_worker.setObjectName(QStringLiteral("tallowpine.search"));
    // The search text starts out empty and, like any typing, counts once it has settled.
    setSearchText(QString());
}

FilterPipeline::~FilterPipeline()
{
    m_worker.waitForDone();
}

void FilterPipeline::setSearchText(const QString &text)
{
    m_textTimer->start([this, text] { onTextSettled(text); });
}

void FilterPipeline::onTextSettled(const QString &text)
{
    // Duplicates are judged before trimming, so typing a trailing space still filters again.
    if (m_settledText == text)
        return;
    m_settledText = text;
    run();
}

void FilterPipeline::setArchitecture(const std::optional<QString> &architecture)
{
    m_architecture = architecture;
    run();
}

void FilterPipeline::setPackagesMode(bool packagesMode)
{
    m_packagesMode = packagesMode;
    run();
}

void FilterPipeline::setPool(const PackagePool &pool)
{
    m_pool = pool;
    run();
}

void FilterPipeline::waitForIdle()
{
    m_worker.waitForDone();
}

void FilterPipeline::run()
{
    if (!m_settledText)
        return;
    const PackageQuery query{m_settledText->trimmed(), m_architecture, m_packagesMode};
    // The destructor waits for this task, so `this` outlives it; a result still queued when the
    // pipeline goes away is dropped with the pipeline's pending events.
    m_worker.start([this, pool = m_pool, query, cache = m_cache] {
        cache->keepOnly(pool);
        PackageSelection result(pool, filterPackageRows(pool, query, *cache));
        QMetaObject::invokeMethod(
            this, [this, result = std::move(result)] { Q_EMIT filtered(result); }, Qt::QueuedConnection);
    });
}
