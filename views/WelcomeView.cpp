#include "WelcomeView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "Accessibility.h"
#include "Choices.h"
#include "Controls.h"
#include "EmojiLabel.h"
#include "SegmentedControl.h"
#include "StatusGlyph.h"
#include "Theme.h"

namespace pellix {

namespace {

QString tagOf(std::string_view word) {
    return QString::fromLatin1(word.data(), static_cast<qsizetype>(word.size()));
}

QWidget* padded(QWidget* content, int sides) {
    auto* box = new QWidget;
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(sides, 0, sides, 0);
    layout->addWidget(content);
    return box;
}

}  // namespace

WelcomeView::WelcomeView(InstallerViewModel& installer, QWidget* parent)
    : Screen(parent), installer_(installer) {
    setObjectName(QStringLiteral("welcomeView"));
    setAccessibleRole(this, QAccessible::Pane);
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->setSpacing(24);
    addFlexibleSpace(stack);
    buildHeader(stack);
    addFlexibleSpace(stack);
    stack->addWidget(padded(buildChoices(), 20));
    addFlexibleSpace(stack);
    stack->addWidget(buildStatusLine());
    buildInstallButton(stack);
    refresh();
}

void WelcomeView::buildHeader(QVBoxLayout* stack) {
    emblem_ = new EmojiLabel(QStringLiteral("emblem"), 72, this);
    title_ =
        makeLabel(QStringLiteral("title"), theme::systemFont(32, QFont::Bold), Qt::white, this);
    subtitle_ = makeLabel(QStringLiteral("subtitle"), theme::systemFont(14),
                          theme::color(NamedColor::gray), this);
    tagline_ = makeLabel(QStringLiteral("tagline"), theme::systemFont(13),
                         theme::color(NamedColor::secondary), this);
    tagline_->setWordWrap(true);
    stack->addWidget(emblem_);
    stack->addWidget(title_);
    stack->addWidget(subtitle_);
    stack->addWidget(padded(tagline_, 40));
}

QWidget* WelcomeView::buildChoices() {
    auto* block = new QWidget(this);
    auto* column = new QVBoxLayout(block);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(12);
    const QFont captionFont = theme::systemFont(12, QFont::DemiBold);
    const QColor gray = theme::color(NamedColor::gray);

    scanCaption_ = makeLabel(QStringLiteral("scanCaption"), captionFont, gray, block);
    scanCaption_->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    scanPicker_ = new SegmentedControl(QStringLiteral("scanPreset"), block);
    for (const ScanPreset& preset : kScanPresets) scanPicker_->addSegment(tagOf(preset.word));
    scanPicker_->onSelected = [this](const QString& tag) {
        installer_.setScanPreset(tag.toStdString());
    };

    modelCaption_ = makeLabel(QStringLiteral("modelCaption"), captionFont, gray, block);
    modelCaption_->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    modelPicker_ = new SegmentedControl(QStringLiteral("modelChoice"), block);
    for (const ModelOption& model : kModels) modelPicker_->addSegment(tagOf(model.word));
    modelPicker_->onSelected = [this](const QString& tag) {
        installer_.setModelChoice(tag.toStdString());
    };

    // Each caption names its picker, for assistive technology and as the picker's label.
    scanCaption_->setBuddy(scanPicker_);
    modelCaption_->setBuddy(modelPicker_);
    column->addWidget(scanCaption_);
    column->addWidget(scanPicker_);
    column->addSpacing(4);
    column->addWidget(modelCaption_);
    column->addWidget(modelPicker_);
    return block;
}

QWidget* WelcomeView::buildStatusLine() {
    auto* line = new QWidget(this);
    auto* row = new QHBoxLayout(line);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(6);
    statusIcon_ = new StatusGlyph(12, line);
    statusIcon_->setObjectName(QStringLiteral("openclawStatusIcon"));
    statusText_ = makeLabel(QStringLiteral("openclawStatusText"), theme::systemFont(12),
                            theme::color(NamedColor::secondary), line);
    row->addStretch(1);
    row->addWidget(statusIcon_, 0, Qt::AlignVCenter);
    row->addWidget(statusText_, 0, Qt::AlignVCenter);
    row->addStretch(1);
    return line;
}

void WelcomeView::buildInstallButton(QVBoxLayout* stack) {
    installButton_ = new PushButton(QStringLiteral("installButton"), this);
    installButton_->setFont(theme::systemFont(16, QFont::DemiBold));
    installButton_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(installButton_, &QPushButton::clicked, this, [this] { installer_.startInstall(); });
    stack->addWidget(installButton_);
}

void WelcomeView::refresh() {
    refreshTexts();
    scanPicker_->setSelectedTag(QString::fromStdString(installer_.scanPreset()));
    modelPicker_->setSelectedTag(QString::fromStdString(installer_.modelChoice()));
    refreshOpenClawState();
}

void WelcomeView::refreshTexts() {
    emblem_->setEmoji(tr("\U0001F9E0"));  // brain
    setDisplayText(title_, tr("Pellix Agent"));
    setAccessibleNameOnce(this, title_->text());
    setDisplayText(subtitle_, tr("Behavioral Drift Detection & AI Conscience"));
    setDisplayText(tagline_, tr("Your AI says it's working. Pellix checks if that's true."));
    setDisplayText(scanCaption_, tr("Scan Frequency"));
    setAccessibleNameOnce(scanPicker_, scanCaption_->text());
    // The labels are the tables' English source texts: string literals, so data() ends in NUL.
    for (const ScanPreset& preset : kScanPresets) {
        scanPicker_->setSegmentText(tagOf(preset.word), tr(preset.label.data()));
    }
    setDisplayText(modelCaption_, tr("AI Model"));
    setAccessibleNameOnce(modelPicker_, modelCaption_->text());
    for (const ModelOption& model : kModels) {
        modelPicker_->setSegmentText(tagOf(model.word), tr(model.label.data()));
    }
    setDisplayText(installButton_, tr("Install Pellix"));
}

void WelcomeView::refreshOpenClawState() {
    // Read once per refresh rather than once per use, so the line and the button never disagree
    // when OpenClaw appears or vanishes in between; nothing is kept between refreshes.
    const bool found = installer_.openclawExists();
    statusIcon_->setSymbol(found ? "checkmark.circle.fill" : "xmark.circle.fill",
                           theme::color(found ? NamedColor::green : NamedColor::red));
    setDisplayText(statusText_, found ? tr("OpenClaw detected") : tr("OpenClaw not found"));
    ButtonFace face;
    face.fill = theme::color(found ? NamedColor::purple : NamedColor::gray);
    face.checkedFill = face.fill;
    face.pressedFill = face.fill.darker(120);
    face.cornerRadius = 10;
    face.verticalPadding = 10;
    installButton_->setFace(face);
    installButton_->setEnabled(found);
}

QAbstractButton* WelcomeView::defaultButton() const {
    return installButton_->isEnabled() ? installButton_ : nullptr;
}

QWidget* WelcomeView::firstFocus() const {
    if (installButton_->isEnabled()) return installButton_;
    return scanPicker_->focusTarget();
}

}  // namespace pellix
