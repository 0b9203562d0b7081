#include "ContentView.h"

#include <QAccessible>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLinearGradient>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

#include "Accessibility.h"
#include "CompleteView.h"
#include "ErrorView.h"
#include "InstallingView.h"
#include "ModelObserver.h"
#include "PushButton.h"
#include "Theme.h"
#include "WelcomeView.h"

namespace pellix {

ContentView::ContentView(InstallerViewModel& installer, QWidget* parent)
    : QWidget(parent), installer_(installer), observer_(new ModelObserver(installer, this)) {
    setObjectName(QStringLiteral("contentView"));
    installAccessibility();
    stack_ = new QVBoxLayout(this);
    stack_->setContentsMargins(kPadding, kPadding, kPadding, kPadding);
    stack_->setSpacing(0);
    connect(observer_, &ModelObserver::changed, this, &ContentView::refresh);
    refresh();
}

void ContentView::makeApplicationWindow() {
    setWindowTitle(tr("Pellix Installer"));
    // Minimum equal to maximum: the window manager offers no resizing, and no code can resize it.
    setFixedSize(kWidth, kHeight);
}

void ContentView::showEvent(QShowEvent* event) {
    // The native window exists by now, but is not on screen yet.
    if (isWindow()) hideTitleBar(this);
    QWidget::showEvent(event);
}

void ContentView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    QLinearGradient gradient(0, 0, 0, height());
    gradient.setColorAt(0, theme::gradientTop());
    gradient.setColorAt(1, theme::gradientBottom());
    painter.fillRect(rect(), gradient);
}

void ContentView::refresh() {
    if (stopping_) {
        // The user chose to quit: once the run has stopped, the application ends without showing
        // another screen, with status 1 as the install did not finish.
        if (!installer_.installRunning()) QCoreApplication::exit(1);
        if (screenIsCurrent()) screen_->refresh();
        return;
    }
    if (screenIsCurrent()) {
        screen_->refresh();
        return;
    }
    // Runs from the event loop, never inside a screen's own click handler, so the old screen can
    // go at once; keeping it would leave two screens answering to the same object names.
    delete screen_;
    screen_ = makeScreen();
    shownPhase_ = installer_.phase();
    stack_->addWidget(screen_);
    // A child added to a visible window would only appear at the next turn of the event loop. A
    // window not shown yet shows it along with itself, laid out once, at the window's own size.
    if (isVisible()) screen_->show();
    enterScreen();
}

void ContentView::closeEvent(QCloseEvent* event) {
    if (stopping_) {
        // Already on the way out: the run ends after its current step and takes the app with it.
        event->ignore();
        return;
    }
    if (installer_.installRunning()) {
        event->ignore();
        confirmClose();
        return;
    }
    if (installer_.phase() == InstallerPhase::error) {
        // Closing a failed install is its Quit, and ends as the command line does.
        event->ignore();
        QCoreApplication::exit(1);
        return;
    }
    QWidget::closeEvent(event);
}

void ContentView::confirmClose() {
    if (closeConfirmation_ != nullptr) {
        closeConfirmation_->raise();
        return;
    }
    // Window-modal and opened, not exec'd: the install and the window go on while it asks.
    closeConfirmation_ =
        new QMessageBox(QMessageBox::Warning, tr("Pellix Installer"),
                        tr("The installation is not finished."), QMessageBox::NoButton, this);
    closeConfirmation_->setObjectName(QStringLiteral("closeConfirmation"));
    closeConfirmation_->setInformativeText(
        tr("If you quit now, the installer stops after the current step and Pellix is left "
           "partly installed. Run the installer again to finish."));
    closeConfirmation_->setWindowModality(Qt::WindowModal);
    // The application's translucent button colour is made for the gradient; a dialog of its own
    // needs opaque buttons, in the platform's dark control colour.
    QPalette palette = closeConfirmation_->palette();
    palette.setColor(QPalette::Button, QColor(0x3A, 0x3A, 0x3C));
    closeConfirmation_->setPalette(palette);
    QPushButton* keepGoing =
        closeConfirmation_->addButton(tr("Continue Installing"), QMessageBox::RejectRole);
    keepGoing->setObjectName(QStringLiteral("continueInstallingButton"));
    QPushButton* quit = closeConfirmation_->addButton(tr("Quit Anyway"), QMessageBox::AcceptRole);
    quit->setObjectName(QStringLiteral("quitAnywayButton"));
    // Return keeps the install going: the safe answer is the one a stray key press gives.
    closeConfirmation_->setDefaultButton(keepGoing);
    closeConfirmation_->setEscapeButton(keepGoing);
    connect(closeConfirmation_, &QMessageBox::finished, this, [this, quit] {
        const bool quitting = closeConfirmation_->clickedButton() == quit;
        closeConfirmation_->deleteLater();
        closeConfirmation_ = nullptr;
        if (quitting) stopAndQuit();
    });
    closeConfirmation_->open();
}

void ContentView::stopAndQuit() {
    if (!installer_.installRunning()) {
        // The run ended while the question was open.
        QCoreApplication::exit(installer_.phase() == InstallerPhase::complete ? 0 : 1);
        return;
    }
    stopping_ = true;
    installer_.requestStop();
    if (auto* installing = qobject_cast<InstallingView*>(screen_)) installing->showStopping();
}

void ContentView::keyPressEvent(QKeyEvent* event) {
    // Keys no control took: Return presses the screen's main button, Escape its other way out.
    QAbstractButton* target = nullptr;
    if (screen_ != nullptr && isReturnKey(event)) target = screen_->defaultButton();
    if (screen_ != nullptr && event->key() == Qt::Key_Escape &&
        event->modifiers() == Qt::NoModifier) {
        target = screen_->escapeButton();
    }
    if (target != nullptr && target->isEnabled()) {
        target->click();
        event->accept();
        return;
    }
    QWidget::keyPressEvent(event);
}

void ContentView::enterScreen() {
    QWidget* focus = screen_->firstFocus();
    if (focus != nullptr) focus->setFocus(Qt::OtherFocusReason);
    // One announcement for the new screen, rather than every widget of it appearing one by one.
    QAccessibleEvent shown(screen_, QAccessible::Alert);
    QAccessible::updateAccessibility(&shown);
}

bool ContentView::screenIsCurrent() const {
    if (screen_ == nullptr || shownPhase_ != installer_.phase()) return false;
    // The error screen is built with the message as it stands; a new message builds a new one.
    if (shownPhase_ != InstallerPhase::error) return true;
    return static_cast<const ErrorView*>(screen_)->message() ==
           QString::fromStdString(installer_.errorMessage());
}

Screen* ContentView::makeScreen() {
    switch (installer_.phase()) {
        case InstallerPhase::welcome:
            return new WelcomeView(installer_, this);
        case InstallerPhase::installing:
            return new InstallingView(installer_, this);
        case InstallerPhase::complete:
            return new CompleteView(this);
        case InstallerPhase::error:
            return new ErrorView(QString::fromStdString(installer_.errorMessage()), installer_,
                                 this);
    }
    return new WelcomeView(installer_, this);
}

#if !defined(Q_OS_MACOS)
void hideTitleBar(QWidget*) {}
#endif

}  // namespace pellix
