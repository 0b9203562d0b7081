#include "Controls.h"

#include <QBoxLayout>

#include "Accessibility.h"
#include "Theme.h"
#include "WrappingLabel.h"

namespace pellix {

void styleButton(PushButton* button, ButtonLook look, const QColor& tint) {
    const bool prominent = look == ButtonLook::borderedProminent;
    ButtonFace face;
    face.fill = prominent ? tint : theme::withOpacity(QColor(Qt::white), 0.2);
    face.checkedFill = face.fill;
    face.pressedFill = prominent ? tint.darker(125) : theme::withOpacity(QColor(Qt::white), 0.3);
    face.cornerRadius = 7;
    face.horizontalPadding = 12;
    face.verticalPadding = 1;
    face.minimumText = QSize(44, 18);
    button->setFace(face);
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

void setDisplayText(QLabel* label, const QString& text) {
    if (label->text() != text) label->setText(text);
    setAccessibleNameOnce(label, text);
}

void setDisplayText(QAbstractButton* button, const QString& text) {
    if (button->text() != text) button->setText(text);
    setAccessibleNameOnce(button, text);
}

void addFlexibleSpace(QBoxLayout* layout) {
    layout->addStretch(1);
}

}  // namespace pellix
