#include "PushButton.h"

#include <QKeyEvent>
#include <QPainter>
#include <QStyle>
#include <algorithm>

#include "Theme.h"

namespace pellix {

QPainterPath roundedOutline(const QRectF& box, qreal border, qreal cornerRadius) {
    const qreal inset = border / 2;
    const qreal radius = std::max(0.0, cornerRadius - inset);
    QPainterPath path;
    path.addRoundedRect(box.adjusted(inset, inset, -inset, -inset), radius, radius);
    return path;
}

PushButton::PushButton(const QString& objectName, QWidget* parent) : QPushButton(parent) {
    setObjectName(objectName);
    setFocusPolicy(Qt::StrongFocus);
}

void PushButton::setFace(const ButtonFace& face) {
    const bool resized = face.cornerRadius != face_.cornerRadius ||
                         face.horizontalPadding != face_.horizontalPadding ||
                         face.verticalPadding != face_.verticalPadding ||
                         face.minimumText != face_.minimumText;
    face_ = face;
    if (resized) {
        const QMargins margins = textMargins();
        setMinimumSize(
            face.minimumText.width() > 0 ? face.minimumText.width() + margins.left() * 2 : 0,
            face.minimumText.height() > 0 ? face.minimumText.height() + margins.top() * 2 : 0);
        hint_ = QSize();
        updateGeometry();
    }
    update();
}

QMargins PushButton::textMargins() const {
    const int across = ButtonFace::kBorder + face_.horizontalPadding;
    const int down = ButtonFace::kBorder + face_.verticalPadding;
    return {across, down, across, down};
}

QSize PushButton::sizeHint() const {
    // Measuring shapes the text; the layout asks several times per pass.
    if (!hint_.isValid() || hintText_ != text() || hintFont_ != font()) {
        hintText_ = text();
        hintFont_ = font();
        // An empty button is as large as four letters, as QPushButton makes it.
        const QString measured = hintText_.isEmpty() ? QStringLiteral("XXXX") : hintText_;
        const QSize textSize = fontMetrics().size(Qt::TextShowMnemonic, measured);
        hint_ = textSize.grownBy(textMargins()).expandedTo(minimumSize());
    }
    return hint_;
}

void PushButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QColor fill =
        isDown() ? face_.pressedFill : (isChecked() ? face_.checkedFill : face_.fill);
    const bool ring = property("focusRing").toBool();
    if (fill.alpha() > 0 || ring) {
        const QPainterPath outline =
            roundedOutline(rect(), ButtonFace::kBorder, face_.cornerRadius);
        painter.setRenderHint(QPainter::Antialiasing);
        if (fill.alpha() > 0) painter.fillPath(outline, fill);
        if (ring) {
            const QColor ringColor = theme::withOpacity(theme::color(NamedColor::blue), 0.85);
            painter.strokePath(outline, QPen(ringColor, ButtonFace::kBorder));
            // Blue alone vanishes against a purple or red fill: a white line just inside the
            // ring keeps it visible on every fill, and the button keeps its size and colours.
            if (fill.alpha() == 255) {
                const QPainterPath inner =
                    roundedOutline(rect().adjusted(2, 2, -2, -2), 1, face_.cornerRadius - 2);
                painter.strokePath(inner, QPen(Qt::white, 1));
            }
        }
        painter.setRenderHint(QPainter::Antialiasing, false);
    }
    style()->drawItemText(&painter, rect().marginsRemoved(textMargins()),
                          Qt::AlignCenter | Qt::TextShowMnemonic, palette(), isEnabled(), text(),
                          QPalette::ButtonText);
}

bool isReturnKey(const QKeyEvent* event) {
    const bool returnKey = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    return returnKey && (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
}

void PushButton::keyPressEvent(QKeyEvent* event) {
    if (isReturnKey(event)) {
        if (isEnabled()) click();
        event->accept();
        return;
    }
    QPushButton::keyPressEvent(event);
}

void PushButton::focusInEvent(QFocusEvent* event) {
    // Every way of arriving but a click shows the ring: the keyboard, the window becoming active
    // (focus returns to the control that had it) and a new screen putting focus on its main
    // button, so a keyboard user always sees where Return and Space will act.
    const Qt::FocusReason reason = event->reason();
    showFocusRing(reason != Qt::MouseFocusReason && reason != Qt::PopupFocusReason);
    QPushButton::focusInEvent(event);
}

void PushButton::focusOutEvent(QFocusEvent* event) {
    showFocusRing(false);
    QPushButton::focusOutEvent(event);
}

void PushButton::showFocusRing(bool shown) {
    if (property("focusRing").toBool() == shown) return;
    setProperty("focusRing", shown);
    update();
}

}  // namespace pellix
