#include "WrappingLabel.h"

#include <QPainter>
#include <QTextLayout>
#include <cmath>

namespace pellix {

namespace {

// Forced line breaks become the separator QTextLayout breaks lines at.
QString layoutText(const QString& text) {
    QString copy = text;
    copy.replace(QLatin1Char('\n'), QChar::LineSeparator);
    return copy;
}

}  // namespace

WrappingLabel::WrappingLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setWordWrap(true);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

qreal WrappingLabel::layOut(QTextLayout& layout, qreal width) const {
    QTextOption option(alignment());
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.setFont(font());
    layout.beginLayout();
    qreal height = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        line.setPosition(QPointF(0, height));
        height += line.height();
    }
    layout.endLayout();
    return height;
}

int WrappingLabel::heightForWidth(int width) const {
    if (text().isEmpty()) return 0;
    QTextLayout layout(layoutText(text()));
    const QMargins margins = contentsMargins();
    return int(std::ceil(layOut(layout, width - margins.left() - margins.right()))) +
           margins.top() + margins.bottom();
}

QSize WrappingLabel::sizeHint() const {
    // As wide as the text on one line would be; the layout narrows it and asks for the height.
    const QMargins margins = contentsMargins();
    const QSize natural = fontMetrics().size(0, layoutText(text()));
    const int width = natural.width() + margins.left() + margins.right();
    return {width, heightForWidth(width)};
}

QSize WrappingLabel::minimumSizeHint() const {
    return {0, text().isEmpty() ? 0 : fontMetrics().height()};
}

void WrappingLabel::paintEvent(QPaintEvent*) {
    if (text().isEmpty()) return;
    QPainter painter(this);
    const QRect area = contentsRect();
    QTextLayout layout(layoutText(text()));
    const qreal height = layOut(layout, area.width());
    qreal top = area.top();
    if (alignment() & Qt::AlignVCenter)
        top += (area.height() - height) / 2;
    else if (alignment() & Qt::AlignBottom)
        top += area.height() - height;
    painter.setPen(palette().color(foregroundRole()));
    QList<QTextLayout::FormatRange> selection;
    if (hasSelectedText()) {
        QTextLayout::FormatRange range;
        range.start = selectionStart();
        range.length = int(selectedText().size());
        range.format.setBackground(palette().color(QPalette::Highlight));
        range.format.setForeground(palette().color(QPalette::HighlightedText));
        selection.append(range);
    }
    layout.draw(&painter, QPointF(area.left(), top), selection);
}

}  // namespace pellix
