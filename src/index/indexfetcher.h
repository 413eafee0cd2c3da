// The network half of loading indexes: every source's requests in flight at once on one network
// access manager, replies handled as they come, the disk and CPU work (cache, decoding, parsing,
// search index) done as values on a pool of worker threads.
// Lives on the loader's network thread; its results are posted to the loader's thread.
#pragma once

#include "common/backgroundjobs.h"
#include "index/indexdownload.h"

#include <QObject>

#include <functional>
#include <memory>

class CompletionQueue;
class QNetworkAccessManager;
class QNetworkReply;

class IndexFetcher : public QObject
{
    Q_OBJECT

public:
    // Runs on the thread that owns `results`, once per fetch.
    using Finished = std::function<void(quint64 ticket, const QString &link,
                                        const std::shared_ptr<const LoadResult> &result)>;

    IndexFetcher(LoadEnvironment environment, CompletionQueue *results, Finished finished);
    // Aborts the requests in flight and waits for the workers; nothing is posted after this.
    ~IndexFetcher() override;

    // Where other threads hand work to this one.
    [[nodiscard]] CompletionQueue *inbox() const { return m_inbox; }

    void fetch(quint64 ticket, const QString &link, bool force);

private:
    struct Load;

    void lookUpHost(const std::shared_ptr<Load> &load);
    void tryNextCandidate(const std::shared_ptr<Load> &load);
    void drain(const std::shared_ptr<Load> &load, QNetworkReply *reply);
    void giveUp(const std::shared_ptr<Load> &load, QNetworkReply *reply, const char *why);
    void complete(const std::shared_ptr<Load> &load, QNetworkReply *reply);
    void endWithoutNetwork(const std::shared_ptr<Load> &load, bool notModified);
    [[nodiscard]] BackgroundJobs::Completion finish(const std::shared_ptr<Load> &load, LoadResult result);
    [[nodiscard]] static LoadHealth healthOf(const LoadResult &result, const Load &load);

    LoadEnvironment m_environment;
    CompletionQueue *m_results = nullptr;
    Finished m_finished;
    CompletionQueue *m_inbox = nullptr;
    QNetworkAccessManager *m_network = nullptr;
    BackgroundJobs *m_jobs = nullptr;
};
