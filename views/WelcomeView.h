#pragma once
// The first screen: introduces the agent, shows whether OpenClaw was found, takes the scan
// schedule and model choices straight into the view model, and starts the install. UI thread only.

#include "InstallerViewModel.h"
#include "Screen.h"

class QLabel;
class QVBoxLayout;

namespace pellix {

class EmojiLabel;
class PushButton;
class SegmentedControl;
class StatusGlyph;

class WelcomeView : public Screen {
    Q_OBJECT

public:
    explicit WelcomeView(InstallerViewModel& installer, QWidget* parent = nullptr);
    void refresh() override;
    // Install answers Return while OpenClaw is found. There is no other way out, so no Escape.
    QAbstractButton* defaultButton() const override;
    // The install button when it can be used, else the scan picker's chosen segment.
    QWidget* firstFocus() const override;

private:
    void buildHeader(QVBoxLayout* stack);
    QWidget* buildChoices();
    QWidget* buildStatusLine();
    void buildInstallButton(QVBoxLayout* stack);
    void refreshTexts();
    void refreshOpenClawState();

    InstallerViewModel& installer_;
    EmojiLabel* emblem_;
    QLabel* title_;
    QLabel* subtitle_;
    QLabel* tagline_;
    QLabel* scanCaption_;
    SegmentedControl* scanPicker_;
    QLabel* modelCaption_;
    SegmentedControl* modelPicker_;
    StatusGlyph* statusIcon_;
    QLabel* statusText_;
    PushButton* installButton_;
};

}  // namespace pellix
