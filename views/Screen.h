#pragma once
// What the root view needs of each of the four screens: a widget that can set every part of
// itself from the view model again, as often as the model changes, and that names its keyboard
// answers. UI thread only.

#include <QAbstractButton>
#include <QWidget>

namespace pellix {

class Screen : public QWidget {
    Q_OBJECT

public:
    using QWidget::QWidget;
    // Sets every widget of the screen from the current state; cheap, so it runs on every change.
    virtual void refresh() = 0;

    // The button Return presses unless focus is on another button (which Return then presses);
    // null when there is none now.
    virtual QAbstractButton* defaultButton() const { return nullptr; }
    // The other way out, pressed by Escape; null where the screen offers none.
    virtual QAbstractButton* escapeButton() const { return nullptr; }
    // Where keyboard focus lands when the screen appears.
    virtual QWidget* firstFocus() const { return defaultButton(); }
};

}  // namespace pellix
