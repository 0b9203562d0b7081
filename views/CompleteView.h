#pragma once
// The success screen: what is now watching, what to do next, and "Done", which ends the
// application. Every text is fixed; it reads nothing from the view model. UI thread only.

#include <functional>

#include "Screen.h"

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace pellix {

class CompleteView : public Screen {
    Q_OBJECT

public:
    explicit CompleteView(QWidget* parent = nullptr);
    void refresh() override;

private:
    QWidget* buildLayers();
    QWidget* buildLayerColumn(const QString& name, QLabel*& icon, QLabel*& title, QLabel*& detail);
    QWidget* buildNextStep();

    QLabel* emblem_;
    QLabel* title_;
    QLabel* layersIntro_;
    QLabel* guardIcon_;
    QLabel* guardName_;
    QLabel* guardDetail_;
    QLabel* scannerIcon_;
    QLabel* scannerName_;
    QLabel* scannerDetail_;
    QLabel* nextStep_;
    QLabel* watchListPath_;
    QLabel* firstScan_;
    QPushButton* doneButton_;
};

}  // namespace pellix
