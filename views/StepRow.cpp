#include "StepRow.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "Accessibility.h"
#include "Controls.h"
#include "StatusGlyph.h"
#include "Theme.h"
#include "WrappingLabel.h"

namespace pellix {

namespace {

void setTextOnce(QLabel* label, const QString& text) {
    if (label->text() != text) label->setText(text);
}

}  // namespace

StepRow::StepRow(QWidget* parent) : QWidget(parent) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(10);
    glyph_ = new StatusGlyph(14, this);
    glyph_->setObjectName(QStringLiteral("stepIcon"));
    // A fixed column, so every label starts at the same x whatever the glyph's own width.
    glyph_->setFixedWidth(20);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    label_ = makeWrappingLabel(QStringLiteral("stepLabel"), theme::systemFont(13), Qt::white, this);
    detail_ = makeWrappingLabel(QStringLiteral("stepDetail"), theme::systemFont(11),
                                theme::color(NamedColor::gray), this);
    for (QLabel* text : {label_, detail_}) text->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    texts->addWidget(label_);
    texts->addWidget(detail_);

    row->addWidget(glyph_, 0, Qt::AlignVCenter);
    row->addLayout(texts, 1);
}

void StepRow::display(const InstallStep& step) {
    glyph_->setSymbol(icon(step.status), theme::color(color(step.status)));
    const std::string_view status = toString(step.status);
    // The texts are the row's name; the labels themselves are not in the accessible tree.
    setTextOnce(label_, QString::fromStdString(step.label));
    setTextOnce(detail_, QString::fromStdString(step.detail));
    // An empty detail takes no room at all, so the row is one line high.
    detail_->setVisible(!step.detail.empty());
    // One name for the whole row, so a change of status or detail is announced once, in full.
    QString name = label_->text() + QStringLiteral(", ") +
                   QString::fromUtf8(status.data(), qsizetype(status.size()));
    if (!step.detail.empty()) name += QStringLiteral(", ") + detail_->text();
    setAccessibleNameOnce(this, name);
}

}  // namespace pellix
