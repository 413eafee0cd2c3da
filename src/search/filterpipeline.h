// Keeps the "All Packages" result in step with the search text, architecture, mode and pool.
// Text waits for a pause in typing; the other inputs apply at once; filtering runs on one worker
// thread so results arrive in order and typing never waits for it. Lives on the main thread.
#pragma once

#include "search/debouncetimer.h"
#include "search/packagefilter.h"

#include <QObject>
#include <QThreadPool>

#include <memory>
#include <optional>

class FilterPipeline : public QObject
{
    Q_OBJECT

public:
    static constexpr int textPauseMilliseconds = 250;

    explicit FilterPipeline(std::unique_ptr<DebounceTimer> textTimer = {}, QObject *parent = nullptr);
    ~FilterPipeline() override;

    void setSearchText(const QString &text);
    void setArchitecture(const std::optional<QString> &architecture);
    void setPackagesMode(bool packagesMode);
    void setPool(const PackagePool &pool);

    // Blocks until the worker is idle; for tests and orderly shutdown.
    void waitForIdle();

Q_SIGNALS:
    void filtered(const PackageSelection &selection);

private:
    void onTextSettled(const QString &text);
    void run();

    std::unique_ptr<DebounceTimer> m_textTimer;
    // Unset until the first pause in typing: nothing is filtered before every input is known.
    std::optional<QString> m_settledText;
    std::optional<QString> m_architecture;
    bool m_packagesMode = false;
    PackagePool m_pool;
    // Touched only by the worker; shared so a queued task keeps it alive.
    std::shared_ptr<SearchIndexCache> m_cache = std::make_shared<SearchIndexCache>();
    // Declared last so it is destroyed first: its destructor waits for the running task.
    QThreadPool m_worker;
};
