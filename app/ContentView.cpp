#include "ContentView.h"

#include <QLinearGradient>
#include <QPainter>
#include <QVBoxLayout>

#include "CompleteView.h"
#include "ErrorView.h"
#include "InstallingView.h"
#include "ModelObserver.h"
#include "Theme.h"
#include "WelcomeView.h"

namespace pellix {

ContentView::ContentView(InstallerViewModel& installer, QWidget* parent)
    : QWidget(parent), installer_(installer), observer_(new ModelObserver(installer, this)) {
    setObjectName(QStringLiteral("contentView"));
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
