#pragma once
// The root view: paints the dark gradient every screen shares and shows exactly one screen, the
// one that belongs to the view model's phase, with focus on its main control. It is also the
// application's window: closing it during an install asks first. UI thread only.

#include <QWidget>

#include "InstallerViewModel.h"

class QMessageBox;
class QVBoxLayout;

namespace pellix {

class ModelObserver;
class Screen;

class ContentView : public QWidget {
    Q_OBJECT

public:
    explicit ContentView(InstallerViewModel& installer, QWidget* parent = nullptr);

    // Makes this the application's window: fixed 640 x 520, titled, and on macOS with the title
    // bar drawn over the gradient.
    void makeApplicationWindow();

    InstallerViewModel& installer() const { return installer_; }

    // The question asked when the window is closed during an install; null while none is open.
    QMessageBox* closeConfirmation() const { return closeConfirmation_; }
    // Whether the user chose to quit and the window waits for the run to stop.
    bool stopping() const { return stopping_; }

    static constexpr int kWidth = 640;
    static constexpr int kHeight = 520;
    static constexpr int kPadding = 32;

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void refresh();
    bool screenIsCurrent() const;
    Screen* makeScreen();
    void enterScreen();
    void confirmClose();
    void stopAndQuit();

    InstallerViewModel& installer_;
    ModelObserver* observer_;
    QVBoxLayout* stack_;
    Screen* screen_ = nullptr;
    InstallerPhase shownPhase_ = InstallerPhase::welcome;
    QMessageBox* closeConfirmation_ = nullptr;
    bool stopping_ = false;
};

// On macOS: a transparent title bar over full-size content, title hidden, dark appearance.
// Elsewhere the window manager's frame is kept, so this does nothing.
void hideTitleBar(QWidget* window);

}  // namespace pellix
