#pragma once
// Small building blocks the screens share: labels set in a given font and colour, buttons in the
// platform's plain, bordered and bordered-prominent looks, and the flexible space of a stack.
// UI thread only.

#include <QColor>
#include <QFont>
#include <QLabel>

#include "PushButton.h"

class QBoxLayout;

namespace pellix {

class WrappingLabel;

enum class ButtonLook { bordered, borderedProminent };

// A bordered button with the platform's regular metrics; a prominent one is filled with `tint`.
void styleButton(PushButton* button, ButtonLook look, const QColor& tint = {});

// Plain-text labels, centred unless realigned. The wrapping kind breaks long words too.
QLabel* makeLabel(const QString& objectName, const QFont& font, const QColor& color,
                  QWidget* parent);
WrappingLabel* makeWrappingLabel(const QString& objectName, const QFont& font, const QColor& color,
                                 QWidget* parent);

// Sets a label's or button's text and the accessible name that screen readers announce for it.
void setDisplayText(QLabel* label, const QString& text);
void setDisplayText(QAbstractButton* button, const QString& text);

// A stack's flexible space: it takes an equal share of the free height and collapses to nothing,
// spacing included, when there is none. The platform's stacks would also put the stack's spacing
// on both sides of it; keeping the spacing between content only is what lets the welcome and
// complete screens fit their 456-pixel area without squeezing a control.
void addFlexibleSpace(QBoxLayout* layout);

}  // namespace pellix
