#pragma once
// The one bridge from the view model's will-change announcements to Qt: a burst of changes becomes
// one queued changed() signal, delivered after the new values are stored. Create, use and destroy
// it on the thread that owns the view model (the UI thread).

#include <QObject>

#include "InstallerViewModel.h"

namespace pellix {

class ModelObserver : public QObject {
    Q_OBJECT

public:
    explicit ModelObserver(InstallerViewModel& installer, QObject* parent = nullptr);
    ~ModelObserver() override;

signals:
    void changed();

private:
    void schedule();

    InstallerViewModel& installer_;
    InstallerViewModel::ObserverId subscription_;
    bool pending_ = false;
};

}  // namespace pellix
