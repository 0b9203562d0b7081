#include "ErrorView.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "Accessibility.h"
#include "Controls.h"
#include "EmojiLabel.h"
#include "Theme.h"
#include "WrappingLabel.h"

namespace pellix {

ErrorView::ErrorView(QString message, InstallerViewModel& installer, QWidget* parent)
    : Screen(parent), message_(std::move(message)), installer_(installer) {
    setObjectName(QStringLiteral("errorView"));
    setAccessibleRole(this, QAccessible::Pane);
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->setSpacing(24);
    emblem_ = new EmojiLabel(QStringLiteral("emblem"), 72, this);
    title_ =
        makeLabel(QStringLiteral("title"), theme::systemFont(24, QFont::Bold), Qt::white, this);
    messageLabel_ = makeWrappingLabel(QStringLiteral("errorMessage"), theme::systemFont(14),
                                      theme::withOpacity(theme::color(NamedColor::red), 0.8), this);
    messageLabel_->setContentsMargins(40, 0, 40, 0);
    // Users paste the reason into a support request: it selects with the mouse and the keyboard
    // and copies, and looks the same until something is selected.
    messageLabel_->setTextInteractionFlags(Qt::TextSelectableByMouse |
                                           Qt::TextSelectableByKeyboard);

    addFlexibleSpace(stack);
    stack->addWidget(emblem_);
    stack->addWidget(title_);
    stack->addWidget(messageLabel_);
    addFlexibleSpace(stack);
    stack->addWidget(buildButtons());
    refresh();
}

QWidget* ErrorView::buildButtons() {
    auto* row = new QWidget(this);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(16);
    tryAgainButton_ = new PushButton(QStringLiteral("tryAgainButton"), row);
    styleButton(tryAgainButton_, ButtonLook::bordered);
    quitButton_ = new PushButton(QStringLiteral("quitButton"), row);
    styleButton(quitButton_, ButtonLook::borderedProminent, theme::color(NamedColor::red));
    connect(tryAgainButton_, &QPushButton::clicked, this,
            [this] { installer_.setPhase(InstallerPhase::welcome); });
    // A failed install ends the application as the command line does: with status 1.
    connect(quitButton_, &QPushButton::clicked, this, [] { QCoreApplication::exit(1); });
    layout->addStretch(1);
    layout->addWidget(tryAgainButton_);
    layout->addWidget(quitButton_);
    layout->addStretch(1);
    return row;
}

void ErrorView::refresh() {
    emblem_->setEmoji(tr("\u274C"));  // cross mark
    setDisplayText(title_, tr("Installation Failed"));
    setAccessibleNameOnce(this, title_->text());
    setDisplayText(messageLabel_, message_);
    setDisplayText(tryAgainButton_, tr("Try Again"));
    setDisplayText(quitButton_, tr("Quit"));
}

QAbstractButton* ErrorView::defaultButton() const {
    return quitButton_;
}

QAbstractButton* ErrorView::escapeButton() const {
    return tryAgainButton_;
}

}  // namespace pellix
