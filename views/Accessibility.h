#pragma once
// How the window's widgets appear to assistive technology: checklist rows as list items named
// "label, status[, detail]", each picker a named group of radio buttons, decoration hidden, and
// every screen a pane named by its title. UI thread only.

#include <QAccessible>
#include <QString>

class QWidget;

namespace pellix {

// Adds the factory that shapes the widgets below; once per process, before the first window.
void installAccessibility();

// Keeps `widget` and everything in it out of the accessible tree: it is decoration, and what it
// shows is said in words nearby.
void hideFromAssistiveTechnology(QWidget* widget);
bool isHiddenFromAssistiveTechnology(const QWidget* widget);

// Gives a plain container or a button the role assistive technology should announce it by.
void setAccessibleRole(QWidget* widget, QAccessible::Role role);

// Sets the name only when it changes, so that one change is announced once and a refresh that
// changes nothing announces nothing.
void setAccessibleNameOnce(QWidget* widget, const QString& name);

}  // namespace pellix
