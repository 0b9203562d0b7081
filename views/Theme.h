#pragma once
// The window's look in one place: the named colours as the macOS dark appearance draws them, the
// system, emoji and monospaced fonts at fixed pixel sizes, and the shared background gradient.
// UI thread only.

#include <QColor>
#include <QFont>
#include <QString>
#include <QStringList>

#include "InstallerTypes.h"

class QApplication;
class QWidget;

namespace pellix::theme {

// The background is always dark, so the dark-appearance values are the only ones used.
QColor color(NamedColor name);
QColor withOpacity(QColor color, double opacity);
// "rgba(r, g, b, a)" for style sheets.
QString css(const QColor& color);

// A macOS point is one logical pixel, so "system size N" is pixel size N.
QFont systemFont(int pixelSize, QFont::Weight weight = QFont::Normal);
// The families the monospaced font is chosen from, in order of preference: macOS's, then the
// common Linux ones.
QStringList monospacedFamilies();
QFont monospacedFont(int pixelSize);
QFont emojiFont(int pixelSize);

QColor gradientTop();
QColor gradientBottom();

// Every control is drawn in the window's own colours; a neutral style with a dark palette keeps
// the few parts a style still draws (focus, selection) consistent with them on every platform.
void applyApplicationAppearance(QApplication& app);

// Sets the colour a label or button draws its text in.
void setTextColor(QWidget* widget, const QColor& color);

}  // namespace pellix::theme
