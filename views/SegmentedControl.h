#pragma once
// A segmented picker: a row of exclusive, checkable buttons, each standing for a string tag.
// Like the platform's control it is one tab stop, entered at the chosen segment; the arrow keys
// move between segments and Space or Return chooses one. UI thread only.

#include <QString>
#include <QWidget>
#include <functional>
#include <vector>

class QButtonGroup;
class QPushButton;

namespace pellix {

class SegmentedControl : public QWidget {
    Q_OBJECT

public:
    explicit SegmentedControl(const QString& objectName, QWidget* parent = nullptr);

    // Segment objectNames are the control's name, a dash and the tag ("scanPreset-daily").
    void addSegment(const QString& tag);
    void setSegmentText(const QString& tag, const QString& text);
    // Checks the segment of `tag`, or none when no segment has that tag.
    void setSelectedTag(const QString& tag);
    // The segment keyboard focus enters at: the chosen one, else the first.
    QWidget* focusTarget() const;

    // Called with the tag of a segment the user chose.
    std::function<void(const QString&)> onSelected;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QPushButton* segment(const QString& tag) const;
    QPushButton* checkedSegment() const;
    void moveFocus(QPushButton* from, int step);

    QButtonGroup* group_;
    bool movingFocus_ = false;
};

}  // namespace pellix
