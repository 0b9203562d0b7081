#include "ModelObserver.h"

namespace pellix {

ModelObserver::ModelObserver(InstallerViewModel& installer, QObject* parent)
    : QObject(parent), installer_(installer) {
    subscription_ = installer_.addWillChangeObserver([this](Property) { schedule(); });
}

ModelObserver::~ModelObserver() {
    installer_.removeObserver(subscription_);
}

void ModelObserver::schedule() {
    // Announcements come before the value is stored, so the refresh must wait for the event loop;
    // one pending refresh covers every change made until it runs.
    if (pending_) return;
    pending_ = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            pending_ = false;
            emit changed();
        },
        Qt::QueuedConnection);
}

}  // namespace pellix
