#pragma once
// Reads the system's font configuration on a thread of its own while the application and its
// window are being built. Qt reads it at the first text layout, on the UI thread, and it is the
// largest single cost before the first frame. Create one first thing (it needs no Qt object);
// anything about to lay out or draw text first calls waitUntilLoaded(). Where Qt does not use
// fontconfig (macOS, Windows, or a build without it) it does nothing.

#include <thread>

namespace pellix {

class FontConfigWarmUp {
public:
    FontConfigWarmUp();
    // Waits for the thread.
    ~FontConfigWarmUp();
    FontConfigWarmUp(const FontConfigWarmUp&) = delete;
    FontConfigWarmUp& operator=(const FontConfigWarmUp&) = delete;

    // Returns once the configuration is loaded, or at once when no warm-up is under way. Qt must
    // not reach it first: it would load a second copy alongside and throw one away. Any thread.
    static void waitUntilLoaded();

private:
    std::thread thread_;
};

}  // namespace pellix
