#include "QtExecutor.h"

namespace pellix {

QtExecutor::QtExecutor(QObject* parent) : QObject(parent) {
    // One thread: jobs keep the order the pipeline gives them, and children run one at a time.
    worker_.setMaxThreadCount(1);
}

QtExecutor::~QtExecutor() {
    shutDown();
}

Executor QtExecutor::executor() {
    return [this](std::function<void()> job, std::function<void()> resume) {
        run(std::move(job), std::move(resume));
    };
}

void QtExecutor::run(std::function<void()> job, std::function<void()> resume) {
    if (shutDown_) return;
    worker_.start([this, job = std::move(job), resume = std::move(resume)]() mutable {
        job();
        // `this` outlives the job: shutDown() waits for it before anything is destroyed. A resume
        // still queued when this object goes away is removed with its other posted events.
        QMetaObject::invokeMethod(
            this,
            [this, resume = std::move(resume)] {
                if (!shutDown_) resume();
            },
            Qt::QueuedConnection);
    });
}

void QtExecutor::shutDown() {
    shutDown_ = true;
    worker_.waitForDone();
}

bool QtExecutor::isBusy() const {
    return worker_.activeThreadCount() > 0;
}

}  // namespace pellix
