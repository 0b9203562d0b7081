#include "Theme.h"

#include <QApplication>
#include <QFontDatabase>
#include <QPalette>
#include <QStyleFactory>
#include <QWidget>

namespace pellix::theme {

QColor color(NamedColor name) {
    switch (name) {
        case NamedColor::blue:
            return QColor(0x0A, 0x84, 0xFF);
        case NamedColor::green:
            return QColor(0x30, 0xD1, 0x58);
        case NamedColor::orange:
            return QColor(0xFF, 0x9F, 0x0A);
        case NamedColor::red:
            return QColor(0xFF, 0x45, 0x3A);
        case NamedColor::purple:
            return QColor(0xBF, 0x5A, 0xF2);
        case NamedColor::gray:
            return QColor(0x8E, 0x8E, 0x93);
        case NamedColor::white:
            return QColor(Qt::white);
        case NamedColor::secondary:
            return withOpacity(QColor(Qt::white), 0.55);
    }
    return QColor(Qt::white);
}

QColor withOpacity(QColor color, double opacity) {
    // Whole 8-bit steps, so a colour compares equal to the same colour written as RGBA.
    color.setAlpha(qRound(color.alpha() * opacity));
    return color;
}

QString css(const QColor& color) {
    return QStringLiteral("rgba(%1, %2, %3, %4)")
        .arg(color.red())
        .arg(color.green())
        .arg(color.blue())
        .arg(color.alpha());
}

QFont systemFont(int pixelSize, QFont::Weight weight) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPixelSize(pixelSize);
    font.setWeight(weight);
    return font;
}

QStringList monospacedFamilies() {
    return {QStringLiteral("SF Mono"),         QStringLiteral("Menlo"),
            QStringLiteral("Monaco"),          QStringLiteral("DejaVu Sans Mono"),
            QStringLiteral("Liberation Mono"), QStringLiteral("Noto Sans Mono"),
            QStringLiteral("Noto Mono"),       QStringLiteral("Ubuntu Mono"),
            QStringLiteral("Cascadia Mono"),   QStringLiteral("Courier New")};
}

QFont monospacedFont(int pixelSize) {
    // Named, not left to the platform's fixed font: on Linux that is fontconfig's "monospace",
    // which some desktops map to Noto Sans Mono, a font without the fixed-pitch flag that Qt
    // then matches past. Each family here is monospaced in fact; the style hint is the last
    // resort where none is installed.
    QFont font;
    font.setFamilies(monospacedFamilies());
    font.setStyleHint(QFont::Monospace);
    font.setFixedPitch(true);
    font.setPixelSize(pixelSize);
    return font;
}

QFont emojiFont(int pixelSize) {
#if defined(Q_OS_MACOS)
    QFont font(QStringLiteral("Apple Color Emoji"));
#else
    QFont font(QStringLiteral("Noto Color Emoji"));
#endif
    font.setPixelSize(pixelSize);
    return font;
}

QColor gradientTop() {
    return QColor::fromRgbF(0.08f, 0.08f, 0.12f);
}
QColor gradientBottom() {
    return QColor::fromRgbF(0.12f, 0.10f, 0.18f);
}

void applyApplicationAppearance(QApplication& app) {
    app.setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QPalette palette;
    palette.setColor(QPalette::Window, gradientTop());
    palette.setColor(QPalette::WindowText, Qt::white);
    palette.setColor(QPalette::Base, gradientTop());
    palette.setColor(QPalette::Text, Qt::white);
    palette.setColor(QPalette::Button, withOpacity(QColor(Qt::white), 0.18));
    palette.setColor(QPalette::ButtonText, Qt::white);
    palette.setColor(QPalette::Highlight, color(NamedColor::blue));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::ToolTipBase, gradientBottom());
    palette.setColor(QPalette::ToolTipText, Qt::white);
    app.setPalette(palette);
}

void setTextColor(QWidget* widget, const QColor& color) {
    QPalette palette = widget->palette();
    palette.setColor(QPalette::WindowText, color);
    palette.setColor(QPalette::ButtonText, color);
    palette.setColor(QPalette::Text, color);
    widget->setPalette(palette);
}

}  // namespace pellix::theme
