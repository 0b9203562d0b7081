#include "InstallingView.h"

#include <QAccessible>
#include <QLabel>
#include <QProgressBar>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "Accessibility.h"
#include "Controls.h"
#include "EmojiLabel.h"
#include "StepRow.h"
#include "Theme.h"

namespace pellix {

namespace {

constexpr int kListMaxHeight = 300;

QString barStyle() {
    return QStringLiteral(
               "QProgressBar { background-color: %1; border: none; border-radius: 3px; }"
               "QProgressBar::chunk { background-color: %2; border-radius: 3px; }")
        .arg(theme::css(theme::withOpacity(QColor(Qt::white), 0.15)),
             theme::css(theme::color(NamedColor::purple)));
}

QString scrollStyle() {
    // Thin overlay-like scroll bar, as the platform draws in a dark window.
    return QStringLiteral(
               "QScrollArea, QScrollArea > QWidget > QWidget { background: transparent; }"
               "QScrollBar:vertical { background: transparent; width: 8px; margin: 0; }"
               "QScrollBar::handle:vertical { background: %1; border-radius: 3px; min-height: "
               "24px; margin: 0 1px; }"
               "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }"
               "QScrollBar::add-page, QScrollBar::sub-page { background: none; }")
        .arg(theme::css(theme::withOpacity(QColor(Qt::white), 0.35)));
}

}  // namespace

InstallingView::InstallingView(InstallerViewModel& installer, QWidget* parent)
    : Screen(parent), installer_(installer) {
    setObjectName(QStringLiteral("installingView"));
    setAccessibleRole(this, QAccessible::Pane);
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->setSpacing(20);
    emblem_ = new EmojiLabel(QStringLiteral("emblem"), 48, this);
    heading_ =
        makeLabel(QStringLiteral("heading"), theme::systemFont(22, QFont::Bold), Qt::white, this);
    progressBar_ = new QProgressBar(this);
    progressBar_->setObjectName(QStringLiteral("progressBar"));
    progressBar_->setRange(0, kProgressRange);
    progressBar_->setTextVisible(false);
    progressBar_->setFixedHeight(6);
    progressBar_->setStyleSheet(barStyle());
    progressBar_->setAccessibleName(tr("Progress"));
    auto* barBox = new QWidget(this);
    auto* barLayout = new QVBoxLayout(barBox);
    barLayout->setContentsMargins(40, 0, 40, 0);
    barLayout->addWidget(progressBar_);

    // The stack is centred in its area: free height goes equally above and below it.
    stack->addStretch(1);
    stack->addWidget(emblem_);
    stack->addWidget(heading_);
    stack->addWidget(barBox);
    stack->addWidget(buildStepList(), 1000);
    stoppingNotice_ = makeLabel(QStringLiteral("stoppingNotice"), theme::systemFont(12),
                                theme::color(NamedColor::gray), this);
    stoppingNotice_->hide();
    stack->addWidget(stoppingNotice_);
    stack->addStretch(1);
    refresh();
}

QWidget* InstallingView::firstFocus() const {
    return stepList_;
}

void InstallingView::showStopping() {
    setDisplayText(stoppingNotice_,
                   tr("Quitting: the installer stops once the current step has finished."));
    stoppingNotice_->show();
    // The notice takes height from the list; the running row stays in sight all the same.
    QMetaObject::invokeMethod(this, &InstallingView::followRunningRow, Qt::QueuedConnection);
    QAccessibleEvent shown(stoppingNotice_, QAccessible::Alert);
    QAccessible::updateAccessibility(&shown);
}

QWidget* InstallingView::buildStepList() {
    stepList_ = new QScrollArea(this);
    stepList_->setObjectName(QStringLiteral("stepList"));
    stepList_->setFrameShape(QFrame::NoFrame);
    stepList_->setWidgetResizable(true);
    stepList_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    stepList_->setMaximumHeight(kListMaxHeight);
    stepList_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    stepList_->setStyleSheet(scrollStyle());
    stepList_->viewport()->setAutoFillBackground(false);

    auto* content = new QWidget;
    content->setObjectName(QStringLiteral("stepColumn"));
    setAccessibleRole(content, QAccessible::List);
    column_ = new QVBoxLayout(content);
    column_->setContentsMargins(20, 0, 20, 0);
    column_->setSpacing(8);
    column_->addStretch(1);
    stepList_->setWidget(content);
    // Fixed names, set once: the scroll area is where focus lands, the column is the list itself.
    stepList_->setAccessibleName(tr("Installation steps"));
    content->setAccessibleName(tr("Installation steps"));
    // Scrolling by hand pauses the following until the running row is back in sight, so the list
    // never jumps away from what the user is reading.
    connect(stepList_->verticalScrollBar(), &QScrollBar::valueChanged, this, [this] {
        if (!scrollingToRow_) followPaused_ = true;
    });
    return stepList_;
}

void InstallingView::refresh() {
    emblem_->setEmoji(tr("\U0001F9E0"));  // brain
    setDisplayText(heading_, tr("Installing Pellix..."));
    const int value = int(std::lround(installer_.progress() * kProgressRange));
    progressBar_->setValue(std::clamp(value, 0, kProgressRange));
    setAccessibleNameOnce(this, heading_->text());
    refreshRows();
}

void InstallingView::refreshRows() {
    const std::vector<InstallStep>& steps = installer_.steps();
    std::map<std::string, StepRow*> kept;
    std::vector<StepRow*> ordered;
    ordered.reserve(steps.size());
    for (const InstallStep& step : steps) {
        auto found = rowsById_.find(step.id);
        StepRow* row =
            found != rowsById_.end() ? found->second : new StepRow(column_->parentWidget());
        if (found != rowsById_.end()) rowsById_.erase(found);
        row->display(step);
        kept.emplace(step.id, row);
        ordered.push_back(row);
    }
    const bool reordered = ordered != rows_;
    for (auto& [id, row] : rowsById_) delete row;
    if (reordered) {
        // Re-adding in order is cheap for eleven rows; the trailing stretch keeps them at the top.
        for (StepRow* row : ordered) column_->removeWidget(row);
        for (std::size_t i = 0; i < ordered.size(); ++i) {
            column_->insertWidget(int(i), ordered[i]);
            ordered[i]->setObjectName(QStringLiteral("stepRow-%1").arg(i));
        }
    }
    rows_ = std::move(ordered);
    rowsById_ = std::move(kept);
    // Queued behind the layout requests the new texts posted, so the rows have their new heights.
    QMetaObject::invokeMethod(this, &InstallingView::followRunningRow, Qt::QueuedConnection);
}

StepRow* InstallingView::runningRow() const {
    const std::vector<InstallStep>& steps = installer_.steps();
    for (std::size_t i = 0; i < steps.size() && i < rows_.size(); ++i) {
        if (steps[i].status == StepStatus::running) return rows_[i];
    }
    return nullptr;
}

bool InstallingView::inView(const QWidget* row) const {
    const QRect shown(QPoint(0, 0), stepList_->viewport()->size());
    const QRect place(row->mapTo(stepList_->viewport(), QPoint(0, 0)), row->size());
    return shown.contains(place);
}

void InstallingView::followRunningRow() {
    StepRow* row = runningRow();
    if (row == nullptr) return;
    if (followPaused_ && inView(row)) followPaused_ = false;
    if (followPaused_) return;
    scrollingToRow_ = true;
    // The row spacing as margin: the nearest edge shows the gap, and the list moves no further.
    stepList_->ensureWidgetVisible(row, 0, 8);
    scrollingToRow_ = false;
}

}  // namespace pellix
