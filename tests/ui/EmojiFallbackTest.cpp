// The emblems on a machine without a colour emoji font: drawn from the images shipped with the
// application, in colour, where the font's glyph would stand and as large. The test hides the
// font from fontconfig before Qt starts, with a configuration that knows one plain font only.

#include <QFontDatabase>
#include <QTemporaryDir>
#include <cstdlib>

#include "CompleteView.h"
#include "EmojiLabel.h"
#include "UiTestSupport.h"

namespace pellix {

using uitest::AppUnderTest;
using uitest::must;
using uitest::Sandbox;

namespace {

const char* const kPlainFonts = "/usr/share/fonts/truetype/dejavu";

// Counts pixels of the colours each emblem is drawn in: pink (brain), green (check), red (cross).
int pixelsLike(const QImage& image, const QColor& wanted) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (uitest::near(image.pixelColor(x, y), wanted, 40)) ++count;
        }
    }
    return count;
}

}  // namespace

class EmojiFallbackTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        if (QFontDatabase::families().contains(QStringLiteral("Noto Color Emoji"))) {
            QSKIP("the colour emoji font is still visible; this test needs fontconfig to hide it");
        }
        if (QFontDatabase::families().isEmpty()) QSKIP("no plain font either (fonts-dejavu-core)");
    }

    void welcomeBrainIsDrawnInColourFromTheShippedImage() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        QVERIFY(app.showAndActivate());
        auto* emblem = must<EmojiLabel>(&app.window(), "emblem");
        QCOMPARE(emblem->text(), QStringLiteral("\U0001F9E0"));
        // As tall as the colour font's line at 72 pixels, and as wide as its glyph.
        QCOMPARE(emblem->sizeHint().height(), 84);
        QCOMPARE(emblem->minimumSizeHint().width(), 90);
        const QImage shot = emblem->grab().toImage();
        QVERIFY2(pixelsLike(shot, QColor(0xF4, 0x9E, 0xB5)) > 500, "the brain is pink");
        uitest::saveScreenshot(&app.window(), QStringLiteral("emoji-fallback-welcome"));
    }

    void completeAndErrorEmblemsAreDrawnInColour() {
        Sandbox sandbox;
        AppUnderTest app(sandbox.platform(), false);
        app.installer().setPhase(InstallerPhase::complete);
        QVERIFY(app.showAndActivate());
        QTRY_VERIFY(qobject_cast<CompleteView*>(uitest::shownScreen(app.window())));
        const QImage check = must<EmojiLabel>(&app.window(), "emblem")->grab().toImage();
        QVERIFY2(pixelsLike(check, QColor(0x43, 0xA0, 0x47)) > 500, "the check mark is green");
        uitest::saveScreenshot(&app.window(), QStringLiteral("emoji-fallback-complete"));

        app.installer().setPhase(InstallerPhase::error);
        QTRY_COMPARE(uitest::shownScreen(app.window())->objectName(), QStringLiteral("errorView"));
        const QImage cross = must<EmojiLabel>(&app.window(), "emblem")->grab().toImage();
        QVERIFY2(pixelsLike(cross, QColor(0xF4, 0x43, 0x36)) > 300, "the cross is red");
        uitest::saveScreenshot(&app.window(), QStringLiteral("emoji-fallback-error"));
    }
};

}  // namespace pellix

namespace {

// Before anything reads the font configuration: only the plain fonts exist for this process.
void hidePlainFontsOnly() {
    static QTemporaryDir config;
    const QString file = config.filePath(QStringLiteral("fonts.conf"));
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly)) std::abort();
    out.write(QStringLiteral("<?xml version=\"1.0\"?>\n<!DOCTYPE fontconfig SYSTEM \"fonts.dtd\">\n"
                             "<fontconfig><dir>%1</dir><cachedir>%2</cachedir></fontconfig>\n")
                  .arg(QString::fromLatin1(pellix::kPlainFonts), config.path())
                  .toUtf8());
    out.close();
    ::setenv("FONTCONFIG_FILE", file.toLocal8Bit().constData(), 1);
}

}  // namespace

PELLIX_UI_TEST_BEFORE_APPLICATION(pellix::EmojiFallbackTest, hidePlainFontsOnly);

#include "EmojiFallbackTest.moc"
