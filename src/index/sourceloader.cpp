#include "index/sourceloader.h"

SourceLoader::SourceLoader(LoadEnvironment environment, QObject *parent)
    : QObject(parent)
    , m_environment(std::move(environment))
    , m_jobs(new BackgroundJobs(this))
{
    m_environment.cancelled = m_cancelled;
}

SourceLoader::~SourceLoader()
{
    *m_cancelled = true;
    delete m_jobs;
}

void SourceLoader::load(const QString &link, bool force, std::function<void(const LoadResult &)> done)
{
    // `done` stays on this thread; only values travel to the worker and back.
    const quint64 ticket = ++m_nextTicket;
    m_pending.emplace(ticket, std::move(done));
    m_jobs->start([this, ticket, link, force, environment = m_environment] {
        auto result = std::make_shared<const LoadResult>(loadSourceIndex(link, force, environment));
        return [this, ticket, link, result] {
            m_servedFrom.insert(link, result->servedFrom);
            const auto pending = m_pending.extract(ticket);
            pending.mapped()(*result);
        };
    });
}
