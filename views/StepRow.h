#pragma once
// One row of the install checklist: the status glyph in a 20-pixel column, the step's label and,
// when there is one, its detail on a second, smaller line. UI thread only.

#include <QWidget>

#include "InstallerTypes.h"

class QLabel;

namespace pellix {

class StatusGlyph;

class StepRow : public QWidget {
    Q_OBJECT

public:
    explicit StepRow(QWidget* parent = nullptr);

    // Data texts are shown verbatim: they are never looked up as translations.
    void display(const InstallStep& step);

    StatusGlyph* glyph() const { return glyph_; }
    QLabel* label() const { return label_; }
    QLabel* detail() const { return detail_; }

private:
    StatusGlyph* glyph_;
    QLabel* label_;
    QLabel* detail_;
};

}  // namespace pellix
