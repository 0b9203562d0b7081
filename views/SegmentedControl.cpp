#include "SegmentedControl.h"

#include <QButtonGroup>
#include <QFocusEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>

#include "Accessibility.h"
#include "Controls.h"
#include "Theme.h"

namespace pellix {

namespace {

ButtonFace segmentFace() {
    const QColor white(Qt::white);
    ButtonFace face;
    face.fill = Qt::transparent;
    face.checkedFill = theme::withOpacity(white, 0.28);
    face.pressedFill = theme::withOpacity(white, 0.2);
    face.cornerRadius = 6;
    face.horizontalPadding = 6;
    face.minimumText = QSize(0, 16);
    return face;
}

}  // namespace

SegmentedControl::SegmentedControl(const QString& objectName, QWidget* parent)
    : QWidget(parent), group_(new QButtonGroup(this)) {
    setObjectName(objectName);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(1, 1, 1, 1);
    row->setSpacing(1);
    group_->setExclusive(true);
    setAccessibleRole(this, QAccessible::Grouping);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void SegmentedControl::addSegment(const QString& tag) {
    auto* button = new PushButton(objectName() + QLatin1Char('-') + tag, this);
    button->setCheckable(true);
    setAccessibleRole(button, QAccessible::RadioButton);
    button->setFace(segmentFace());
    button->setFont(theme::systemFont(13));
    button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    group_->addButton(button);
    button->installEventFilter(this);
    // Every segment gets the same share of the width, as the platform's control lays them out.
    static_cast<QHBoxLayout*>(layout())->addWidget(button, 1);
    connect(button, &QPushButton::clicked, this, [this, tag] {
        if (onSelected) onSelected(tag);
    });
}

void SegmentedControl::setSegmentText(const QString& tag, const QString& text) {
    if (QPushButton* button = segment(tag)) setDisplayText(button, text);
}

void SegmentedControl::setSelectedTag(const QString& tag) {
    QPushButton* chosen = segment(tag);
    if (chosen != nullptr) {
        chosen->setChecked(true);
        return;
    }
    // An exclusive group always keeps one button checked; a tag outside the list checks none.
    group_->setExclusive(false);
    for (QAbstractButton* button : group_->buttons()) button->setChecked(false);
    group_->setExclusive(true);
}

void SegmentedControl::paintEvent(QPaintEvent*) {
    // The track; the segments only draw the selected pill on top of it.
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(roundedOutline(rect(), 0, 7), theme::withOpacity(QColor(Qt::white), 0.1));
}

bool SegmentedControl::eventFilter(QObject* watched, QEvent* event) {
    auto* button = static_cast<QPushButton*>(watched);
    if (event->type() == QEvent::FocusIn) {
        // Entering the control lands on the chosen segment, wherever focus last left it.
        const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
        QPushButton* chosen = checkedSegment();
        const bool entering = reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason ||
                              reason == Qt::ActiveWindowFocusReason;
        if (entering && !movingFocus_ && chosen != nullptr && chosen != button) {
            chosen->setFocus(reason);
            return true;
        }
    } else if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        const bool back = key == Qt::Key_Left || key == Qt::Key_Up;
        const bool forward = key == Qt::Key_Right || key == Qt::Key_Down;
        if (back || forward) {
            moveFocus(button, back ? -1 : +1);
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void SegmentedControl::moveFocus(QPushButton* from, int step) {
    const QList<QAbstractButton*> buttons = group_->buttons();
    const qsizetype next = buttons.indexOf(from) + step;
    // Focus stops at the ends, as the platform's control does; it never wraps around.
    if (next < 0 || next >= buttons.size()) return;
    // A keyboard move, so the ring shows; but not an entry, so no return to the chosen segment.
    movingFocus_ = true;
    buttons[next]->setFocus(Qt::TabFocusReason);
    movingFocus_ = false;
}

QPushButton* SegmentedControl::checkedSegment() const {
    return static_cast<QPushButton*>(group_->checkedButton());
}

QPushButton* SegmentedControl::segment(const QString& tag) const {
    return findChild<QPushButton*>(objectName() + QLatin1Char('-') + tag,
                                   Qt::FindDirectChildrenOnly);
}

QWidget* SegmentedControl::focusTarget() const {
    if (QPushButton* chosen = checkedSegment()) return chosen;
    const QList<QAbstractButton*> buttons = group_->buttons();
    return buttons.isEmpty() ? nullptr : buttons.front();
}

}  // namespace pellix
