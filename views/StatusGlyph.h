#pragma once
// Vector stand-ins for the five SF Symbols the installer names (outlined circle, dotted circle,
// check, warning triangle, cross), drawn with QPainter paths so they stay crisp at any scale.
// UI thread only.

#include <QColor>
#include <QPainterPath>
#include <QString>
#include <QWidget>
#include <string_view>

namespace pellix {

// The filled outline of `symbol` in a square of side `side` centred on the origin. Marks inside
// the filled symbols are cut out, as the symbols' monochrome rendering shows them. An unknown
// name draws the outlined circle.
QPainterPath statusGlyphPath(std::string_view symbol, qreal side);

class StatusGlyph : public QWidget {
    Q_OBJECT

public:
    // `pixelSize` is the font size the symbol would be set in; the glyph is about that tall.
    explicit StatusGlyph(int pixelSize, QWidget* parent = nullptr);

    void setSymbol(std::string_view symbol, const QColor& color);
    const QString& symbol() const { return symbol_; }
    const QColor& color() const { return color_; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int pixelSize_;
    QString symbol_;
    QColor color_;
};

}  // namespace pellix
