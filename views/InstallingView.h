#pragma once
// The progress screen: a purple bar for the install's progress and the live checklist, one row
// per step, keyed by the step's id so a row keeps its widget while its status changes. It has no
// controls. UI thread only.

#include <QString>
#include <map>
#include <string>
#include <vector>

#include "InstallerViewModel.h"
#include "Screen.h"

class QLabel;
class QProgressBar;
class QScrollArea;
class QVBoxLayout;

namespace pellix {

class EmojiLabel;
class StepRow;

class InstallingView : public Screen {
    Q_OBJECT

public:
    explicit InstallingView(InstallerViewModel& installer, QWidget* parent = nullptr);
    void refresh() override;
    // No controls: focus rests on the list, where the arrow keys scroll it.
    QWidget* firstFocus() const override;

    // Says, under the list, that the install stops once the row under way has finished.
    void showStopping();

    // The rows in the order shown; row i is also named "stepRow-i".
    const std::vector<StepRow*>& rows() const { return rows_; }

    // Steps of the bar: fine enough that one of eleven rows moves it visibly.
    static constexpr int kProgressRange = 1000;

private:
    QWidget* buildStepList();
    void refreshRows();
    void followRunningRow();
    StepRow* runningRow() const;
    bool inView(const QWidget* row) const;

    InstallerViewModel& installer_;
    EmojiLabel* emblem_;
    QLabel* heading_;
    QProgressBar* progressBar_;
    QScrollArea* stepList_;
    QVBoxLayout* column_;
    std::vector<StepRow*> rows_;
    std::map<std::string, StepRow*> rowsById_;
    QLabel* stoppingNotice_;
    bool followPaused_ = false;
    bool scrollingToRow_ = false;
};

}  // namespace pellix
