#pragma once
// Small building blocks the screens share: labels set in a given font and colour, buttons in the
// platform's plain, bordered and bordered-prominent looks, and the flexible space of a stack.
// UI thread only.

#include <QColor>
#include <QFont>
#include <QLabel>
#include <QPushButton>

class QBoxLayout;

namespace pellix {

class WrappingLabel;

// A push button that Return and Enter press as well as Space, as keyboard users expect of every
// button on a screen without a default button. Its focus ring shows only when the keyboard moved
// focus to it, as on macOS, where a click never leaves a ring behind.
class PushButton : public QPushButton {
    Q_OBJECT

public:
    explicit PushButton(const QString& objectName, QWidget* parent = nullptr);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void showFocusRing(bool shown);
};

// Style-sheet selector for a button whose focus ring is showing.
inline constexpr const char* kFocusRingSelector = "QPushButton[focusRing=\"true\"]";

// An emoji set in the colour emoji font. Its line is as tall as the font's, whichever font the
// emoji falls back to, and may give up its leading (down to the em square) when space is short.
class EmojiLabel : public QLabel {
    Q_OBJECT

public:
    EmojiLabel(const QString& objectName, int pixelSize, QWidget* parent = nullptr);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

private:
    int pixelSize_;
};

enum class ButtonLook { bordered, borderedProminent };

// A bordered button with the platform's regular metrics; a prominent one is filled with `tint`.
void styleButton(QPushButton* button, ButtonLook look, const QColor& tint = {});

// Plain-text labels, centred unless realigned. The wrapping kind breaks long words too.
QLabel* makeLabel(const QString& objectName, const QFont& font, const QColor& color,
                  QWidget* parent);
WrappingLabel* makeWrappingLabel(const QString& objectName, const QFont& font, const QColor& color,
                                 QWidget* parent);

// The style-sheet rule that draws a showing focus ring as the button's border.
QString focusRingStyle();

// Sets a label's or button's text and the accessible name that screen readers announce for it.
void setDisplayText(QLabel* label, const QString& text);
void setDisplayText(QAbstractButton* button, const QString& text);

// A stack's flexible space: it takes an equal share of the free height and collapses to nothing,
// spacing included, when there is none. The platform's stacks would also put the stack's spacing
// on both sides of it; keeping the spacing between content only is what lets the welcome and
// complete screens fit their 456-pixel area without squeezing a control.
void addFlexibleSpace(QBoxLayout* layout);

}  // namespace pellix
