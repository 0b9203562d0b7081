#include "Controls.h"

#include <QBoxLayout>
#include <QKeyEvent>
#include <QStyle>
#include <algorithm>

#include "Theme.h"
#include "WrappingLabel.h"

namespace pellix {

PushButton::PushButton(const QString& objectName, QWidget* parent) : QPushButton(parent) {
    setObjectName(objectName);
    setFocusPolicy(Qt::StrongFocus);
}

void PushButton::keyPressEvent(QKeyEvent* event) {
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && event->modifiers() == Qt::NoModifier) {
        if (isEnabled()) click();
        event->accept();
        return;
    }
    QPushButton::keyPressEvent(event);
}

void PushButton::focusInEvent(QFocusEvent* event) {
    const Qt::FocusReason reason = event->reason();
    showFocusRing(reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason ||
                  reason == Qt::ShortcutFocusReason);
    QPushButton::focusInEvent(event);
}

void PushButton::focusOutEvent(QFocusEvent* event) {
    showFocusRing(false);
    QPushButton::focusOutEvent(event);
}

void PushButton::showFocusRing(bool shown) {
    if (property("focusRing").toBool() == shown) return;
    setProperty("focusRing", shown);
    // Property selectors are matched when the style sheet is applied, so apply it again.
    style()->unpolish(this);
    style()->polish(this);
    update();
}

EmojiLabel::EmojiLabel(const QString& objectName, int pixelSize, QWidget* parent)
    : QLabel(parent), pixelSize_(pixelSize) {
    setObjectName(objectName);
    setTextFormat(Qt::PlainText);
    setAlignment(Qt::AlignCenter);
    setFont(theme::emojiFont(pixelSize));
}

QSize EmojiLabel::sizeHint() const {
    return {QLabel::sizeHint().width(), std::max(fontMetrics().height(), pixelSize_)};
}

QSize EmojiLabel::minimumSizeHint() const {
    return {QLabel::sizeHint().width(), pixelSize_};
}

void styleButton(QPushButton* button, ButtonLook look, const QColor& tint) {
    const bool prominent = look == ButtonLook::borderedProminent;
    const QColor fill = prominent ? tint : theme::withOpacity(QColor(Qt::white), 0.2);
    const QColor pressed =
        prominent ? tint.darker(125) : theme::withOpacity(QColor(Qt::white), 0.3);
    // The border doubles as the focus ring so the button keeps its size when it takes focus.
    button->setStyleSheet(QStringLiteral("QPushButton { background-color: %1; color: white;"
                                         " border: 2px solid transparent; border-radius: 7px;"
                                         " padding: 1px 12px; min-width: 44px; min-height: 18px; }"
                                         "QPushButton:pressed { background-color: %2; }")
                              .arg(theme::css(fill), theme::css(pressed)) +
                          focusRingStyle());
    button->setFont(theme::systemFont(13));
}

namespace {

template <typename Label>
Label* setUpLabel(Label* label, const QString& objectName, const QFont& font, const QColor& color) {
    label->setObjectName(objectName);
    label->setTextFormat(Qt::PlainText);
    label->setAlignment(Qt::AlignCenter);
    label->setFont(font);
    theme::setTextColor(label, color);
    return label;
}

}  // namespace

QLabel* makeLabel(const QString& objectName, const QFont& font, const QColor& color,
                  QWidget* parent) {
    return setUpLabel(new QLabel(parent), objectName, font, color);
}

WrappingLabel* makeWrappingLabel(const QString& objectName, const QFont& font, const QColor& color,
                                 QWidget* parent) {
    return setUpLabel(new WrappingLabel(parent), objectName, font, color);
}

QString focusRingStyle() {
    return QString::fromLatin1(kFocusRingSelector) +
           QStringLiteral(" { border-color: %1; }")
               .arg(theme::css(theme::withOpacity(theme::color(NamedColor::blue), 0.85)));
}

void setDisplayText(QLabel* label, const QString& text) {
    if (label->text() != text) label->setText(text);
    label->setAccessibleName(text);
}

void setDisplayText(QAbstractButton* button, const QString& text) {
    if (button->text() != text) button->setText(text);
    button->setAccessibleName(text);
}

void addFlexibleSpace(QBoxLayout* layout) {
    layout->addStretch(1);
}

}  // namespace pellix
