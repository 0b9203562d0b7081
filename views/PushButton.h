#pragma once
// The push button every screen uses: a rounded fill behind its text, drawn by the button itself
// rather than by a style sheet, so that showing a screen does not parse style sheets and match
// their rules for every control. UI thread only.

#include <QColor>
#include <QKeyEvent>
#include <QPainterPath>
#include <QPushButton>
#include <QSize>

namespace pellix {

// How a PushButton draws itself. A 2-pixel border runs round the text area and its padding; it is
// transparent until the keyboard focus ring shows in it, so the button keeps its size when it
// takes focus.
struct ButtonFace {
    QColor fill;         // at rest
    QColor checkedFill;  // while checked
    QColor pressedFill;  // while held down, checked or not
    int cornerRadius = 0;
    int horizontalPadding = 0;
    int verticalPadding = 0;
    // The smallest text area; 0 leaves that side free.
    QSize minimumText;

    static constexpr int kBorder = 2;
};

// The outline a rounded box of `cornerRadius` is filled within and a border of width `border` is
// stroked along: the middle of the border.
QPainterPath roundedOutline(const QRectF& box, qreal border, qreal cornerRadius);

// Return, or the keypad's Enter (which arrives with the keypad modifier: the same key to the
// user), with no other modifier held.
bool isReturnKey(const QKeyEvent* event);

// Also presses on Return and Enter as well as Space, as keyboard users expect of every button on a
// screen without a default button. Its focus ring shows unless a click gave it focus, as on
// macOS, where a click never leaves a ring behind; the property "focusRing" tells whether it
// shows.
class PushButton : public QPushButton {
    Q_OBJECT

public:
    explicit PushButton(const QString& objectName, QWidget* parent = nullptr);

    void setFace(const ButtonFace& face);

    // The text's size plus padding and border, and no smaller than the face's minimum.
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void showFocusRing(bool shown);
    QMargins textMargins() const;

    ButtonFace face_;
    mutable QString hintText_;
    mutable QFont hintFont_;
    mutable QSize hint_;
};

}  // namespace pellix
