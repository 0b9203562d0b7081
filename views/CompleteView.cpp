#include "CompleteView.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "Accessibility.h"
#include "Controls.h"
#include "EmojiLabel.h"
#include "Theme.h"

namespace pellix {

namespace {

// The platform's default spacing between texts stacked without an explicit spacing.
constexpr int kDefaultTextSpacing = 4;

QVBoxLayout* column(QWidget* owner, int spacing) {
    auto* layout = new QVBoxLayout(owner);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    return layout;
}

}  // namespace

CompleteView::CompleteView(QWidget* parent) : Screen(parent) {
    setObjectName(QStringLiteral("completeView"));
    setAccessibleRole(this, QAccessible::Pane);
    QVBoxLayout* stack = column(this, 24);
    emblem_ = new EmojiLabel(QStringLiteral("emblem"), 72, this);
    title_ =
        makeLabel(QStringLiteral("title"), theme::systemFont(28, QFont::Bold), Qt::white, this);
    firstScan_ = makeLabel(QStringLiteral("firstScanNote"), theme::systemFont(12),
                           theme::color(NamedColor::gray), this);
    doneButton_ = new PushButton(QStringLiteral("doneButton"), this);
    styleButton(doneButton_, ButtonLook::borderedProminent, theme::color(NamedColor::purple));
    // Ends the event loop; the window's owner then waits for anything still running and exits.
    connect(doneButton_, &QPushButton::clicked, this, [] { QCoreApplication::exit(0); });

    addFlexibleSpace(stack);
    stack->addWidget(emblem_);
    stack->addWidget(title_);
    stack->addWidget(buildLayers());
    addFlexibleSpace(stack);
    stack->addWidget(buildNextStep());
    stack->addWidget(firstScan_);
    stack->addWidget(doneButton_, 0, Qt::AlignHCenter);
    refresh();
}

QWidget* CompleteView::buildLayers() {
    auto* block = new QWidget(this);
    QVBoxLayout* layout = column(block, 8);
    layersIntro_ = makeLabel(QStringLiteral("layersIntro"), theme::systemFont(14),
                             theme::color(NamedColor::gray), block);
    auto* columns = new QHBoxLayout;
    columns->setContentsMargins(0, 8, 0, 0);
    columns->setSpacing(20);
    columns->addStretch(1);
    columns->addWidget(
        buildLayerColumn(QStringLiteral("sessionGuard"), guardIcon_, guardName_, guardDetail_));
    columns->addWidget(buildLayerColumn(QStringLiteral("driftScanner"), scannerIcon_, scannerName_,
                                        scannerDetail_));
    columns->addStretch(1);
    layout->addWidget(layersIntro_);
    layout->addLayout(columns);
    return block;
}

QWidget* CompleteView::buildLayerColumn(const QString& name, EmojiLabel*& icon, QLabel*& title,
                                        QLabel*& detail) {
    auto* box = new QWidget(this);
    box->setObjectName(name);
    QVBoxLayout* layout = column(box, kDefaultTextSpacing);
    icon = new EmojiLabel(name + QStringLiteral("Icon"), 28, box);
    title = makeLabel(name + QStringLiteral("Name"), theme::systemFont(12, QFont::DemiBold),
                      Qt::white, box);
    detail = makeLabel(name + QStringLiteral("Detail"), theme::systemFont(11),
                       theme::color(NamedColor::gray), box);
    layout->addWidget(icon);
    layout->addWidget(title);
    layout->addWidget(detail);
    return box;
}

QWidget* CompleteView::buildNextStep() {
    auto* block = new QWidget(this);
    QVBoxLayout* layout = column(block, 6);
    nextStep_ = makeLabel(QStringLiteral("nextStep"), theme::systemFont(13),
                          theme::color(NamedColor::secondary), block);
    watchListPath_ = makeLabel(QStringLiteral("watchListPath"), theme::monospacedFont(11),
                               theme::color(NamedColor::purple), block);
    layout->addWidget(nextStep_);
    layout->addWidget(watchListPath_);
    return block;
}

void CompleteView::refresh() {
    emblem_->setEmoji(tr("\u2705"));  // check mark button
    setDisplayText(title_, tr("Pellix is Watching"));
    setAccessibleNameOnce(this, title_->text());
    setDisplayText(layersIntro_, tr("Two protection layers are now active:"));
    guardIcon_->setEmoji(tr("\U0001F441\uFE0F"));  // eye, emoji presentation
    setDisplayText(guardName_, tr("Session Guard"));
    setDisplayText(guardDetail_, tr("Every 30 seconds"));
    scannerIcon_->setEmoji(tr("\U0001F9E0"));  // brain
    setDisplayText(scannerName_, tr("Drift Scanner"));
    setDisplayText(scannerDetail_, tr("AI-powered analysis"));
    setDisplayText(nextStep_, tr("Next: Register your agents in the watch list"));
    setDisplayText(watchListPath_, tr("agents/pellix-unified/ops/agent-watch-list.md"));
    setDisplayText(firstScan_, tr("First scan results appear within 5 minutes."));
    setDisplayText(doneButton_, tr("Done"));
}

QAbstractButton* CompleteView::defaultButton() const {
    return doneButton_;
}

}  // namespace pellix
