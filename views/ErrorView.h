#pragma once
// The failure screen: the message it was built with, "Try Again" (back to the welcome screen,
// nothing else reset) and "Quit". UI thread only.

#include <QString>

#include "InstallerViewModel.h"
#include "Screen.h"

class QLabel;

namespace pellix {

class EmojiLabel;
class PushButton;

class ErrorView : public Screen {
    Q_OBJECT

public:
    // `message` is shown as given, never looked up as a translation; the screen never reads the
    // view model's message itself.
    ErrorView(QString message, InstallerViewModel& installer, QWidget* parent = nullptr);
    void refresh() override;
    // Quit, the prominent button, answers Return, as the filled button does on the platform.
    // Escape goes back to the welcome screen: like a dialog's Cancel, it is the way out that ends
    // nothing and loses nothing.
    QAbstractButton* defaultButton() const override;
    QAbstractButton* escapeButton() const override;

    const QString& message() const { return message_; }

private:
    QWidget* buildButtons();

    const QString message_;
    InstallerViewModel& installer_;
    EmojiLabel* emblem_;
    QLabel* title_;
    QLabel* messageLabel_;
    PushButton* tryAgainButton_;
    PushButton* quitButton_;
};

}  // namespace pellix
