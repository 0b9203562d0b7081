#include "StatusGlyph.h"

#include "Accessibility.h"

#include <QPainter>
#include <QPainterPathStroker>
#include <cmath>
#include <numbers>

namespace pellix {

namespace {

// Proportions follow the symbols' regular weight: a 14-pixel circle has a stroke of about 1.3.
constexpr qreal kOutlineWidth = 0.095;
constexpr qreal kMarkWidth = 0.16;

QPainterPath disc(qreal radius, QPointF centre = {}) {
    QPainterPath path;
    path.addEllipse(centre, radius, radius);
    return path;
}

QPainterPath strokeOf(const QPainterPath& line, qreal width) {
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    return stroker.createStroke(line).simplified();
}

QPainterPath polyline(std::initializer_list<QPointF> points) {
    QPainterPath path;
    bool first = true;
    for (const QPointF& point : points) {
        if (first)
            path.moveTo(point);
        else
            path.lineTo(point);
        first = false;
    }
    return path;
}

QPainterPath ring(qreal r, qreal side) {
    const qreal width = kOutlineWidth * side;
    return disc(r).subtracted(disc(r - width));
}

QPainterPath dottedRing(qreal r, qreal side) {
    constexpr int kDots = 12;
    const qreal dot = 0.065 * side;
    QPainterPath path;
    for (int i = 0; i < kDots; ++i) {
        const qreal angle = 2 * std::numbers::pi * i / kDots;
        path.addEllipse(QPointF(std::cos(angle), std::sin(angle)) * (r - dot), dot, dot);
    }
    return path;
}

QPainterPath checkCircle(qreal r, qreal side) {
    const QPainterPath check =
        polyline({{-0.42 * r, 0.02 * r}, {-0.12 * r, 0.34 * r}, {0.44 * r, -0.36 * r}});
    return disc(r).subtracted(strokeOf(check, kMarkWidth * side));
}

QPainterPath crossCircle(qreal r, qreal side) {
    const qreal a = 0.34 * r;
    QPainterPath cross = polyline({{-a, -a}, {a, a}});
    cross.addPath(polyline({{a, -a}, {-a, a}}));
    return disc(r).subtracted(strokeOf(cross, kMarkWidth * side));
}

QPainterPath warningTriangle(qreal r, qreal side) {
    // Corners inset by half the rounding stroke so the rounded shape keeps the symbol's bounds.
    const qreal round = 0.18 * side;
    const qreal inset = round / 2;
    QPainterPath triangle =
        polyline({{0, -r + inset}, {r - inset, 0.86 * r - inset}, {-r + inset, 0.86 * r - inset}});
    triangle.closeSubpath();
    const QPainterPath body = triangle.united(strokeOf(triangle, round));
    QPainterPath mark = strokeOf(polyline({{0, -0.36 * r}, {0, 0.2 * r}}), kMarkWidth * side);
    mark.addPath(disc(0.1 * side, {0, 0.52 * r}));
    return body.subtracted(mark.simplified());
}

}  // namespace

QPainterPath statusGlyphPath(std::string_view symbol, qreal side) {
    const qreal r = side / 2;
    if (symbol == "circle.dotted") return dottedRing(r, side);
    if (symbol == "checkmark.circle.fill") return checkCircle(r, side);
    if (symbol == "xmark.circle.fill") return crossCircle(r, side);
    if (symbol == "exclamationmark.triangle.fill") return warningTriangle(r, side);
    return ring(r, side);
}

StatusGlyph::StatusGlyph(int pixelSize, QWidget* parent)
    : QWidget(parent), pixelSize_(pixelSize), symbol_(QStringLiteral("circle")) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    // Always beside a text that says the same: the status line's, or a checklist row's name.
    hideFromAssistiveTechnology(this);
}

void StatusGlyph::setSymbol(std::string_view symbol, const QColor& color) {
    const QString name = QString::fromUtf8(symbol.data(), static_cast<qsizetype>(symbol.size()));
    if (name == symbol_ && color == color_) return;
    symbol_ = name;
    color_ = color;
    update();
}

QSize StatusGlyph::sizeHint() const {
    // SF Symbols sit a little larger than the font's cap height; one pixel of air each side.
    const int side = static_cast<int>(std::ceil(pixelSize_ * 1.0)) + 2;
    return {side, side};
}

void StatusGlyph::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = std::min(width(), height()) - 2;
    painter.translate(QRectF(rect()).center());
    painter.fillPath(statusGlyphPath(symbol_.toStdString(), side), color_);
}

}  // namespace pellix
