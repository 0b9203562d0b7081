#include "Accessibility.h"

#include <QAbstractButton>
#include <QAccessibleWidget>
#include <QWidget>

#include "StepRow.h"

namespace pellix {

namespace {

const char* const kHidden = "pellixAccessibleHidden";
const char* const kRole = "pellixAccessibleRole";

QList<QWidget*> shownChildren(const QWidget* widget) {
    QList<QWidget*> children;
    for (QObject* object : widget->children()) {
        auto* child = qobject_cast<QWidget*>(object);
        if (child != nullptr && !child->isWindow() && !isHiddenFromAssistiveTechnology(child)) {
            children.append(child);
        }
    }
    return children;
}

// A container whose decorative children are left out, with the role it was given.
class Container : public QAccessibleWidget {
public:
    Container(QWidget* widget, QAccessible::Role role) : QAccessibleWidget(widget, role) {}

    int childCount() const override { return int(shownChildren(widget()).size()); }
    QAccessibleInterface* child(int index) const override {
        const QList<QWidget*> children = shownChildren(widget());
        if (index < 0 || index >= children.size()) return nullptr;
        return QAccessible::queryAccessibleInterface(children[index]);
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        if (child == nullptr) return -1;
        return int(shownChildren(widget()).indexOf(qobject_cast<QWidget*>(child->object())));
    }
};

// One checklist row: a list item whose name says all, with no parts of its own to wander into.
class RowItem : public QAccessibleWidget {
public:
    explicit RowItem(QWidget* row) : QAccessibleWidget(row, QAccessible::ListItem) {}
    int childCount() const override { return 0; }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
};

// One segment of a picker: a radio button that says where it stands among its siblings. Qt 6.4
// offers no member-of relation and no position attributes, so the position is carried by the
// segment's index among its group's children and spelled out ("2 of 4") as its description.
class Segment : public QAccessibleWidget {
public:
    explicit Segment(QAbstractButton* button)
        : QAccessibleWidget(button, QAccessible::RadioButton) {
        addControllingSignal(QStringLiteral("toggled(bool)"));
    }

    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.checkable = true;
        state.checked = button()->isChecked();
        return state;
    }
    QString text(QAccessible::Text kind) const override {
        if (kind == QAccessible::Name) return button()->accessibleName();
        if (kind == QAccessible::Description) return position();
        return QAccessibleWidget::text(kind);
    }
    QStringList actionNames() const override {
        return QStringList{pressAction()} + QAccessibleWidget::actionNames();
    }
    void doAction(const QString& action) override {
        if (action == pressAction()) {
            button()->click();
            return;
        }
        QAccessibleWidget::doAction(action);
    }

private:
    QAbstractButton* button() const { return static_cast<QAbstractButton*>(widget()); }
    QString position() const {
        const QList<QWidget*> siblings = shownChildren(widget()->parentWidget());
        return QAccessibleWidget::tr("%1 of %2")
            .arg(siblings.indexOf(widget()) + 1)
            .arg(siblings.size());
    }
};

QAccessibleInterface* shape(const QString& className, QObject* object) {
    auto* widget = qobject_cast<QWidget*>(object);
    // Asked once per class up the hierarchy; only the most derived answer is ours to give.
    if (widget == nullptr || className != QLatin1String(object->metaObject()->className())) {
        return nullptr;
    }
    if (qobject_cast<StepRow*>(widget)) return new RowItem(widget);
    const QVariant role = widget->property(kRole);
    if (role.isValid()) {
        const auto given = QAccessible::Role(role.toInt());
        auto* button = qobject_cast<QAbstractButton*>(widget);
        if (given == QAccessible::RadioButton && button != nullptr) return new Segment(button);
        return new Container(widget, given);
    }
    if (widget->metaObject() == &QWidget::staticMetaObject) {
        return new Container(widget, QAccessible::Client);
    }
    return nullptr;
}

}  // namespace

void installAccessibility() {
    static const bool installed = [] {
        QAccessible::installFactory(shape);
        return true;
    }();
    (void)installed;
}

void hideFromAssistiveTechnology(QWidget* widget) {
    widget->setProperty(kHidden, true);
}

bool isHiddenFromAssistiveTechnology(const QWidget* widget) {
    return widget->property(kHidden).toBool();
}

void setAccessibleRole(QWidget* widget, QAccessible::Role role) {
    widget->setProperty(kRole, int(role));
}

void setAccessibleNameOnce(QWidget* widget, const QString& name) {
    if (widget->accessibleName() != name) widget->setAccessibleName(name);
}

}  // namespace pellix
