#pragma once
// The window's executor for the view model's blocking jobs: each job runs on one worker thread,
// one at a time, and its resume is posted back to the Qt thread's event loop. Create, use and
// destroy it on the Qt thread; only the jobs themselves run elsewhere.

#include <QObject>
#include <QThreadPool>

#include "Task.h"

namespace pellix {

class QtExecutor : public QObject {
    Q_OBJECT

public:
    explicit QtExecutor(QObject* parent = nullptr);
    // Waits for the running job, as shutDown() does.
    ~QtExecutor() override;

    // The seam to put into Platform::runBlockingJob. Valid while this object lives.
    Executor executor();

    // Waits until the running job has ended (its child reaped) and drops every resume not yet
    // delivered: after the event loop has stopped, nothing of an install runs any more.
    void shutDown();

    bool isBusy() const;

private:
    void run(std::function<void()> job, std::function<void()> resume);

    QThreadPool worker_;
    bool shutDown_ = false;
};

}  // namespace pellix
