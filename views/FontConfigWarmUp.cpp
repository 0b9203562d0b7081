#include "FontConfigWarmUp.h"

#include <condition_variable>
#include <mutex>
#include <system_error>

#if defined(PELLIX_HAVE_FONTCONFIG)
#include <fontconfig/fontconfig.h>
#endif

namespace pellix {

namespace {

std::mutex loadingMutex;
std::condition_variable loadingEnded;
int warmUpsLoading = 0;

[[maybe_unused]] void endLoading() {
    {
        std::lock_guard<std::mutex> lock(loadingMutex);
        --warmUpsLoading;
    }
    loadingEnded.notify_all();
}

}  // namespace

FontConfigWarmUp::FontConfigWarmUp() {
#if defined(PELLIX_HAVE_FONTCONFIG)
    {
        std::lock_guard<std::mutex> lock(loadingMutex);
        ++warmUpsLoading;
    }
    try {
        // Loads the configuration as the process's current one, where Qt's own FcInit() finds it.
        thread_ = std::thread([] {
            FcInit();
            endLoading();
        });
    } catch (const std::system_error&) {
        // No thread to spare: Qt reads the configuration itself, as it would without this.
        endLoading();
    }
#endif
}

FontConfigWarmUp::~FontConfigWarmUp() {
    if (thread_.joinable()) thread_.join();
}

void FontConfigWarmUp::waitUntilLoaded() {
    std::unique_lock<std::mutex> lock(loadingMutex);
    loadingEnded.wait(lock, [] { return warmUpsLoading == 0; });
}

}  // namespace pellix
