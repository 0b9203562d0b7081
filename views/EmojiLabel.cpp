#include "EmojiLabel.h"

#include <QFontMetricsF>
#include <QGlyphRun>
#include <QHash>
#include <QImage>
#include <QPainter>
#include <QRawFont>
#include <QTextLayout>
#include <QThreadPool>
#include <algorithm>
#include <cmath>
#include <future>
#include <memory>
#include <optional>

#include "Accessibility.h"
#include "Controls.h"
#include "FontConfigWarmUp.h"
#include "Theme.h"

// A static library's resources are linked only when something names their initialiser, and it
// has to be named outside any namespace.
static void loadShippedEmoji() {
    static const bool loaded = [] {
        Q_INIT_RESOURCE(emoji);
        return true;
    }();
    (void)loaded;
}

namespace pellix {

namespace {

// The font engine keeps no copy of a colour glyph scaled from a bitmap strike: every question
// about its size or its image decodes the glyph's PNG again, and QLabel asks many times per layout
// and again at each paint. Here each emoji is decoded three times in all, for its advance and its
// picture, off the UI thread.
struct EmojiArt {
    QSizeF line;       // the emoji's advance and the height of its line, as QLabel lays text out
    qreal fontHeight;  // the emoji font's own height, fallback fonts aside
    qreal margin;      // room round the line in the picture, for a glyph reaching past it
    QImage picture;
};

EmojiArt blankArt(const QSizeF& line, qreal margin, qreal pixelRatio) {
    EmojiArt art{line, 0, margin, {}};
    const QSizeF room = line + QSizeF(2 * margin, 2 * margin);
    art.picture = QImage(QSize(int(std::ceil(room.width() * pixelRatio)),
                               int(std::ceil(room.height() * pixelRatio))),
                         QImage::Format_ARGB32_Premultiplied);
    art.picture.setDevicePixelRatio(pixelRatio);
    art.picture.fill(Qt::transparent);
    return art;
}

// The emoji as the one glyph the font maps it to; none when that would not be how shaping draws
// it (several code points, a text-presentation selector, or a code point the font lacks and a
// fallback font must supply). The emoji presentation selector is left out: the colour font has no
// other presentation.
std::optional<QGlyphRun> singleGlyph(const QString& text, const QFont& font) {
    char32_t codePoint = 0;
    int count = 0;
    for (const char32_t each : text.toUcs4()) {
        if (each == 0xFE0F) continue;
        codePoint = each;
        ++count;
    }
    if (count != 1) return std::nullopt;
    const QRawFont raw = QRawFont::fromFont(font);
    if (!raw.isValid() || !raw.supportsCharacter(codePoint)) return std::nullopt;
    QGlyphRun run;
    run.setRawFont(raw);
    run.setGlyphIndexes(raw.glyphIndexesForString(QString::fromUcs4(&codePoint, 1)));
    return run;
}

EmojiArt renderGlyph(QGlyphRun glyph, qreal margin, qreal pixelRatio) {
    const QRawFont raw = glyph.rawFont();
    const qreal advance = raw.advancesForGlyphIndexes(glyph.glyphIndexes()).value(0).x();
    EmojiArt art = blankArt(QSizeF(advance, raw.ascent() + raw.descent()), margin, pixelRatio);
    glyph.setPositions({QPointF(margin, margin + raw.ascent())});
    QPainter(&art.picture).drawGlyphRun(QPointF(), glyph);
    return art;
}

// Shaped and laid out as QLabel would, fallback fonts included.
EmojiArt renderLine(const QString& text, const QFont& font, qreal margin, qreal pixelRatio) {
    QTextLayout layout(text, font);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setLineWidth(1e6);
    layout.endLayout();
    EmojiArt art = blankArt(QSizeF(line.horizontalAdvance(), line.ascent() + line.descent()),
                            margin, pixelRatio);
    QPainter painter(&art.picture);
    layout.draw(&painter, QPointF(margin, margin));
    return art;
}

// The metrics of the colour emoji font the images come from (Noto Color Emoji), in ems, and the
// pixels per em of its images: a shipped image takes the room the font's glyph would take.
constexpr qreal kShippedAdvance = 2550.0 / 2048;
constexpr qreal kShippedAscent = 1900.0 / 2048;
constexpr qreal kShippedDescent = 500.0 / 2048;
constexpr qreal kShippedPixelsPerEm = 109;
constexpr qreal kShippedBearingY = 101;  // image pixels from its top down to the baseline

// The image shipped for `text`; null when none is.
QImage shippedImage(const QString& text) {
    QStringList codes;
    for (const char32_t each : text.toUcs4()) {
        if (each != 0xFE0F) codes << QString::number(uint(each), 16);
    }
    loadShippedEmoji();
    return QImage(QStringLiteral(":/emoji/%1.png").arg(codes.join(QLatin1Char('-'))));
}

EmojiArt renderShipped(const QImage& image, int pixelSize, qreal margin, qreal pixelRatio) {
    const qreal em = pixelSize;
    const qreal scale = em / kShippedPixelsPerEm;
    EmojiArt art = blankArt(QSizeF(kShippedAdvance * em, (kShippedAscent + kShippedDescent) * em),
                            margin, pixelRatio);
    const QRectF place(margin, margin + kShippedAscent * em - kShippedBearingY * scale,
                       image.width() * scale, image.height() * scale);
    QPainter painter(&art.picture);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(place, image);
    art.fontHeight = (kShippedAscent + kShippedDescent) * em;
    return art;
}

// Whether the colour emoji font itself is installed, rather than a stand-in fontconfig chose.
bool hasEmojiFont(const QFont& font) {
    const QRawFont raw = QRawFont::fromFont(font);
    return raw.isValid() && raw.familyName() == font.family();
}

// Runs on a worker thread.
EmojiArt render(const QString& text, int pixelSize, qreal pixelRatio) {
    // Qt would otherwise read the font configuration a second time, alongside the warm-up.
    FontConfigWarmUp::waitUntilLoaded();
    // A font of the worker's own: one QFont's engines must not be used by two threads at once.
    const QFont font = theme::emojiFont(pixelSize);
    const qreal margin = std::ceil(pixelSize / 2.0);
    // Without the colour font the text system would draw black boxes or a monochrome stand-in.
    const bool colourFont = hasEmojiFont(font);
    std::optional<QGlyphRun> glyph;
    if (colourFont) glyph = singleGlyph(text, font);
    if (!glyph) {
        const QImage shipped = shippedImage(text);
        if (!shipped.isNull()) return renderShipped(shipped, pixelSize, margin, pixelRatio);
    }
    EmojiArt art = glyph ? renderGlyph(*glyph, margin, pixelRatio)
                         : renderLine(text, font, margin, pixelRatio);
    art.fontHeight = QFontMetricsF(font).height();
    return art;
}

// Starts drawing the picture unless it is drawn or under way; never waits. UI thread only. The
// global pool is waited for before the application object goes, so no drawing outlives the font
// database it draws with.
std::shared_future<EmojiArt> requestArt(const QString& text, int pixelSize, qreal pixelRatio) {
    static QHash<QString, std::shared_future<EmojiArt>> pictures;
    const QString key = QStringLiteral("%1 %2 %3").arg(pixelSize).arg(pixelRatio).arg(text);
    auto found = pictures.constFind(key);
    if (found != pictures.cend()) return *found;
    auto job = std::make_shared<std::packaged_task<EmojiArt()>>(
        [=] { return render(text, pixelSize, pixelRatio); });
    std::shared_future<EmojiArt> art = job->get_future().share();
    pictures.insert(key, art);
    if (!QThreadPool::globalInstance()->tryStart([job] { (*job)(); })) (*job)();
    return art;
}

// Waits for the picture if it is still being drawn. The picture lives as long as the process.
const EmojiArt& artFor(const QString& text, int pixelSize, qreal pixelRatio) {
    return requestArt(text, pixelSize, pixelRatio).get();
}

}  // namespace

EmojiLabel::EmojiLabel(const QString& objectName, int pixelSize, QWidget* parent)
    : QLabel(parent), pixelSize_(pixelSize) {
    // The emblems are decoration; every screen says in words what they picture.
    hideFromAssistiveTechnology(this);
    setObjectName(objectName);
    setTextFormat(Qt::PlainText);
    setAlignment(Qt::AlignCenter);
    setFont(theme::emojiFont(pixelSize));
}

void EmojiLabel::setEmoji(const QString& emoji) {
    // Asked for first: naming the label may wait on the accessibility bus, and the picture can be
    // drawn meanwhile.
    if (!emoji.isEmpty()) requestArt(emoji, pixelSize_, devicePixelRatioF());
    setDisplayText(this, emoji);
}

QSize EmojiLabel::sizeHint() const {
    if (text().isEmpty()) return {0, pixelSize_};
    const EmojiArt& art = artFor(text(), pixelSize_, devicePixelRatioF());
    return {minimumSizeHint().width(), std::max(qRound(art.fontHeight), pixelSize_)};
}

QSize EmojiLabel::minimumSizeHint() const {
    if (text().isEmpty()) return {0, pixelSize_};
    const QSizeF line = artFor(text(), pixelSize_, devicePixelRatioF()).line;
    const QMargins margins = contentsMargins();
    return {int(std::ceil(line.width())) + margins.left() + margins.right(), pixelSize_};
}

void EmojiLabel::paintEvent(QPaintEvent*) {
    if (text().isEmpty()) return;
    const EmojiArt& art = artFor(text(), pixelSize_, devicePixelRatioF());
    const QRect area = contentsRect();
    // Where QLabel would start the emoji's line: centred both ways, overflowing evenly when the
    // label is shorter than the line, on whole pixels as the glyph would be.
    const QPointF line(area.x() + (area.width() - art.line.width()) / 2,
                       area.y() + (area.height() - art.line.height()) / 2);
    QPainter painter(this);
    painter.drawImage(QPoint(qFloor(line.x() - art.margin), qRound(line.y() - art.margin)),
                      art.picture);
}

}  // namespace pellix
