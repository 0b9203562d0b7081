#pragma once
// A label showing one emoji in the colour emoji font, or where that font is not installed, from the
// emoji images shipped with the application. The emoji is drawn once per emoji, size and pixel
// ratio, on a worker thread as soon as it is set, into a picture that every label showing it
// paints. UI thread only.

#include <QLabel>

namespace pellix {

// Its line is as tall as the font's, whichever font the emoji falls back to, and may give up its
// leading (down to the em square) when space is short. The emoji is centred in the label.
class EmojiLabel : public QLabel {
    Q_OBJECT

public:
    EmojiLabel(const QString& objectName, int pixelSize, QWidget* parent = nullptr);

    // Shows `emoji`, named by it for assistive technology, and starts drawing its picture so that
    // it is ready by the time the screen is laid out.
    void setEmoji(const QString& emoji);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int pixelSize_;
};

}  // namespace pellix
