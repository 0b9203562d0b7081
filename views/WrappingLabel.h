#pragma once
// A plain-text label that wraps like the platform's text views: at word boundaries where it can,
// inside a word (a long path, say) where it must, so no text is ever clipped at the side.
// UI thread only.

#include <QLabel>

class QTextLayout;

namespace pellix {

class WrappingLabel : public QLabel {
    Q_OBJECT

public:
    explicit WrappingLabel(QWidget* parent = nullptr);

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    // Lays the text out in lines no wider than `width`; returns the height used.
    qreal layOut(QTextLayout& layout, qreal width) const;
};

}  // namespace pellix
