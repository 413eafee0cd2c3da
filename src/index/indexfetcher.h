// The network half of loading indexes: every source's requests in flight at once on the process's
// HTTP client, answers handled as they come, the disk and CPU work (cache, decoding, parsing,
// search index) done as values on a pool of worker threads.
// Lives on the loader's network thread; its results are posted to the loader's thread.
#pragma once

#include "common/backgroundjobs.h"
#include "common/httpclient.h"
#include "index/indexdownload.h"

#include <QObject>

#include <functional>
#include <memory>
#include <unordered_set>

class CompletionQueue;

class IndexFetcher : public QObject
{
    Q_OBJECT

public:
    // Runs on the thread that owns `results`, once per fetch.
    using Finished = std::function<void(quint64 ticket, const QString &link,
                                        const std::shared_ptr<const LoadResult> &result)>;

    IndexFetcher(LoadEnvironment environment, CompletionQueue *results, Finished finished);
    // Cancels the requests in flight and waits for the workers; nothing is posted after this.
    ~IndexFetcher() override;

    // Where other threads hand work to this one.
    [[nodiscard]] CompletionQueue *inbox() const { return m_inbox; }

    void fetch(quint64 ticket, const QString &link, bool force);

private:
    struct Load;

    void tryNextCandidate(const std::shared_ptr<Load> &load);
    void complete(const std::shared_ptr<Load> &load, HttpClient::Id request, HttpResponse response);
    void endWithoutNetwork(const std::shared_ptr<Load> &load, bool notModified);
    [[nodiscard]] BackgroundJobs::Completion finish(const std::shared_ptr<Load> &load, LoadResult result);
    [[nodiscard]] static LoadHealth healthOf(const LoadResult &result, const Load &load);

    LoadEnvironment m_environment;
    CompletionQueue *m_results = nullptr;
    Finished m_finished;
    CompletionQueue *m_inbox = nullptr;
    std::unordered_set<HttpClient::Id> m_requests; // in flight
    BackgroundJobs *m_jobs = nullptr;
};
