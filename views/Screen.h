#pragma once
// What the root view needs of each of the four screens: a widget that can set every part of
// itself from the view model again, as often as the model changes. UI thread only.

#include <QWidget>

namespace pellix {

class Screen : public QWidget {
    Q_OBJECT

public:
    using QWidget::QWidget;
    // Sets every widget of the screen from the current state; cheap, so it runs on every change.
    virtual void refresh() = 0;
};

}  // namespace pellix
