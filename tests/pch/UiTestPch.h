// The headers every window test includes (Qt Widgets, Qt Test, the window and its support),
// precompiled once (tests/ui/CMakeLists.txt).
#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "UiTestSupport.h"
