#pragma once
// The success screen: what is now watching, what to do next, and "Done", which ends the
// application. Every text is fixed; it reads nothing from the view model. UI thread only.

#include <functional>

#include "Screen.h"

class QLabel;
class QVBoxLayout;

namespace pellix {

class EmojiLabel;
class PushButton;

class CompleteView : public Screen {
    Q_OBJECT

public:
    explicit CompleteView(QWidget* parent = nullptr);
    void refresh() override;
    // Done answers Return; the screen has no other way out, so Escape does nothing.
    QAbstractButton* defaultButton() const override;

private:
    QWidget* buildLayers();
    QWidget* buildLayerColumn(const QString& name, EmojiLabel*& icon, QLabel*& title,
                              QLabel*& detail);
    QWidget* buildNextStep();

    EmojiLabel* emblem_;
    QLabel* title_;
    QLabel* layersIntro_;
    EmojiLabel* guardIcon_;
    QLabel* guardName_;
    QLabel* guardDetail_;
    EmojiLabel* scannerIcon_;
    QLabel* scannerName_;
    QLabel* scannerDetail_;
    QLabel* nextStep_;
    QLabel* watchListPath_;
    QLabel* firstScan_;
    PushButton* doneButton_;
};

}  // namespace pellix
