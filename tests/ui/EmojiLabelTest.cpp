// The emoji label: drawn from its cached picture exactly where and as a QLabel in the same font
// draws the emoji, sized by the emoji font, and named by its emoji for assistive technology.

#include "EmojiLabel.h"
#include "UiTestSupport.h"

namespace pellix {

namespace {

const QString kBrain = QStringLiteral("\U0001F9E0");

// Both labels are painted on the window's dark background, as the screens paint them.
QImage shot(QLabel& label) {
    QWidget window;
    window.setFixedSize(200, 100);
    QPalette palette = window.palette();
    palette.setColor(QPalette::Window, theme::gradientTop());
    window.setPalette(palette);
    window.setAutoFillBackground(true);
    label.setParent(&window);
    label.setGeometry(0, 0, 200, 100);
    const QImage image = window.grab().toImage();
    label.setParent(nullptr);
    return image;
}

// The brain is pink: a glyph drawn in the colour font, not a monochrome fallback or nothing.
bool showsColour(const QImage& image) {
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (pixel.red() - pixel.blue() > 60) return true;
        }
    }
    return false;
}

}  // namespace

class EmojiLabelTest : public QObject {
    Q_OBJECT

private slots:
    void drawsTheEmojiAsAQLabelInTheEmojiFontWould() {
        for (int pixelSize : {72, 48, 28}) {
            QLabel plain(kBrain);
            plain.setFont(theme::emojiFont(pixelSize));
            plain.setAlignment(Qt::AlignCenter);
            EmojiLabel emoji(QStringLiteral("emoji"), pixelSize);
            emoji.setEmoji(kBrain);
            const QImage drawn = shot(emoji);
            QVERIFY(showsColour(drawn));
            QCOMPARE(drawn, shot(plain));
        }
    }

    void isAsTallAsItsFontAndAsWideAsTheEmoji() {
        EmojiLabel emoji(QStringLiteral("emoji"), 72);
        emoji.setEmoji(kBrain);
        QLabel plain(kBrain);
        plain.setFont(theme::emojiFont(72));
        QCOMPARE(emoji.sizeHint().height(), std::max(plain.fontMetrics().height(), 72));
        const int advance = int(std::ceil(plain.fontMetrics().horizontalAdvance(kBrain)));
        QCOMPARE(emoji.sizeHint().width(), advance);
        QCOMPARE(emoji.minimumSizeHint(), QSize(advance, 72));
    }

    void isNamedByItsEmoji() {
        EmojiLabel emoji(QStringLiteral("emoji"), 28);
        emoji.setEmoji(kBrain);
        QCOMPARE(emoji.text(), kBrain);
        QCOMPARE(emoji.accessibleName(), kBrain);
        QCOMPARE(emoji.font().pixelSize(), 28);
    }
};

}  // namespace pellix

PELLIX_UI_TEST(pellix::EmojiLabelTest);
#include "EmojiLabelTest.moc"
