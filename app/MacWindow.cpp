// The macOS half of the window's frame: the title bar keeps its buttons but draws nothing, and the
// content reaches the top edge so the gradient runs under it. Plain C++ over the Objective-C
// runtime, so the file builds and is formatted like the rest; compiled on macOS only.

#include <objc/message.h>
#include <objc/runtime.h>

#include <QWidget>

#include "ContentView.h"

namespace pellix {

namespace {

using Object = id;

// objc_msgSend must be called through a pointer of the exact signature of the method it reaches.
template <typename Result = Object, typename... Arguments>
Result send(Object receiver, const char* selector, Arguments... arguments) {
    using Method = Result (*)(Object, SEL, Arguments...);
    return reinterpret_cast<Method>(objc_msgSend)(receiver, sel_registerName(selector),
                                                  arguments...);
}

// NSSize, passed by value as AppKit declares it.
struct Size {
    double width;
    double height;
};

constexpr long kTitleHidden = 1;                           // NSWindowTitleHidden
constexpr unsigned long kFullSizeContentView = 1ul << 15;  // NSWindowStyleMaskFullSizeContentView

}  // namespace

void hideTitleBar(QWidget* window) {
    // On macOS a widget's native handle is its NSView.
    const auto view = reinterpret_cast<Object>(window->winId());
    const Object nsWindow = send(view, "window");
    if (nsWindow == nil) return;
    send<void>(nsWindow, "setTitlebarAppearsTransparent:", BOOL(YES));
    send<void>(nsWindow, "setTitleVisibility:", kTitleHidden);
    const auto mask = send<unsigned long>(nsWindow, "styleMask");
    send<void>(nsWindow, "setStyleMask:", mask | kFullSizeContentView);
    // The content now includes the strip under the title bar; keep the window itself 640 x 520.
    send<void>(nsWindow,
               "setContentSize:", Size{double(window->width()), double(window->height())});
    // The background is always dark: draw the title bar's buttons for a dark window.
    const Object name = send(reinterpret_cast<Object>(objc_getClass("NSString")),
                             "stringWithUTF8String:", "NSAppearanceNameDarkAqua");
    const Object dark =
        send(reinterpret_cast<Object>(objc_getClass("NSAppearance")), "appearanceNamed:", name);
    send<void>(nsWindow, "setAppearance:", dark);
}

}  // namespace pellix
