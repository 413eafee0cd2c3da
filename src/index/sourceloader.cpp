#include "index/sourceloader.h"

#include "common/completionqueue.h"
#include "index/indexfetcher.h"

#include <QThread>

SourceLoader::SourceLoader(LoadEnvironment environment, QObject *parent)
    : QObject(parent)
    , m_results(new CompletionQueue(this))
    , m_networkThread(new QThread(this))
{
    // Reply bookkeeping and socket work are many small events: on a thread of their own they never
    // wait behind drawing, and drawing never waits behind them.
    m_networkThread->setObjectName(QStringLiteral("index network"));
    m_fetcher = new IndexFetcher(
        std::move(environment), m_results,
        [this](quint64 ticket, const QString &link, const std::shared_ptr<const LoadResult> &result) {
            finish(ticket, link, result);
        });
    m_fetcher->moveToThread(m_networkThread);
    // Deleted on its own thread as that thread ends, before wait() below returns.
    connect(m_networkThread, &QThread::finished, m_fetcher, &QObject::deleteLater);
    m_networkThread->start();
}

SourceLoader::~SourceLoader()
{
    m_networkThread->quit();
    m_networkThread->wait();
    m_fetcher = nullptr;
}

void SourceLoader::load(const QString &link, bool force, std::function<void(const LoadResult &)> done)
{
    // `done` stays on this thread; only values travel to the network thread and back.
    const quint64 ticket = ++m_nextTicket;
    m_pending.emplace(ticket, std::move(done));
    IndexFetcher *fetcher = m_fetcher;
    m_fetcher->inbox()->post([fetcher, ticket, link, force] { fetcher->fetch(ticket, link, force); });
}

void SourceLoader::finish(quint64 ticket, const QString &link,
                          const std::shared_ptr<const LoadResult> &result)
{
    m_servedFrom.insert(link, result->servedFrom);
    auto pending = m_pending.extract(ticket);
    if (pending)
        pending.mapped()(*result);
}
